"""Shared by the package tests: named checks, and a Wine prefix."""
import pathlib
import os
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = ROOT / 'build' / 'package'
WINE = ROOT / 'tools' / 'lib' / 'wine'


class Checks:
    """Counts checks and prints failures."""

    def __init__(self):
        self.passed = 0
        self.failed = 0

    def that(self, name, condition, details=''):
        if condition:
            self.passed += 1
            return
        self.failed += 1
        print(f'FAILED: {name}', *([details] if details else []), sep='\n')

    def equal(self, name, actual, expected):
        self.that(name, actual == expected, f'  is        {actual!r}\n  should be {expected!r}')

    def same_entries(self, name, actual, expected):
        """Compares two dictionaries or sets and prints entries that only one has."""
        actual, expected = (set(entries.items() if isinstance(entries, dict) else entries)
                            for entries in (actual, expected))
        lines = [f'  unexpected: {entry}' for entry in sorted(actual - expected, key=str)]
        lines += [f'  missing:    {entry}' for entry in sorted(expected - actual, key=str)]
        shown = lines[:10] + ([f'  and {len(lines) - 10} more'] if len(lines) > 10 else [])
        self.that(name, not lines, '\n'.join(shown))

    def finish(self):
        print(f'{self.passed} checks passed, {self.failed} failed')
        sys.exit(self.failed != 0 or self.passed == 0)


def windows_path(path):
    return 'Z:' + str(path).replace('/', '\\')


class Prefix:
    """A Wine prefix that a test changes and restores. After a test that did not finish, a new prefix is created.

    Registry entries are {(key, name): value}, as in a registry file, with keys in lower case. The entry of a key itself
    has the name None.
    """

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.unchanged = self.path.with_name(self.path.name + '.unchanged')
        if not self.unchanged.exists():
            shutil.rmtree(self.path, ignore_errors=True)
        self.unchanged.unlink(missing_ok=True)
        # Creates it. What Wine's programs write at first use must not count as a change.
        self.run('msiexec')
        script = self.path / 'first.vbs'
        script.write_text('WScript.Echo WScript.Name', encoding='ascii')
        self.run('cscript', '//nologo', windows_path(script))

    def is_unchanged(self):
        """Call this at the end of a test that restored the prefix."""
        self.unchanged.touch()

    def run(self, *command, **variables):
        """Runs a program and returns its exit code and output."""
        result = subprocess.run([WINE, self.path, *command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                check=False, env={**os.environ, **variables})
        return result.returncode, result.stdout.decode('utf-8', 'replace').replace('\r', '')

    def drive_c(self, path=''):
        """The file that a program finds under C:\\path."""
        return self.path / 'drive_c' / path.replace('\\', '/')

    def files(self):
        return {path.relative_to(self.drive_c()).as_posix() for path in self.drive_c().rglob('*')}

    def registry(self, key):
        export = self.path.with_name(self.path.name + '-export.reg')
        code, output = self.run('reg', 'export', key, windows_path(export), '/y')
        if code != 0:
            return {}  # there is no such key
        text = export.read_bytes().decode('utf-16').replace('\r', '')
        export.unlink()
        return read_registry_file(text)

    def state(self):
        """All files, and all registry entries except Wine's."""
        return self.files(), self.registry('HKLM\\Software') | {
            entry: value for entry, value in self.registry('HKCU\\Software').items()
            if not entry[0].startswith('hkey_current_user\\software\\wine')}


def read_registry_file(text):
    entries = {}
    key = None
    for line in text.replace('\\\n', '').splitlines():
        value = re.fullmatch(r'(@|"(?:[^"\\]|\\.)*")=(.*)', line)
        if line.startswith('['):
            key = line[1:-1].lower()
            entries[key, None] = ''
        elif value:
            entries[key, value[1].strip('"')] = value[2].replace('\\\\', '\\')
    return entries
