"""Turns the VBScript and JScript blocks of a page into steps to run.

The blocks of one language form one script, in order, which runs at the position of the last one. `' -> text` or
`// -> text` marks printed lines. A comment on the line above a block gives it another meaning:

    <!-- script: NAME.vbs -->              a whole script, saved under that name
    <!-- output: NAME.vbs [ARGUMENTS] -->  exactly what running that script prints
    <!-- file: NAME -->                    a file that exists before anything runs
    <!-- result: NAME -->                  the content of that file after the scripts above
    <!-- not run: REASON -->               a script that cannot run here

Scripts and files have CR LF line ends and are in Windows-1252.
"""
import dataclasses
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'tools' / 'lib' / 'site'))
from markdown_page import Block, Page, read_page  # noqa: E402

# Wine's script host returns 0 even if a script fails, so each script prints this at its end.
END = '(the end)'
ENCODING = 'cp1252'
KINDS = ('script', 'output', 'file', 'result', 'not run')
EXTENSIONS = {'vbscript': '.vbs', 'javascript': '.js'}
MISSPELLED = {'vbs', 'js', 'jscript', 'VBScript', 'JavaScript', 'JScript', 'Vbscript', 'Javascript', 'VBS', 'JS'}
COPY = {'vbscript': 'CreateObject("Scripting.FileSystemObject").CopyFile "{}", "{}"',
        'javascript': 'new ActiveXObject("Scripting.FileSystemObject").CopyFile("{}", "{}");'}
SAYS_NOT_RUN = re.compile(r'\b(?:not|nothing)\b[^.:]*\bbeen\s+run\b', re.IGNORECASE)
QUOTED_BLOCK = re.compile(r'^[ ]{0,3}>[ >]*(?:`{3}|~{3})', re.MULTILINE)
MARKS = {'vbscript': re.compile(r".*' ->(?: (.*))?"), 'javascript': re.compile(r'.*// ->(?: (.*))?')}


class PageError(Exception):
    """A page that breaks the rules for blocks."""

    def __init__(self, line: int, message: str) -> None:
        super().__init__(f'line {line}: {message}')


@dataclasses.dataclass
class Step:
    """Saves files, then runs a script or shows a file. The output must be `expected`."""
    line: int
    files: dict[str, bytes] = dataclasses.field(default_factory=dict)
    script: str = ''
    arguments: list[str] = dataclasses.field(default_factory=list)
    shown: str = ''
    expected: list[str] = dataclasses.field(default_factory=list)
    quits: bool = False  # and may return an exit code

    @property
    def title(self) -> str:
        return ' '.join([self.script, *self.arguments]) if self.script else f'the file {self.shown}'


def encoded(line: int, text: list[str]) -> bytes:
    try:
        return ''.join(row + '\r\n' for row in text).encode(ENCODING)
    except UnicodeEncodeError as error:
        raise PageError(line, f'not in Windows-1252: {error}') from error


def with_end(language: str, text: list[str]) -> list[str]:
    """A script that prints END at its end or before it quits."""
    source = '\n'.join(text)
    if language == 'javascript':
        source = re.sub(r'\bWScript\.Quit\(([^()]*)\)',
                        lambda call: f'WScript.Quit((WScript.Echo("{END}"), {call[1].strip() or 0}))', source)
        return [*source.split('\n'), f'WScript.Echo("{END}");']
    source, quits = re.subn(r'(?i)\bWScript\.Quit\b(?:[ \t]*\(?[ \t]*([\w.]+)[ \t]*\)?)?',
                            lambda call: f'WScript.Quit AtTheEnd({call[1] or 0})', source)
    function = ['Function AtTheEnd(code)', f'WScript.Echo "{END}"', 'AtTheEnd = code', 'End Function']
    return [*source.split('\n'), f'WScript.Echo "{END}"', *(function if quits else [])]


class _Planner:
    def __init__(self, page: Page) -> None:
        self.prose = page.prose
        self.blocks = [(block, *self._directive(block)) for block in page.blocks]
        if quoted := QUOTED_BLOCK.search(page.text):
            raise PageError(page.line_of(quoted.end()), 'a block in a quote would not be run')
        for line, comment in page.stray_comments:
            if comment.partition(':')[0] in KINDS:
                raise PageError(line, f'"{comment}" stands above no block')
        self.files: dict[str, bytes] = {}
        self.steps: list[Step] = []
        self.scripts: dict[str, Block] = {}  # the last one of each name
        self.skipped: list[str] = []

    @staticmethod
    def _directive(block: Block) -> tuple[str, str]:
        """The kind and value of a block's comment: ('script', 'NAME.vbs'), or two empty strings."""
        found = []
        for comment in block.comments:
            kind, colon, value = comment.partition(':')
            if kind in KINDS and colon and value.strip():
                found.append((kind, value.strip()))
            elif kind in KINDS or (colon and re.fullmatch(r'[a-z]+(?: [a-z]+)?', kind)):
                raise PageError(block.line, f'unknown or incomplete: <!-- {comment} -->')
        if len(found) > 1:
            raise PageError(block.line, 'more than one comment says what this block is')
        if not block.closed:
            raise PageError(block.line, 'the block is not closed')
        if block.language in MISSPELLED:
            raise PageError(block.line, f'write vbscript or javascript for {block.language}')
        return found[0] if found else ('', '')

    def _require_that_the_prose_says_what_is_not_run(self) -> None:
        line = next((block.line for block, kind, _ in self.blocks if kind == 'not run'), 0)
        if line and not SAYS_NOT_RUN.search(self.prose):
            raise PageError(line, 'the page does not say that this has not been run')

    @staticmethod
    def _name(block: Block, name: str) -> str:
        if not re.fullmatch(r'[\w][\w .-]*(?:/[\w][\w .-]*)*', name):
            raise PageError(block.line, f'not the name of a file: {name}')
        return name

    def plan(self) -> list[Step]:
        self._require_that_the_prose_says_what_is_not_run()
        for place, (block, kind, value) in enumerate(self.blocks):
            if kind == 'file':
                name = self._name(block, value)
                if name in self.files:
                    raise PageError(block.line, f'there is a file {name} already')
                self.files[name] = encoded(block.line, block.text)
            elif kind == 'script':
                self._whole_script(place, block, self._name(block, value))
            elif kind == 'output':
                self._output(block, value)
            elif kind == 'result':
                self._result(place, block, self._name(block, value))
            elif kind == 'not run':
                if block.language not in EXTENSIONS:
                    raise PageError(block.line, f'a block of {block.language} is never run')
                self.skipped.append(f'line {block.line}: NOT RUN: {value}')
            elif block.language in EXTENSIONS and not self._joined_from(block.language, place + 1):
                self._joined_script(block.language)
        if self.files:
            self.steps.insert(0, Step(1, self.files))
        return self.steps

    def _joined_from(self, language: str, place: int) -> list[Block]:
        return [block for block, kind, _ in self.blocks[place:] if not kind and block.language == language]

    def _joined_script(self, language: str) -> None:
        blocks = self._joined_from(language, 0)
        name = 'examples' + EXTENSIONS[language]
        lines: list[str] = []
        results: list[Step] = []
        for place, (block, kind, value) in enumerate(self.blocks):
            if not kind and block.language == language:
                lines += block.text
            elif kind == 'result' and self._inside_joined(place) == language:
                # The script itself copies the file at this point.
                copy = f'{value}.{len(results) + 1}'
                lines.append(COPY[language].format(value, copy))
                results.append(Step(block.line, shown=copy, expected=block.text))
        marked = self._marked(language, lines)
        if not marked:
            raise PageError(blocks[0].line, f'the {language} blocks do not say what they print')
        self._add_run(blocks[0], name, language, lines, [], marked)
        self.steps += results

    def _inside_joined(self, place: int) -> str:
        """The language of the joined script that runs at this position, if any."""
        for block, kind, _ in reversed(self.blocks[:place]):
            if kind in ('script', 'output'):
                return ''
            if not kind and block.language in EXTENSIONS:
                return block.language if self._joined_from(block.language, place) else ''
        return ''

    def _whole_script(self, place: int, block: Block, name: str) -> None:
        if not name.lower().endswith(EXTENSIONS.get(block.language, '?')):
            raise PageError(block.line, f'{name} is not {block.language}')
        self.scripts[name] = block
        rest = []
        for other, kind, value in self.blocks[place + 1:]:
            if kind == 'script' and value == name:
                break
            rest.append((kind, value.split()[0] if kind == 'output' else '', other))
        has_output = any(kind == 'output' and value == name for kind, value, _ in rest)
        marked = self._marked(block.language, block.text)
        if marked or not has_output:
            # Without output, its result must be shown before another script runs.
            following = next((kind for kind, _, other in rest if kind in ('script', 'output', 'result') or
                              (not kind and other.language in EXTENSIONS)), '')
            if not marked and following != 'result':
                raise PageError(block.line, f'nothing says what {name} prints')
            self._add_run(block, name, block.language, block.text, [], marked)

    def _output(self, block: Block, value: str) -> None:
        name, *arguments = [quoted or word for quoted, word in re.findall(r'"([^"]*)"|(\S+)', value)]
        if name not in self.scripts:
            raise PageError(block.line, f'there is no script {name} above')
        if block.language != 'text':
            raise PageError(block.line, 'the output of a script is a block of text')
        script = self.scripts[name]
        self._add_run(block, name, script.language, script.text, arguments, block.text)

    def _result(self, place: int, block: Block, name: str) -> None:
        if block.language in EXTENSIONS:
            raise PageError(block.line, 'a result is not a script')
        if not any(kind == 'script' or (not kind and other.language in EXTENSIONS)
                   for other, kind, _ in self.blocks[:place]):
            raise PageError(block.line, f'no script above could have made {name}')
        if not self._inside_joined(place):
            self.steps.append(Step(block.line, shown=name, expected=block.text))

    def _add_run(self, block: Block, name: str, language: str, text: list[str], arguments: list[str],
                 expected: list[str]) -> None:
        lines = with_end(language, text)
        quits = 'wscript.quit' in '\n'.join(lines).lower()
        self.steps.append(Step(block.line, {name: encoded(block.line, lines)}, name, arguments, '', expected, quits))

    @staticmethod
    def _marked(language: str, text: list[str]) -> list[str]:
        return [mark[1] or '' for line in text if (mark := MARKS[language].fullmatch(line))]


def plan(path: pathlib.Path) -> tuple[list[Step], list[str]]:
    """Returns the steps of a page, and a line for each block that is not run. Raises PageError."""
    planner = _Planner(read_page(path))
    return planner.plan(), planner.skipped
