#!/usr/bin/env python3
"""Tests stage.py: names, links, the sidebar, and errors."""
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / 'tools' / 'lib' / 'site'))
from stage import CONTENTS, Stage, StageError  # noqa: E402

PAGES = {
    CONTENTS: '[[part]]\ncaption = "Look up"\npages = [\n  { title = "How-to", file = "docs/howto/README.md" },\n'
              '  { title = "About", file = "README.md" },\n]\n',
    'docs/README.md': '# Front\n\n[a](howto/README.md) [b](../README.md#part)\n',
    'docs/howto/README.md': '# How-to\n\n[b](b.md) [a](a.md#x)\n',
    'docs/howto/a.md': '# A\n\n[b](b.md) ![p](../images/p.svg) [out](https://example.com/x.md) [here](#a)\n',
    'docs/howto/b.md': '# B\n\n[code](../../examples/x.vbs) [folder](../../examples/) [front](../README.md)\n',
    'docs/images/p.svg': '<svg/>',
    'README.md': '# About\n\n## Part\n\n`[no](link.md)` [licence](LICENSE) [folder](docs/howto)\n',
    'LICENSE': 'Free.\n',
    'examples/x.vbs': 'WScript.Echo "```"\n',
    'examples/data.txt': 'ä\n',
}


class Staging(unittest.TestCase):
    def stage(self, **changes: str | None) -> dict[str, str]:
        """The staged files of PAGES with some changes; None removes a file."""
        with tempfile.TemporaryDirectory() as folder:
            source, output = pathlib.Path(folder) / 'source', pathlib.Path(folder) / 'output'
            for name, text in {**PAGES, **changes}.items():
                if text is not None:
                    (source / name).parent.mkdir(parents=True, exist_ok=True)
                    (source / name).write_text(text, encoding='utf-8')
            Stage(source, output).run()
            return {path.relative_to(output).as_posix(): path.read_text(encoding='utf-8')
                    for path in output.rglob('*') if path.is_file()}

    def assert_error(self, message: str, **changes: str | None) -> None:
        with self.assertRaisesRegex(StageError, message):
            self.stage(**changes)

    def test_names(self):
        self.assertEqual(sorted(self.stage()), [
            'files/LICENSE.md', 'files/examples/data.txt.md', 'files/examples/index.md', 'files/examples/x.vbs.md',
            'howto/a.md', 'howto/b.md', 'howto/index.md', 'images/p.svg', 'index.md', 'readme.md'])

    def test_links_follow(self):
        pages = self.stage()
        self.assertIn('[a](howto/index.md) [b](readme.md#part)', pages['index.md'])
        self.assertIn('[b](b.md) ![p](../images/p.svg) [out](https://example.com/x.md) [here](#a)', pages['howto/a.md'])
        self.assertIn('[code](../files/examples/x.vbs.md) [folder](../files/examples/index.md) [front](../index.md)',
                      pages['howto/b.md'])
        self.assertIn('`[no](link.md)` [licence](files/LICENSE.md) [folder](howto/index.md)', pages['readme.md'])
        self.assertIn('- [data.txt](data.txt.md)\n- [x.vbs](x.vbs.md)', pages['files/examples/index.md'])

    def test_the_sidebar_has_the_listed_pages(self):
        pages = self.stage()
        self.assertIn(':caption: Look up\n\nHow-to </howto/index>\nAbout </readme>\n', pages['index.md'])
        self.assertIn(':hidden:\n\n/howto/b\n/howto/a\n', pages['howto/index.md'])

    def test_a_file_is_shown_as_a_block(self):
        self.assertIn('````vbscript\nWScript.Echo "```"\n````', self.stage()['files/examples/x.vbs.md'])

    def test_what_is_not_complete_is_an_error(self):
        self.assert_error('README.md is listed .* missing', **{'docs/howto/README.md': None, 'docs/README.md': '# F\n'})
        self.assert_error('not listed .*: docs/howto/c.md', **{'docs/howto/c.md': '# C\n'})
        self.assert_error('not listed .*: docs/d.md', **{'docs/d.md': '# D\n'})
        self.assert_error(r'docs/howto/a.md, line 3: dead link: c.md', **{'docs/howto/a.md': '# A\n\n[c](c.md)\n'})
        self.assert_error('dead link', **{'docs/howto/a.md': '# A\n\n[c](../../../x)\n'})


if __name__ == '__main__':
    unittest.main()
