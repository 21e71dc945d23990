#!/usr/bin/env python3
"""Uses the packages like users: installer_test.py PREFIX VERSION APPID

The installer must write the same entries as regsvr32 with the archive's DLL. Installs, runs all examples, damages and
repairs, upgrades, removes. PREFIX is a Wine prefix that nothing else uses.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from support import PACKAGES, ROOT, Checks, Prefix, windows_path

CLASSES = 'hkey_local_machine\\software\\classes'
UNINSTALL = 'hkey_local_machine\\software\\microsoft\\windows\\currentversion\\uninstall'
PROGRAM_FILES = 'C:\\Program Files\\Nuvolex'
# Windows uses the Start menu of all users, Wine that of the current user.
START_MENU = '**/Start Menu/Programs/Nuvolex/*.lnk'
STAGE = PACKAGES / 'files'
ICON = ROOT / 'build' / 'release' / 'package' / 'nuvolex.ico'
CLASS_KEY = re.compile(r'.*\\classes\\clsid\\\{[^\\]*\}')
REFUSED = 1603 % 256  # ERROR_INSTALL_FAILURE, as the shell sees it


def compile_clients(folder):
    """Starts compiling the C++ example and the C client of docs/install.md, with packaged files only."""
    guide = (ROOT / 'docs' / 'install.md').read_text(encoding='utf-8')
    (folder / 'client.c').write_text(re.search(r'```c\n(.*?)```', guide, re.DOTALL)[1], encoding='utf-8')
    include, libraries = f'-I{STAGE / "include"}', ['-static', '-lole32', '-loleaut32', '-luuid']
    compiler = 'x86_64-w64-mingw32-{}-posix'.format
    return [
        subprocess.Popen([compiler('g++'), '-std=c++20', '-municode', include, STAGE / 'examples' / 'client.cpp',
                          '-o', folder / 'client_cpp.exe', *libraries]),
        subprocess.Popen([compiler('gcc'), '-Wall', '-Wextra', '-Werror', include, folder / 'client.c',
                          STAGE / 'include' / 'nuvolex_i.c', '-o', folder / 'client_c.exe', *libraries])]


def make_installer(folder, version, appid):
    """An installer of the same files with another version."""
    installer = folder / f'nuvolex-{version}-x64.msi'
    subprocess.run([ROOT / 'package' / 'make_msi.py', '--version', version, '--appid', appid,
                    '--generated', ROOT / 'build' / 'release' / 'generated',
                    '--icon', ICON, STAGE, installer],
                   check=True, env={**os.environ, 'SOURCE_DATE_EPOCH': '1000000000'})
    return installer


class Scenario:
    def __init__(self, prefix, checks, version, appid, folder):
        self.prefix = prefix
        self.checks = checks
        self.version = version
        self.appid = appid
        self.folder = folder
        self.installer = PACKAGES / f'nuvolex-{version}-x64.msi'
        # Another 32-bit class, as on every Windows.
        prefix.run('reg', 'add', f'{CLASSES}\\Wow6432Node\\CLSID\\{{00000000-1111-2222-3333-444444444444}}', '/f')
        self.clean = prefix.state()

    def msiexec(self, action, installer, *properties):
        return self.prefix.run('msiexec', action, windows_path(installer), '/qn', *properties)[0]

    def classes(self):
        """The new entries below HKEY_CLASSES_ROOT, without those of Windows Installer itself."""
        return {entry: value for entry, value in self.prefix.registry(CLASSES).items()
                if entry not in self.clean[1] and not entry[0].startswith(f'{CLASSES}\\installer')}

    def check_clean(self, when):
        files, entries = self.prefix.state()
        # Windows Installer's own folder, and keys for all products.
        self.checks.same_entries(f'{when}, no file is left', files - {'windows/Installer'},
                                 self.clean[0] - {'windows/Installer'})
        left = {entry: value for entry, value in entries.items() if self.clean[1].get(entry) != value and
                not (entry[1] is None and '\\installer' in entry[0])}
        self.checks.same_entries(f'{when}, no registry entry is left', left, {})
        self.checks.same_entries(f'{when}, no registry entry is lost', set(self.clean[1]) - set(entries), set())

    def use_unregistered(self):
        """Uses the DLL of the unpacked archive through its manifest."""
        code, output = self.prefix.run(ROOT / 'build/release/tests/package/regfree_tests.exe', '--gtest_brief=1',
                                       NUVOLEX_DLL='C:\\Nuvolex\\nuvolex.dll',
                                       NUVOLEX_MANIFEST='C:\\Nuvolex\\nuvolex.manifest')
        self.checks.that('the archive serves a client with nothing registered',
                         code == 0 and '[  PASSED  ]' in output, output)

    def register_archive(self):
        """Registers the archive's DLL and returns the new entries."""
        target = self.prefix.drive_c('Nuvolex')
        subprocess.run(['unzip', '-q', PACKAGES / f'nuvolex-{self.version}-x64.zip', '-d', target], check=True)
        self.use_unregistered()
        self.checks.equal('regsvr32 registers the archive\'s DLL',
                          self.prefix.run('regsvr32', '/s', 'C:\\Nuvolex\\nuvolex.dll')[0], 0)
        entries = self.classes()
        self.checks.that('the DLL registers seven classes and seven interfaces', len(entries) > 150, str(len(entries)))
        self.run_example('C:\\Nuvolex', 'columns.vbs')
        self.prefix.run('regsvr32', '/s', '/u', 'C:\\Nuvolex\\nuvolex.dll')
        subprocess.run(['rm', '-r', target], check=True)
        self.check_clean('after the archive is unregistered and deleted')
        return entries

    def diagnose(self, when, expected):
        """Checks the findings of the installed doctor."""
        code, output = self.prefix.run(f'{PROGRAM_FILES}\\nuvolex-doctor.exe', '--json')
        self.checks.equal(f'{when}, the doctor has the expected findings',
                          [finding['id'] for finding in json.loads(output)['findings']
                           if finding['severity'] == 'error'], expected)
        self.checks.equal(f'{when}, its exit code matches', code, 1 if expected else 0)

    def run_example(self, installed, script):
        # A script that fails prints no error; its last line proves that it ran to its end.
        _, output = self.prefix.run('cscript', '//nologo', f'{installed}\\examples\\{script}')
        self.checks.that(f'{script} runs from {installed}', output.splitlines()[-1:] and
                         output.splitlines()[-1].startswith('Done: '), output)

    def check_registration(self, when, expected, folder):
        """That the classes are registered as regsvr32 would do it in `folder`, but for two values of the type library
        that mean the same."""
        expected = {entry: value.replace('C:\\Nuvolex', folder) for entry, value in expected.items()}
        for key, name in expected:
            if key.endswith('\\helpdir') and name == '@':
                # The installer's folder paths end with a backslash.
                expected[key, name] = f'"{folder}\\"'
            elif key.endswith('\\1.0\\flags') and name == '@':
                # Wine, unlike Windows, adds LIBFLAG_FHASDISKIMAGE.
                expected[key, name] = expected[key, name].replace('8', '0')
        self.checks.same_entries(f'{when}, the registry entries are those of regsvr32', self.classes(), expected)

    def check_files(self, when, folder):
        installed = self.prefix.drive_c(folder.removeprefix('C:\\'))
        self.checks.same_entries(f'{when}, the files are those of the package', contents(installed), contents(STAGE))

    def product(self):
        """The entries of Nuvolex in Apps & Features: the values of each key."""
        entries = self.prefix.registry(UNINSTALL)
        keys = {key for (key, name), value in entries.items() if name == 'DisplayName' and value == '"Nuvolex"'}
        return [{name: value.strip('"') for (key, name), value in entries.items() if key == found and name}
                for found in sorted(keys)]

    def check_product(self, when, version, folder):
        products = self.product()
        self.checks.equal(f'{when}, Apps & Features shows Nuvolex once', len(products), 1)
        shown = products[0] if products else {}
        self.checks.equal(f'{when}, Apps & Features shows version, publisher and folder',
                          [shown.get(name) for name in ('DisplayVersion', 'Publisher', 'InstallLocation')],
                          [version, 'Quarvin', folder + '\\'])
        self.checks.that(f'{when}, Apps & Features can repair and remove, not change', 'NoModify' in shown and
                         'NoRepair' not in shown and 'NoRemove' not in shown, str(shown))
        notes = self.prefix.registry(f'{CLASSES}\\Installer\\Products')
        icons = [value.strip('"') for (_, name), value in notes.items() if name == 'ProductIcon']
        self.checks.equal(f'{when}, Apps & Features has the icon', [
            self.prefix.drive_c(icon.removeprefix('C:\\')).read_bytes() for icon in icons], [ICON.read_bytes()])

    def install(self, registration):
        self.checks.equal('the installer succeeds', self.msiexec('/i', self.installer), 0)
        when = 'once installed'
        self.check_files(when, PROGRAM_FILES)
        self.check_registration(when, registration, PROGRAM_FILES)
        self.check_product(when, self.version, PROGRAM_FILES)
        self.diagnose(when, [])
        links = {path.stem: path.read_bytes() for path in self.prefix.drive_c().glob(START_MENU)}
        self.checks.equal('the Start menu has the manual, the examples and the doctor', set(links),
                          {'Nuvolex Manual', 'Nuvolex Examples', 'Nuvolex Doctor'})
        for name, target in (('Manual', 'docs\\index.html'), ('Examples', 'examples')):
            path = f'{PROGRAM_FILES}\\{target}'.encode('ascii')
            self.checks.that(f'the link to the {name.lower()} leads there', path in links.get(f'Nuvolex {name}', b''))

    def run_examples(self, compilers):
        for script in sorted(STAGE.glob('examples/*.[vj]*s')):
            self.run_example(PROGRAM_FILES, script.name)
        self.checks.equal('clients compile with the packaged header', [process.wait() for process in compilers], [0, 0])
        _, output = self.prefix.run(self.folder / 'client_cpp.exe', f'{PROGRAM_FILES}\\examples\\data\\elements.txt')
        self.checks.that('the C++ client runs', output.splitlines()[-1:] == ['Done: 118 rows, 118 names.'], output)
        self.checks.equal('the C client runs', self.prefix.run(self.folder / 'client_c.exe'), (0, '5 characters\n'))

    def repair(self):
        files, classes = self.prefix.files(), self.classes()
        self.prefix.drive_c('Program Files/Nuvolex/nuvolex.dll').unlink()
        self.prefix.drive_c('Program Files/Nuvolex/README.txt').write_text('damaged', encoding='ascii')
        class_key = next(key for key, _ in classes if CLASS_KEY.fullmatch(key))
        self.diagnose('without the DLL', ['file-missing'])
        self.prefix.run('reg', 'delete', class_key, '/f')
        # The same as /famus, which Wine does not support.
        self.checks.equal('the repair succeeds', self.msiexec('/i', self.installer, 'REINSTALL=ALL',
                                                              'REINSTALLMODE=amus'), 0)
        self.check_files('after the repair', PROGRAM_FILES)
        self.checks.same_entries('after the repair, no file is more or less', self.prefix.files(), files)
        self.checks.same_entries('after the repair, all registry entries are there', self.classes(), classes)
        self.diagnose('after the repair', [])

    def remove(self, when):
        self.checks.equal(f'{when}, the removal succeeds', self.msiexec('/x', self.installer), 0)
        self.check_clean(when)

    def with_surrogate(self, registration):
        """The entries with the feature for 32-bit programs."""
        entries = dict(registration)
        # Both views of the registry share AppID; Wine lists it in both.
        for parent in (CLASSES, f'{CLASSES}\\wow6432node'):
            key = f'{parent}\\appid\\{self.appid.lower()}'
            entries |= {(key, None): '', (key, '@'): '"Nuvolex"', (key, 'DllSurrogate'): '""'}
        for key, name in registration:
            if CLASS_KEY.fullmatch(key) and name == '@':
                entries[key, 'AppID'] = f'"{self.appid}"'
        return entries

    def upgrade(self, registration):
        earlier = make_installer(self.folder, '0.9.0', self.appid)
        registration = self.with_surrogate(registration)
        folder = 'C:\\Other Folder'
        self.checks.equal('an earlier version installs in another folder, with the optional feature',
                          self.msiexec('/i', earlier, f'INSTALLDIR={folder}', 'ADDLOCAL=Nuvolex,Surrogate'), 0)
        self.check_product('with the earlier version', '0.9.0', folder)
        self.check_registration('with the earlier version', registration, folder)

        # Windows keeps the installed features; for Wine they must be named.
        self.checks.equal('the upgrade succeeds',
                          self.msiexec('/i', self.installer, 'ADDLOCAL=Nuvolex,Surrogate'), 0)
        self.check_product('after the upgrade', self.version, folder)
        self.check_files('after the upgrade', folder)
        self.check_registration('after the upgrade', registration, folder)
        self.run_example(folder, 'zones.js')

        self.checks.equal('the earlier version is refused', self.msiexec('/i', earlier), REFUSED)
        self.check_product('after the refusal', self.version, folder)
        self.check_registration('after the refusal', registration, folder)


def contents(folder):
    return {path.relative_to(folder).as_posix(): path.read_bytes() for path in folder.rglob('*') if path.is_file()}


def main():
    checks = Checks()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        compilers = compile_clients(folder)
        prefix = Prefix(sys.argv[1])
        scenario = Scenario(prefix, checks, sys.argv[2], sys.argv[3], folder)
        registration = scenario.register_archive()
        scenario.install(registration)
        scenario.run_examples(compilers)
        scenario.repair()
        scenario.remove('after the removal')
        scenario.upgrade(registration)
        scenario.remove('after the upgraded version is removed')
        if checks.failed == 0:
            prefix.is_unchanged()
    checks.finish()


main()
