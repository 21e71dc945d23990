#!/usr/bin/env python3
"""Inspects the packages and makes them again: packages_test.py VERSION"""
import os
import subprocess
import sys
import tempfile
import zipfile

from support import PACKAGES, ROOT, Checks

STAGE = PACKAGES / 'files'


def check_archive(checks, archive, folder, wanted):
    with zipfile.ZipFile(archive) as files:
        entries = files.infolist()
        names = [entry.filename for entry in entries]
        checks.equal('the archive is sorted', names, sorted(names))
        packed = {entry.filename: files.read(entry) for entry in entries}
    staged = {path.relative_to(folder).as_posix(): path.read_bytes() for path in folder.rglob('*') if path.is_file()}
    checks.same_entries('the archive has the staged files', packed, staged)
    checks.equal('all files have the same time', len({entry.date_time for entry in entries}), 1)
    checks.equal('all files have the same rights', {entry.external_attr >> 16 for entry in entries}, {0o100644})
    checks.equal('no file has an owner or another extra field', {entry.extra for entry in entries}, {b''})
    for name in wanted:
        checks.that(f'the archive has {name}', name in names)
    licences = packed.get('THIRD-PARTY.txt', b'').decode('ascii')
    for text in ('mingw-w64 project', 'GCC RUNTIME LIBRARY EXCEPTION', 'Redistributions in binary form', 'Lucent',
                 'Lockless', 'Google Inc.', 'the Sphinx team', 'Pradyun Gedam'):
        checks.that(f'the third-party notices contain "{text}"', text in licences)


def check_installer(checks, installer):
    """Checks what installing without a user interface cannot show."""
    for sequence in ('InstallUISequence', 'InstallExecuteSequence'):
        table = subprocess.run(['msiinfo', 'export', installer, sequence], check=True, stdout=subprocess.PIPE, text=True)
        order = {row.split('\t')[0]: int(row.split('\t')[2]) for row in table.stdout.splitlines()[3:]}
        checks.that(f'{sequence} finds the folder of the installed version before it settles all folders',
                    order.get('AppSearch', 0) < order.get('UseInstalledDir', 0) < order.get('CostFinalize', 0), str(order))


def check_sums(checks, names):
    result = subprocess.run(['sha256sum', '--check', '--strict', 'SHA256SUMS'], cwd=PACKAGES, check=False,
                            stdout=subprocess.PIPE, text=True)
    checks.equal('the sums are right', result.stdout.splitlines(), [f'{name}: OK' for name in names])


def check_reproducible(checks, names):
    """Checks that the packages do not depend on umask, time zone or temporary folder."""
    with tempfile.TemporaryDirectory() as folder:
        before = {name: (PACKAGES / name).read_bytes() for name in names}
        subprocess.run([ROOT / 'tools' / 'package'], check=True, umask=0o077, stdout=subprocess.DEVNULL,
                       env={**os.environ, 'TZ': 'America/New_York', 'TMPDIR': folder})
    for name in names:
        checks.that(f'{name} is made the same again', (PACKAGES / name).read_bytes() == before[name])


def main():
    checks = Checks()
    names = [f'nuvolex-{sys.argv[1]}-{kind}' for kind in ('x64.zip', 'x64.msi', 'testkit.zip')]
    check_sums(checks, names)
    check_archive(checks, PACKAGES / names[0], STAGE, (
        'nuvolex.dll', 'nuvolex.tlb', 'nuvolex-doctor.exe', 'Nuvolex.Automation.manifest', 'nuvolex.manifest',
        'client.manifest', 'surrogate.reg', 'surrogate-remove.reg', 'include/nuvolex.h', 'README.txt',
        'docs/index.html', 'docs/searchindex.js', 'LICENSE.txt', 'examples/columns.vbs',
        'examples/languages/zones.c', 'examples/languages/zones.py'))
    check_archive(checks, PACKAGES / names[2], PACKAGES / 'testkit', (
        'run-tests.cmd', 'README.txt', 'tests.txt', 'LICENSE.txt', 'bin/testrunner.exe', 'bin/nuvolex.dll'))
    check_installer(checks, PACKAGES / names[1])
    check_reproducible(checks, names)
    checks.finish()


main()
