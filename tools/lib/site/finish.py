#!/usr/bin/python3
"""Completes the HTML that Sphinx made with Debian's Furo, so that it works as local files: finish.py SITE"""
import pathlib
import re
import sys

# conf.py leaves the scripts among them out of the pages.
UNUSED = ('.buildinfo', 'objects.inv', '_static/jquery.js', '_static/underscore.js', '_static/debug.css',
          '_static/_sphinx_javascript_frameworks_compat.js', '_static/skeleton.css')
NORMALIZE = pathlib.Path('/usr/share/javascript/normalize.css/normalize.min.css')


def replaced(text: str, pattern: str, replacement: str) -> str:
    """Replaces the only match of `pattern`."""
    text, count = re.subn(pattern, lambda _: replacement, text, flags=re.DOTALL)
    if count != 1:
        sys.exit(f'finish.py: Furo has changed: {pattern} matches {count} times')
    return text


def main() -> None:
    site = pathlib.Path(sys.argv[1])
    for name in UNUSED:
        (site / name).unlink()

    # The style sheet imports another one from a web server's root, and lacks the rule that follows the system's dark
    # mode.
    path = site / '_static/styles/furo.css'
    style = path.read_text(encoding='utf-8')
    dark = re.search(r'  body\[data-theme="dark"\] \{(.*?)\}', style, re.DOTALL)[1]
    style = replaced(style, r'@import url\([^)]*\);', NORMALIZE.read_text(encoding='utf-8'))
    style += f'\n@media screen and (prefers-color-scheme: dark) {{\n  body:not([data-theme="light"]) {{{dark}}} }}\n'
    path.write_text(style, encoding='utf-8')

    # The script is a module that imports another one; browsers do not load modules from files.
    path = site / '_static/scripts/furo.js'
    imported = path.with_name('gumshoe-patched.js')
    script = replaced(path.read_text(encoding='utf-8'), r'import Gumshoe from [^\n]*\n', '')
    path.write_text(imported.read_text(encoding='utf-8') + script, encoding='utf-8')
    imported.unlink()

    # Numbers are in the index, but searches leave them out. Readers look for numbers of errors.
    path = site / '_static/searchtools.js'
    script = replaced(path.read_text(encoding='utf-8'), r' \|\|\s+queryTerm\.match\([^)]*\)', '')
    path.write_text(script, encoding='utf-8')


main()
