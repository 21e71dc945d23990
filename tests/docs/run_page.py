#!/usr/bin/env python3
"""Runs the VBScript and JScript blocks of a page and compares the results with the page.

    run_page.py PREFIX PAGE           PREFIX is a Wine prefix in which the DLL is registered
    run_page.py --stage FOLDER PAGE   writes the files with which the test kit does the same on Windows

page_plan.py has the rules. The exit code is 77 if the page marks all of its scripts as not run.
"""
import difflib
import pathlib
import subprocess
import sys
import tempfile

from page_plan import ENCODING, END, PageError, Step, plan

WINE = pathlib.Path(__file__).resolve().parents[2] / 'tools' / 'lib' / 'wine'
OUTPUT_ENCODING = 'cp437'  # of the host's output, with English settings
NOTHING_RUN = 77

# //E: since the extensions may belong to other programs. Wine has no such option.
BATCH_START = '''@echo off
set vbs=//E:VBScript
set js=//E:JScript
if exist "%SystemRoot%\\system32\\winecfg.exe" set vbs=
if exist "%SystemRoot%\\system32\\winecfg.exe" set js=
'''


def save(step: Step, folder: pathlib.Path) -> None:
    for name, content in step.files.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


def difference(expected: list[str], actual: list[str]) -> str:
    """Empty if there is none."""
    return '\n'.join(difflib.unified_diff(expected, actual, 'claimed', 'actual', lineterm=''))


def run_step(step: Step, prefix: str, folder: pathlib.Path) -> str:
    """Runs a step. Returns the fault, or an empty string."""
    save(step, folder)
    if step.shown:
        path = folder / step.shown
        return difference(step.expected, path.read_text(ENCODING).splitlines()) if path.is_file() else 'is not there'
    if not step.script:
        return ''
    result = subprocess.run([WINE, prefix, 'cscript', '//nologo', step.script, *step.arguments], cwd=folder,
                            stdout=subprocess.PIPE, check=False)
    wrong = difference([*step.expected, END], result.stdout.decode(OUTPUT_ENCODING).splitlines())
    if not wrong and result.returncode != 0 and not step.quits:
        return f'exit code {result.returncode}'
    return wrong


def joined(lines: list[str], encoding: str) -> bytes:
    return ''.join(line + '\n' for line in lines).encode(encoding)


def stage(steps: list[Step], folder: pathlib.Path) -> None:
    """Writes page.cmd, which runs the steps in the current folder, page.cmd.expected with their output, and a numbered
    folder with the files of each step."""
    batch = BATCH_START
    expected = b''
    for number, step in enumerate(steps, 1):
        save(step, folder / str(number))
        if step.files:
            batch += f'xcopy /e /i /q /y "%~dp0{number}" . >nul\n'
        if step.script:
            engine = step.script.rpartition('.')[2].lower()
            words = ' '.join(f'"{word}"' for word in [step.script.replace('/', '\\'), *step.arguments])
            batch += f'cscript //nologo %{engine}% {words}\n'
            expected += joined([*step.expected, END], OUTPUT_ENCODING)
        elif step.shown:
            shown = step.shown.replace('/', '\\')
            batch += f'type "{shown}"\n'
            expected += joined(step.expected, ENCODING)
    folder.mkdir(parents=True, exist_ok=True)
    (folder / 'page.cmd').write_bytes(batch.replace('\n', '\r\n').encode('ascii'))
    (folder / 'page.cmd.expected').write_bytes(expected)


def main() -> int:
    page = pathlib.Path(sys.argv[-1])
    try:
        steps, skipped = plan(page)
    except PageError as error:
        print(f'{page.name}: {error}')
        return 1
    print(*skipped, sep='\n', end='\n' if skipped else '')
    checked = [step for step in steps if step.script or step.shown]
    if not checked:
        print(f'{page.name}: ' + ('nothing of it can run here' if skipped else 'there is nothing to run'))
        return NOTHING_RUN if skipped else 1
    if sys.argv[1] == '--stage':
        stage(steps, pathlib.Path(sys.argv[2]))
        return 0
    prefix = str(pathlib.Path(sys.argv[1]).resolve())
    failures = 0
    with tempfile.TemporaryDirectory() as name:
        for step in steps:
            if wrong := run_step(step, prefix, pathlib.Path(name)):
                failures += 1
                print(f'{page.name}, line {step.line}: FAILED: {step.title}', wrong, sep='\n')
    print(f'{page.name}: {len(checked) - failures} of {len(checked)} claims hold')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
