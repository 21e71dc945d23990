#!/usr/bin/env python3
"""Makes the installer: make_msi.py --version VERSION --appid GUID --generated FOLDER --icon FILE STAGE OUTPUT

STAGE has the files of the installation folder, FOLDER the generated registry scripts. SOURCE_DATE_EPOCH is the creation
time of the installer. The output is reproducible.
"""
import argparse
import hashlib
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import time
import uuid

import msi_contents

SOURCES = pathlib.Path(__file__).resolve().parent
IDL = SOURCES.parent / 'module' / 'nuvolex.idl'
LANGUAGE = 1033  # of the installer and of the version resources


def absolute(path):
    return pathlib.Path(path).resolve()


def guid(name):
    return str(uuid.uuid5(msi_contents.NAMESPACE, name)).upper()


def run(*command, **options):
    """Runs a tool. Output is an error: wixl and msibuild succeed in spite of warnings."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                            **options)
    if result.returncode != 0 or result.stdout:
        sys.exit(f'{command[0]}: {result.stdout}')


def file_version(path):
    """The version in a program's or DLL's version resource, or None. VS_FIXEDFILEINFO is found by its signature."""
    data = path.read_bytes()
    start = data.find(struct.pack('<II', 0xFEEF04BD, 0x00010000))
    if path.suffix not in ('.dll', '.exe') or start < 0:
        return None
    high, low = struct.unpack_from('<II', data, start + 8)
    return f'{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}'


def corrections(stage):
    """Queries that set what wixl cannot express."""
    # Windows compares versions to decide whether to replace a file, and hashes only for files without a version.
    for path in sorted(stage.rglob('*')):
        version = path.is_file() and file_version(path)
        if version:
            name = msi_contents.file_id(path.relative_to(stage).as_posix())
            yield f"UPDATE `File` SET `Version`='{version}', `Language`='{LANGUAGE}' WHERE `File`='{name}'"
            yield f"DELETE FROM `MsiFileHash` WHERE `File_`='{name}'"
    # Removes the earlier version first; it is restored if the installation fails. wixl removes it last, when a file may
    # have been kept.
    yield "UPDATE `InstallExecuteSequence` SET `Sequence`=1501 WHERE `Action`='RemoveExistingProducts'"
    # wixl schedules it last.
    yield "UPDATE `InstallUISequence` SET `Sequence`=51 WHERE `Action`='UseInstalledDir'"
    # Actions that set a property; wixl adds an unsuitable flag.
    yield 'UPDATE `CustomAction` SET `Type`=51'
    # The properties that reach the elevated part of the installation.
    properties = 'INSTALLDIR;INSTALLEDDIR;WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED'
    yield f"UPDATE `Property` SET `Value`='{properties}' WHERE `Property`='SecureCustomProperties'"


def summary(version, package_code, seconds):
    """The summary information, as a table for msibuild."""
    now = time.strftime('%Y/%m/%d %H:%M:%S', time.gmtime(seconds))
    rows = {1: '1252', 2: 'Installation Database', 3: f'Nuvolex {version}', 4: 'Quarvin', 5: 'Installer',
            6: 'Installs Nuvolex for all users', 7: f'x64;{LANGUAGE}', 9: f'{{{package_code}}}', 12: now, 13: now,
            14: '500', 15: '2', 18: 'msitools', 19: '2'}
    return '\n'.join(['PropertyId\tValue', 'i2\tl255', '_SummaryInformation\tPropertyId',
                      *(f'{key}\t{value}' for key, value in rows.items()), ''])


def main():
    parser = argparse.ArgumentParser()
    for option in ('--version', '--appid'):
        parser.add_argument(option, required=True)
    for option in ('--generated', '--icon'):
        parser.add_argument(option, required=True, type=absolute)
    for path in ('stage', 'output'):
        parser.add_argument(path, type=absolute)
    arguments = parser.parse_args()
    stage, output = arguments.stage, arguments.output
    seconds = int(os.environ['SOURCE_DATE_EPOCH'])
    os.environ['TZ'] = 'UTC'  # the tools note local times

    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        contents = work / 'contents.wxs'
        contents.write_text(msi_contents.make_fragment(stage, IDL, sorted(arguments.generated.glob('*.rgs')),
                                                       arguments.appid), encoding='utf-8')
        draft, table = work / 'draft.msi', work / 'summary.idt'
        # In the stage, since wixl only finds files by relative paths.
        run('wixl', '--arch', 'x64', '--output', str(draft), '-D', f'Version={arguments.version}',
            '-D', f'ProductCode={guid(f"product {arguments.version}")}',
            '-D', f'Icon={os.path.relpath(arguments.icon, stage)}',
            str(SOURCES / 'nuvolex.wxs'), str(contents), cwd=stage)
        for query in corrections(stage):
            run('msibuild', str(draft), '-q', query)
        # The package code identifies the package, so it is derived from all other bytes. wixl's is random.
        table.write_text(summary(arguments.version, guid(''), seconds), encoding='ascii')
        run('msibuild', str(draft), '-i', str(table))
        package_code = guid('package ' + hashlib.sha256(draft.read_bytes()).hexdigest())
        table.write_text(summary(arguments.version, package_code, seconds), encoding='ascii')
        run('msibuild', str(draft), '-i', str(table))
        output.write_bytes(draft.read_bytes())


main()
