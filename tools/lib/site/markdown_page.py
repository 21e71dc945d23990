"""Parses the Markdown of the documentation: fenced blocks, headings and links, as a code host sees them."""
import bisect
import dataclasses
import pathlib
import re
import urllib.parse
from collections.abc import Callable, Iterable, Iterator

COMMENT = re.compile(r'\s*<!--\s*(.*?)\s*-->\s*')
FENCE = re.compile(r'(\s*)(`{3,}|~{3,})\s*(.*?)\s*')
HEADING = re.compile(r' {0,3}(#{1,6})\s+(.*?)(?:\s+#+)?\s*')
CODE_SPAN = re.compile(r'(?<!`)(`+)(?!`)((?:[^\n]|\n(?!\s*\n))+?)(?<!`)\1(?!`)')
LINK = re.compile(r'(?<!\\)(!?)\[((?:[^\[\]]|\[[^\]]*\](?:\([^()\s]*\))?)*)\]'
                  r'\(([^()\s]*(?:\([^()\s]*\)[^()\s]*)*)(?:\s+"[^"]*")?\)')


@dataclasses.dataclass
class Block:
    """A fenced block. `comments` are those above it; blank lines may separate them."""
    line: int
    language: str
    comments: list[str]
    text: list[str] = dataclasses.field(default_factory=list)
    closed: bool = False


@dataclasses.dataclass
class Link:
    """A link or an image; `start` and `end` delimit its address in the text."""
    line: int
    image: bool
    address: str
    start: int
    end: int


class Page:
    """The text of a page. `prose` is the text with blocks, comments and code spans blanked out."""

    def __init__(self, text: str) -> None:
        self.text = text
        self.blocks: list[Block] = []
        self.headings: list[str] = []
        self.stray_comments: list[tuple[int, str]] = []
        self._starts = [0]
        self.prose = CODE_SPAN.sub(lambda span: _blank(span[0]), ''.join(self._read(text)))

    def _read(self, text: str) -> Iterator[str]:
        """Collects blocks and headings, and yields the lines, blanked out where they are not prose."""
        comments: list[tuple[int, str]] = []
        fence, indent = '', 0
        for number, whole_line in enumerate(text.splitlines(keepends=True), 1):
            self._starts.append(self._starts[-1] + len(whole_line))
            line = whole_line.rstrip('\r\n')
            is_prose = False
            if fence:
                if re.fullmatch(rf'\s*{fence[0]}{{{len(fence)},}}\s*', line):
                    self.blocks[-1].closed, fence = True, ''
                else:
                    self.blocks[-1].text.append(line[min(indent, len(line) - len(line.lstrip())):])
            elif match := FENCE.fullmatch(line):
                indent, fence = len(match[1]), match[2]
                self.blocks.append(Block(number, match[3], [comment for _, comment in comments]))
                comments = []
            elif match := COMMENT.fullmatch(line):
                comments.append((number, match[1]))
            elif line.strip():
                is_prose = True
                self.stray_comments += comments
                comments = []
                if match := HEADING.fullmatch(line):
                    self.headings.append(match[2])
            yield whole_line if is_prose else _blank(whole_line)
        self.stray_comments += comments

    def line_of(self, offset: int) -> int:
        return bisect.bisect(self._starts, offset)

    def anchors(self) -> list[str]:
        """The anchors of this page."""
        return list(slugs(slug(plain(heading)) for heading in self.headings))

    def links(self) -> list[Link]:
        return list(self._links(0, len(self.prose)))

    def _links(self, start: int, end: int) -> Iterator[Link]:
        for match in LINK.finditer(self.prose, start, end):
            yield from self._links(*match.span(2))  # an image may be a link
            yield Link(self.line_of(match.start()), bool(match[1]), urllib.parse.unquote(match[3]), *match.span(3))

    def with_links(self, address: Callable[[Link], str]) -> str:
        """The text with the addresses of its links replaced."""
        text, end = '', 0
        for link in self.links():
            text += self.text[end:link.start] + urllib.parse.quote(address(link), safe='/:#?=&%+,;@~!$*\'')
            end = link.end
        return text + self.text[end:]


def read_page(path: pathlib.Path) -> Page:
    return Page(path.read_text(encoding='utf-8'))


def _blank(text: str) -> str:
    return re.sub(r'[^\n]', ' ', text)


def plain(heading: str) -> str:
    """The heading as displayed."""
    kept: list[str] = []

    def keep(span: re.Match[str]) -> str:
        kept.append(span[2])
        return '\0'
    heading = CODE_SPAN.sub(keep, heading)
    heading = LINK.sub(lambda link: link[2], heading)
    heading = re.sub(r'\\(?=[^\w\s])|\*+|(?<!\w)_+(?=\w)|(?<=\w)_+(?!\w)', '', heading)
    return re.sub('\0', lambda _: kept.pop(0), heading)


def slug(title: str) -> str:
    """GitHub's anchor for a heading: lower case, without punctuation, with hyphens for blanks."""
    return re.sub(r'[^\w\- ]', '', title.strip().lower()).replace(' ', '-')


def slugs(anchors: Iterable[str]) -> Iterator[str]:
    """The anchors of a page's headings: repeated ones get a number."""
    used: dict[str, int] = {}
    for base in anchors:
        anchor = base
        while anchor in used:
            used[base] += 1
            anchor = f'{base}-{used[base]}'
        used[anchor] = 0
        yield anchor
