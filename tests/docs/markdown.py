"""Reads the Markdown of the documentation: fenced blocks, headings and links, as a code host sees them."""
import dataclasses
import re
import urllib.parse
from collections.abc import Iterator

COMMENT = re.compile(r'\s*<!--\s*(.*?)\s*-->\s*')
FENCE = re.compile(r'(\s*)(`{3,}|~{3,})\s*(.*?)\s*')
HEADING = re.compile(r' {0,3}(#{1,6})\s+(.*?)(?:\s+#+)?\s*')
CODE_SPAN = re.compile(r'(`+)(.+?)\1')
LINK = re.compile(r'(!?)\[((?:[^\[\]]|\[[^\]]*\])*)\]\(<?([^()\s<>]*(?:\([^()\s]*\)[^()\s<>]*)*)>?(?:\s+"[^"]*")?\)')


@dataclasses.dataclass
class Block:
    """A fenced block. `comments` are those on the lines above it, which blank lines may separate."""
    line: int
    language: str
    text: list[str] = dataclasses.field(default_factory=list)
    comments: list[str] = dataclasses.field(default_factory=list)
    closed: bool = False


class Page:
    """The blocks of a page, and its prose: (number, line), without blocks and comments."""

    def __init__(self, text: str) -> None:
        self.blocks: list[Block] = []
        self.prose: list[tuple[int, str]] = []
        self.stray_comments: list[tuple[int, str]] = []
        comments: list[tuple[int, str]] = []
        fence, indent = '', 0
        for number, line in enumerate(text.splitlines(), 1):
            if fence:
                if re.fullmatch(rf'\s*{fence[0]}{{{len(fence)},}}\s*', line):
                    self.blocks[-1].closed, fence = True, ''
                else:
                    self.blocks[-1].text.append(line[min(indent, len(line) - len(line.lstrip())):])
            elif match := FENCE.fullmatch(line):
                indent, fence = len(match[1]), match[2]
                self.blocks.append(Block(number, match[3], comments=[comment for _, comment in comments]))
                comments = []
            elif match := COMMENT.fullmatch(line):
                comments.append((number, match[1]))
            elif line.strip():
                self.prose.append((number, line))
                self.stray_comments += comments
                comments = []
        self.stray_comments += comments

    def anchors(self) -> set[str]:
        """What links to this page may name after '#'."""
        return set(slugs(heading[2] for _, line in self.prose if (heading := HEADING.fullmatch(line))))

    def links(self) -> Iterator[tuple[int, bool, str]]:
        """(line number, whether it is an image, address) of the links. A link may run over the end of a line."""
        text = '\n'.join(line for _, line in self.prose)
        numbers = [number for number, _ in self.prose]
        text = CODE_SPAN.sub(lambda span: re.sub(r'[^\n]', ' ', span[0]), text)
        yield from self._links_in(text, numbers, 0)

    def _links_in(self, text: str, numbers: list[int], start: int) -> Iterator[tuple[int, bool, str]]:
        for link in LINK.finditer(text):
            row = start + text.count('\n', 0, link.start())
            yield numbers[row], bool(link[1]), urllib.parse.unquote(link[3])
            yield from self._links_in(link[2], numbers, row)  # an image that is a link


def slug(heading: str) -> str:
    """The anchor that GitHub gives a heading: in lower case, without punctuation, with hyphens for blanks."""
    heading = CODE_SPAN.sub(lambda span: span[2].replace('*', ''), heading)
    heading = LINK.sub(lambda link: link[2], heading)
    heading = re.sub(r'\*+|(?<!\w)_+|_+(?!\w)', '', heading)
    return re.sub(r'[^\w\- ]', '', heading.strip().lower()).replace(' ', '-')


def slugs(headings) -> Iterator[str]:
    """The anchors of all headings of a page: one that is taken already gets a number."""
    used: dict[str, int] = {}
    for heading in headings:
        base = anchor = slug(heading)
        while anchor in used:
            used[base] += 1
            anchor = f'{base}-{used[base]}'
        used[anchor] = 0
        yield anchor
