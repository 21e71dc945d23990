#!/usr/bin/env python3
"""Makes web pages of the documentation: make_html.py [--drop PATH...] SOURCE OUTPUT FILE...

Each FILE.md, a path below SOURCE, becomes OUTPUT/FILE.html. Links between the pages follow. Links to the examples stay.
Links to what begins with a PATH of --drop become plain text, since it is not packaged; any other link is an error.
"""
import argparse
import html
import pathlib
import posixpath
import re
import subprocess
import sys

KEPT = 'examples/'
RENAMED = {'LICENSE': 'LICENSE.txt'}
PAGE = '''<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>{title}</title>
<style>
body {{ font: 16px/1.5 "Segoe UI", sans-serif; max-width: 50em; margin: 2em auto; padding: 0 1em; color: #222 }}
h1, h2, h3 {{ line-height: 1.2; margin-top: 1.6em }}
a {{ color: #1b4f8f }}
code, pre {{ font-family: Consolas, monospace; font-size: 14px; background: #f3f5f8 }}
pre {{ padding: .8em; overflow-x: auto }}
table {{ border-collapse: collapse }}
td, th {{ border: 1px solid #ccd; padding: .3em .6em; text-align: left; vertical-align: top }}
</style>
</head>
<body>
{body}</body>
</html>
'''


def with_anchors(body):
    """Headings get the identifiers that links to them use: the text in lower case, blanks as hyphens."""
    used = {}

    def anchor(match):
        text = html.unescape(re.sub('<[^>]*>', '', match[2])).lower()
        slug = re.sub(r'[^\w\- ]', '', text).replace(' ', '-')
        count = used[slug] = used.get(slug, -1) + 1
        return f'<h{match[1]} id="{slug}{f"-{count}" if count else ""}">{match[2]}</h{match[1]}>'
    return re.sub(r'<h([1-6])>(.*?)</h\1>', anchor, body)


class Pages:
    def __init__(self, source, files, dropped):
        self.source = source
        self.files = set(files)
        self.dropped = tuple(dropped)

    def link(self, page, match):
        """A link of `page`, as the packaged page has it."""
        address, text = html.unescape(match[1]), match[2]
        path, _, anchor = address.partition('#')
        if not path or '://' in path:
            return match[0]
        target = posixpath.normpath(posixpath.join(posixpath.dirname(page), path))
        if target in self.files:
            path = re.sub(r'\.md$', '.html', path)
            return f'<a href="{html.escape(path + ("#" + anchor if anchor else ""))}">{text}</a>'
        if target in RENAMED:
            return f'<a href="{posixpath.relpath(RENAMED[target], posixpath.dirname(page) or ".")}">{text}</a>'
        if target.startswith(self.dropped):
            return text
        if target.startswith(KEPT):
            return match[0]
        sys.exit(f'{page}: the link {address} leads to nothing that is packaged')

    def convert(self, page):
        body = subprocess.run(['cmark-gfm', '--extension', 'table', self.source / page], check=True,
                              stdout=subprocess.PIPE, encoding='utf-8').stdout
        body = re.sub(r'<a href="([^"]*)">(.*?)</a>', lambda match: self.link(page, match), with_anchors(body),
                      flags=re.DOTALL)
        title = re.search(r'<h1[^>]*>(.*?)</h1>', body)[1]
        return PAGE.format(title=re.sub('<[^>]*>', '', title), body=body)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--drop', action='append', default=[])
    parser.add_argument('source', type=pathlib.Path)
    parser.add_argument('output', type=pathlib.Path)
    parser.add_argument('files', nargs='+')
    arguments = parser.parse_args()
    pages = Pages(arguments.source, arguments.files, arguments.drop)
    for file in arguments.files:
        target = (arguments.output / file).with_suffix('.html')
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(pages.convert(file), encoding='utf-8')


main()
