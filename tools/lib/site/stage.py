#!/usr/bin/python3
"""Arranges the pages of the manual for Sphinx: stage.py REPOSITORY OUTPUT

contents.toml lists the pages. docs/README.md becomes the front page. Links are rewritten; a link to another file or
folder of the repository leads to a page that shows it. Missing and unlisted pages and dead links are errors.
"""
import pathlib
import posixpath
import shutil
import sys
import tomllib
from collections.abc import Iterator

from markdown_page import Link, Page, read_page

LANGUAGES = {'.vbs': 'vbscript', '.js': 'javascript', '.cpp': 'cpp', '.h': 'cpp', '.c': 'c', '.idl': 'text',
             '.py': 'python', '.sh': 'sh', '.cmake': 'cmake', '.bat': 'bat', '.cmd': 'bat', '.ini': 'ini',
             '.xml': 'xml', '.wxs': 'xml', '.json': 'json', '.pas': 'pascal', '.rs': 'rust', '.go': 'go', '.cs': 'csharp',
             '.ps1': 'powershell', '.bas': 'vba', '.toml': 'toml', '.yml': 'yaml'}
IMAGES = ('.svg', '.png')
FRONT = 'docs/README.md'
CONTENTS = 'tools/lib/site/contents.toml'


class StageError(Exception):
    """An error in the pages."""


def site_path(file: str) -> str:
    """The path of a page in the site, without extension: docs/howto/README.md becomes howto/index."""
    name = file.removesuffix('.md')
    if name.startswith('docs/'):
        return posixpath.join(posixpath.dirname(name[5:]), posixpath.basename(name).replace('README', 'index'))
    return name.removesuffix('/README').replace('/', '-').lower()


class Stage:
    def __init__(self, source: pathlib.Path, output: pathlib.Path) -> None:
        self.source = source
        self.output = output
        with open(source / CONTENTS, 'rb') as contents:
            self.parts = tomllib.load(contents)['part']
        self.pages = {file: read_page(source / file) for file in self._listed()}
        self.others: set[str] = set()  # files and folders that pages link to
        self.errors: list[str] = []

    def _listed(self) -> Iterator[str]:
        """All pages. Raises StageError if one is missing or not listed."""
        listed = [FRONT, *(page['file'] for part in self.parts for page in part['pages'])]
        for file in list(listed):
            if not (self.source / file).is_file():
                raise StageError(f'{file} is listed in contents.toml but missing')
            listed += self.children(file)
        found = {path.relative_to(self.source).as_posix() for path in (self.source / 'docs').rglob('*.md')}
        if unlisted := sorted(found - set(listed)):
            raise StageError(f'not listed in contents.toml or a README.md: {", ".join(unlisted)}')
        yield from listed

    def children(self, file: str) -> list[str]:
        """The pages in the folder of a README.md, in the order of its links."""
        if file == FRONT or not (file.startswith('docs/') and file.endswith('/README.md')):
            return []
        folder = posixpath.dirname(file)
        linked = [posixpath.join(folder, link.address.partition('#')[0])
                  for link in read_page(self.source / file).links() if '/' not in link.address]
        return [child for child in dict.fromkeys(linked)
                if child.endswith('.md') and child != file and (self.source / child).is_file()]

    def run(self) -> None:
        for file, page in self.pages.items():
            text = page.with_links(lambda link, file=file: self._address(file, link))
            self._write(site_path(file), text + self._toctree(file))
        for other in sorted(self.others):
            self._write_other(other)
        if self.errors:
            raise StageError('\n'.join(self.errors))

    def _toctree(self, file: str) -> str:
        if file == FRONT:
            return ''.join(toctree(part['caption'], [f'{page["title"]} </{site_path(page["file"])}>'
                                                     for page in part['pages']]) for part in self.parts)
        children = self.children(file)
        return toctree('', [f'/{site_path(child)}' for child in children]) if children else ''

    def _address(self, file: str, link: Link) -> str:
        """The address of a link in the site."""
        path, sign, anchor = link.address.partition('#')
        if '://' in path or path.startswith('mailto:') or not path:
            return link.address
        target = posixpath.normpath(posixpath.join(posixpath.dirname(file), path))
        if target.startswith('..') or not (self.source / target).exists():
            self.errors.append(f'{file}, line {link.line}: dead link: {link.address}')
            return link.address
        if (readme := posixpath.join(target, 'README.md')) in self.pages:
            target = readme
        if target in self.pages:
            staged = site_path(target) + '.md'
        elif link.image:
            staged = target.removeprefix('docs/')
            self._copy(target, staged)
        else:
            self._add_other(target)
            staged = self._other_path(target) + '.md'
        return posixpath.relpath(staged, posixpath.dirname(site_path(file)) or '.') + sign + anchor

    def _other_path(self, target: str) -> str:
        """The path of the page that shows a file or folder."""
        return posixpath.join('files', target, *(['index'] if (self.source / target).is_dir() else []))

    def _add_other(self, target: str) -> None:
        self.others.add(target)
        if (self.source / target).is_dir():
            children = {child.relative_to(self.source).as_posix() for child in self._files(target)}
            self.others |= children - set(self.pages)

    def _files(self, folder: str) -> list[pathlib.Path]:
        return sorted(path for path in (self.source / folder).iterdir() if path.is_file() and path.name[0] != '.')

    def _write_other(self, target: str) -> None:
        """Writes a page that shows a file or folder, not in the sidebar or the search index."""
        path = self.source / target
        text = f'---\norphan: true\nnosearch: true\n---\n\n# `{target}`\n\n'
        if path.is_dir():
            for file in self._files(target):
                name = file.relative_to(self.source).as_posix()
                staged = site_path(name) if name in self.pages else self._other_path(name)
                text += f'- [{file.name}]({posixpath.relpath(staged, posixpath.join("files", target))}.md)\n'
        else:
            text += fenced(path)
        self._write(self._other_path(target), text)

    def _write(self, name: str, text: str) -> None:
        path = self.output / (name + '.md')
        if path.exists():
            raise StageError(f'two pages have the name {name}.html')
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding='utf-8')

    def _copy(self, target: str, staged: str) -> None:
        if not target.endswith(IMAGES):
            raise StageError(f'{target} is not an image')
        (self.output / staged).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(self.source / target, self.output / staged)


def toctree(caption: str, entries: list[str]) -> str:
    lines = ['', '```{toctree}', ':hidden:', *([f':caption: {caption}'] if caption else []), '', *entries, '```', '']
    return '\n'.join(lines)


def fenced(path: pathlib.Path) -> str:
    """The file as a fenced block."""
    data = path.read_bytes()
    try:
        text = data.decode('utf-8')
    except UnicodeDecodeError:
        text = data.decode('cp1252')
    language = LANGUAGES.get(path.suffix, 'sh' if text.startswith('#!/bin/sh') else 'text')
    if path.name == 'CMakeLists.txt':
        language = 'cmake'
    fence = '`' * 3
    while fence in text:
        fence += '`'
    return f'{fence}{language}\n{text.rstrip()}\n{fence}\n'.replace('\r\n', '\n')


def main() -> None:
    try:
        Stage(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])).run()
    except (StageError, OSError) as error:
        sys.exit(f'stage.py: {error}')


if __name__ == '__main__':
    main()
