#!/usr/bin/env python3
"""Tests that run_page.py detects each kind of wrong claim: run_page_test.py PREFIX"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

RUN_PAGE = pathlib.Path(__file__).with_name('run_page.py')
PREFIX = pathlib.Path(sys.argv.pop()).resolve() if len(sys.argv) > 1 else sys.exit('usage: run_page_test.py PREFIX')


def block(language: str, *lines: str, comment: str = '') -> str:
    return '\n'.join([*([f'<!-- {comment} -->'] if comment else []), f'```{language}', *lines, '```', '', ''])


def vbscript(*lines: str, comment: str = '') -> str:
    return block('vbscript', *lines, comment=comment)


def javascript(*lines: str, comment: str = '') -> str:
    return block('javascript', *lines, comment=comment)


def text(comment: str, *lines: str) -> str:
    return block('text', *lines, comment=comment)


class RunPage(unittest.TestCase):
    def run_page(self, *blocks: str) -> tuple[int, str]:
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / 'page.md'
            page.write_text('# Title\n\n' + ''.join(blocks), encoding='utf-8')
            result = subprocess.run([RUN_PAGE, PREFIX, page], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    text=True, check=False)
        return result.returncode, result.stdout

    def holds(self, *blocks: str) -> None:
        code, output = self.run_page(*blocks)
        self.assertEqual(code, 0, output)

    def fails(self, message: str, *blocks: str) -> None:
        code, output = self.run_page(*blocks)
        self.assertEqual(code, 1, output)
        self.assertIn(message, output)


class JoinedScripts(RunPage):
    def test_each_language_is_one_script(self):
        self.holds(vbscript('a = 1'), javascript('var a = 2;'), vbscript("WScript.Echo a ' -> 1"),
                   javascript('WScript.Echo(a); // -> 2'))

    def test_several_lines_are_marked(self):
        self.holds(vbscript('For i = 1 To 2', '    WScript.Echo i', 'Next', "' -> 1", "' -> 2"))
        self.holds(vbscript('WScript.Echo ""', "' ->"))

    def test_a_wrong_claim_fails(self):
        self.fails('-2\n+1', vbscript("WScript.Echo 1 ' -> 2"))
        self.fails('-2\n+1', javascript('WScript.Echo(1); // -> 2'))

    def test_a_missing_claim_fails(self):
        self.fails('+2', vbscript("WScript.Echo 1 ' -> 1", 'WScript.Echo 2'))

    def test_missing_output_line_fails(self):
        self.fails('-2', vbscript("WScript.Echo 1 ' -> 1", "' -> 2"))

    def test_a_script_that_stops_fails(self):
        self.fails('-(the end)', vbscript("WScript.Echo 1 ' -> 1", 'Nothing.Nonsense'))
        self.fails('-(the end)', javascript('WScript.Echo(1); // -> 1', 'nonsense();'))
        self.fails('-(the end)', vbscript("WScript.Echo 1 ' -> 1", 'If Then'))

    def test_quitting_is_an_end(self):
        self.holds(vbscript("WScript.Echo 1 ' -> 1", 'If True Then WScript.Quit 3', 'WScript.Echo 2'))
        self.holds(javascript('WScript.Echo(1); // -> 1', 'WScript.Quit(3);', 'WScript.Echo(2);'))

    def test_blocks_without_claims_fail(self):
        self.fails('do not say what they print', vbscript('a = 1'))
        self.fails('javascript blocks do not say', vbscript("WScript.Echo 1 ' -> 1"), javascript('var a;'))

    def test_a_result_between_blocks_is_of_that_moment(self):
        write = ('Set file = CreateObject("Scripting.FileSystemObject").CreateTextFile("a.txt", True)',
                 'file.WriteLine {}', 'file.Close')
        blocks = [vbscript(*write).format(1), text('result: a.txt', '1'),
                  vbscript(*write, "WScript.Echo 2 ' -> 2").format(2), text('result: a.txt', '2')]
        self.holds(*blocks)
        self.fails('the file a.txt', *blocks[:1], text('result: a.txt', '2'), *blocks[2:])


class WholeScripts(RunPage):
    def test_the_output_is_marked_or_shown(self):
        script = ('WScript.Echo WScript.ScriptName', 'WScript.Echo WScript.Arguments.Count')
        self.holds(vbscript(*script, comment='script: a.vbs'), text('output: a.vbs', 'a.vbs', '0'),
                   text('output: a.vbs 1 "2 3"', 'a.vbs', '2'), vbscript("a = 0: WScript.Echo a ' -> 0"))
        self.holds(javascript('WScript.Echo(WScript.ScriptName); // -> a.js', comment='script: a.js'))

    def test_a_wrong_output_fails(self):
        script = vbscript('WScript.Echo 1', comment='script: a.vbs')
        self.fails('-2\n+1', script, text('output: a.vbs', '2'))
        self.fails('-2', script, text('output: a.vbs', '1', '2'))
        self.fails('a.vbs b', script, text('output: a.vbs', '1'), text('output: a.vbs b', '2'))

    def test_a_script_that_stops_fails(self):
        self.fails('-(the end)', vbscript('WScript.Echo 1', 'Nothing.Nonsense', comment='script: a.vbs'),
                   text('output: a.vbs', '1'))

    def test_a_missing_output_fails(self):
        self.fails('nothing says what a.vbs prints', vbscript('WScript.Echo 1', comment='script: a.vbs'))
        self.fails('nothing says what a.vbs prints', vbscript('WScript.Echo 1', comment='script: a.vbs'),
                   vbscript('WScript.Echo 1', comment='script: a.vbs'), text('output: a.vbs', '1'))

    def test_a_script_may_replace_one(self):
        self.holds(vbscript('WScript.Echo 1', comment='script: a.vbs'), text('output: a.vbs', '1'),
                   vbscript('WScript.Echo 2', comment='script: a.vbs'), text('output: a.vbs', '2'))

    def test_an_output_needs_its_script(self):
        self.fails('there is no script b.vbs', vbscript("WScript.Echo 1 ' -> 1"), text('output: b.vbs', '1'))

    def test_a_name_must_suit_the_language(self):
        self.fails('a.js is not vbscript', vbscript('a = 1', comment='script: a.js'))
        self.fails('not the name of a file', vbscript('a = 1', comment='script: ../a.vbs'))


class Files(RunPage):
    READ = ('Set file = CreateObject("Scripting.FileSystemObject").OpenTextFile("a.txt")', 'line = file.ReadLine',
            'WScript.Echo Len(line) & line')

    def test_files_are_there_before_anything_runs(self):
        self.holds(vbscript(*self.READ, "' -> 2bä"), text('file: a.txt', 'bä'))
        self.fails('+2bc', vbscript(*self.READ, "' -> 2bd"), text('file: a.txt', 'bc'))
        self.fails('there is a file a.txt already', text('file: a.txt', 'b'), text('file: a.txt', 'c'))
        self.fails('not in Windows-1252', text('file: a.txt', 'ж'), vbscript("WScript.Echo 1 ' -> 1"))

    def test_a_script_may_be_a_file(self):
        self.holds(vbscript('line', comment='file: a.txt'), vbscript(*self.READ, "' -> 4line"))

    def test_results_are_compared(self):
        write = vbscript('CreateObject("Scripting.FileSystemObject").CreateTextFile("a.txt").WriteLine "b"',
                         comment='script: a.vbs')
        self.holds(write, text('result: a.txt', 'b'))
        self.fails('-c\n+b', write, text('result: a.txt', 'c'))
        self.fails('the file b.txt\nis not there', write, text('result: b.txt', 'b'))
        self.fails('no script above', text('result: a.txt', 'b'), write)


class Marks(RunPage):
    def test_what_is_not_run_is_said(self):
        prose = 'It has not been\nrun.\n\n'
        code, output = self.run_page(prose, vbscript('Nonsense', comment='not run: it needs Excel'))
        self.assertEqual(code, 77)
        self.assertIn('NOT RUN: it needs Excel', output)
        self.holds(prose, vbscript('Nonsense', comment='not run: it needs Excel'), vbscript("WScript.Echo 1 ' -> 1"))
        self.fails('does not say that this has not been run', vbscript('Nonsense', comment='not run: it needs Excel'))
        self.fails('is never run', prose, block('cpp', 'int i;', comment='not run: it is C++'))

    def test_misspelled_marks_fail(self):
        fine = vbscript("WScript.Echo 1 ' -> 1")
        self.fails('unknown or incomplete', fine, text('ouput: a.vbs', '1'))
        self.fails('unknown or incomplete', fine, text('file:', '1'))
        self.fails('stands above no block', fine, '<!-- script: a.vbs -->\n\nWords.\n\n')
        self.fails('more than one comment', fine, '<!-- file: a -->\n', text('file: b', '1'))
        self.fails('write vbscript or javascript', fine, block('vbs', 'a = 1'))
        self.fails('is not closed', fine, '```vbscript\n')
        self.fails('a block in a quote', fine, '> ```vbscript\n> a = 1\n> ```\n')

    def test_a_page_without_scripts_fails(self):
        self.fails('there is nothing to run', text('file: a.txt', 'b'))
        self.fails('there is nothing to run', block('cpp', 'int i;'))


if __name__ == '__main__':
    unittest.main()
