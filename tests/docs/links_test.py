#!/usr/bin/env python3
"""Checks the Markdown of the repository as a code host shows it: all links work, and no syntax is specific to the
manual's generator."""
import pathlib
import re
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / 'tools' / 'lib' / 'site'))
from markdown_page import Page, plain, read_page, slug, slugs  # noqa: E402

# The languages that the manual highlights, and `text` for everything else.
LANGUAGES = {'vbscript', 'javascript', 'vb', 'vba', 'powershell', 'cpp', 'c', 'csharp', 'pascal', 'rust', 'go',
             'python', 'sh', 'bat', 'ini', 'xml', 'html', 'json', 'cmake', 'text'}
# Syntax of the generator, and HTML. Code and comments are ignored.
FOREIGN = {
    'raw HTML': re.compile(r'</?[A-Za-z][^<>:]*>'),
    'a directive of MyST': re.compile(r'^\s*:::|^\([\w-]+\)=\s*$', re.MULTILINE),
    'a role of MyST': re.compile(r'\{[a-z][\w:.-]*\}(?= )'),
    'front matter': re.compile(r'\A---\n'),
    'a link that is not written in its place': re.compile(r'^ {0,3}\[[^\]]+\]:\s', re.MULTILINE),
}


def fault_of_link(root: pathlib.Path, path: pathlib.Path, address: str) -> str:
    """The fault of a link on the page `path`, or an empty string."""
    if re.match(r'(https?|mailto):', address):
        return ''
    name, _, anchor = address.partition('#')
    target = (path.parent / name).resolve() if name else path
    if not target.is_relative_to(root):
        return 'leads out of the repository'
    if not target.exists():
        return 'leads to no file'
    if anchor and (target.suffix != '.md' or anchor not in read_page(target).anchors()):
        return 'leads to no heading'
    return ''


def faults_of_page(root: pathlib.Path, path: pathlib.Path) -> list[str]:
    page = read_page(path)
    faults = [(link.line, f'{link.address} {fault}') for link in page.links()
              if (fault := fault_of_link(root, path, link.address))]
    for block in page.blocks:
        if block.language not in LANGUAGES:
            faults.append((block.line, f'a block of "{block.language}"'))
        if not block.closed:
            faults.append((block.line, 'the block is not closed'))
    for name, pattern in FOREIGN.items():
        faults += [(page.line_of(match.start()), f'{name}: {match[0].strip()}')
                   for match in pattern.finditer(page.prose)]
    return [f'{path.relative_to(root).as_posix()}:{line}: {fault}' for line, fault in sorted(faults)]


class Links(unittest.TestCase):
    def test_all_pages(self):
        folders = [path for path in ROOT.iterdir() if path.is_dir() and path.name[0] != '.' and path.name != 'build']
        pages = sorted([*ROOT.glob('*.md'), *(page for folder in folders for page in folder.rglob('*.md'))])
        self.assertGreater(len(pages), 10)
        self.assertEqual('\n'.join(fault for page in pages for fault in faults_of_page(ROOT, page)), '')


class PlantedFaults(unittest.TestCase):
    def faults(self, text: str) -> list[str]:
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve()
            (root / 'docs').mkdir()
            (root / 'other.md').write_text('# Other\n\n## Open(fileName, binary)\n', encoding='utf-8')
            (root / 'docs' / 'page.md').write_text(text, encoding='utf-8')
            return faults_of_page(root, root / 'docs' / 'page.md')

    def assert_fault(self, text: str, fault: str) -> None:
        found = self.faults(text)
        self.assertEqual(len(found), 1, found)
        self.assertIn(fault, found[0])

    def test_fine(self):
        self.assertEqual(self.faults(
            '# Page\n\n[a](../other.md), [b](../other.md#openfilename-binary "title"), [c](#page), [`d`](page.md),\n'
            '[over\nthe end](../other.md) <https://example.com> `[x](y) <b> {role}` 1 < 2, 3 > 2\n\n'
            '<!-- script: a.vbs -->\n```vbscript\n[x](y) <b>\n```\n'), [])

    def test_links(self):
        self.assert_fault('line\n[a](missing.md)', 'page.md:2: missing.md leads to no file')
        self.assert_fault('[a\nb](missing.md)', 'page.md:1: missing.md leads')
        self.assert_fault('[`a`](missing.md)', 'leads to no file')
        self.assert_fault('![a](missing.svg)', 'leads to no file')
        self.assert_fault('[![a](page.md)](missing.md)', 'leads to no file')
        self.assert_fault('[a](../Other.md)', 'leads to no file')
        self.assert_fault('[a](../../x)', 'leads out of the repository')
        self.assert_fault('[a](../other.md#openfilename)', 'leads to no heading')
        self.assert_fault('[a](#missing)', 'leads to no heading')
        self.assert_fault('[a]: page.md', 'not written in its place')

    def test_foreign_syntax(self):
        self.assert_fault('```{note}\n```', 'a block of "{note}"')
        self.assert_fault('```vbs\n```', 'a block of "vbs"')
        self.assert_fault('```\n```', 'a block of ""')
        self.assert_fault('```text\n', 'not closed')
        self.assert_fault('a <br> b', 'raw HTML: <br>')
        self.assert_fault('{doc}`page`', 'a role of MyST')
        self.assert_fault(':::note', 'a directive of MyST')
        self.assert_fault('(target)=\n', 'a directive of MyST')
        self.assert_fault('---\ntitle: a\n', 'front matter')


class Anchors(unittest.TestCase):
    def test_headings(self):
        for heading, anchor in {
                'Open(fileName, binary)': 'openfilename-binary', 'Add(Item [, Position])': 'additem--position',
                'In C++': 'in-c', '`Item(index)`': 'itemindex', 'What\'s new?': 'whats-new',
                '1.0.0 - 2026': '100---2026', '**Bold** and *less*': 'bold-and-less',
                'snake_case `_x_`': 'snake_case-_x_', '[A link](x.md)': 'a-link',
                'E_FAIL (0x80004005)': 'e_fail-0x80004005', 'Größe': 'größe', '[Unreleased]': 'unreleased',
                'A & B': 'a--b'}.items():
            self.assertEqual(slug(plain(heading)), anchor, heading)

    def test_a_name_that_is_taken_gets_a_number(self):
        self.assertEqual(list(slugs(['a', 'a', 'b', 'a'])), ['a', 'a-1', 'b', 'a-2'])

    def test_only_headings_count(self):
        self.assertEqual(Page('# A\n\n```sh\n# B\n```\n\n#C\n\n## D ##\n').anchors(), ['a', 'd'])


if __name__ == '__main__':
    unittest.main()
