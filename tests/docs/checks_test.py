#!/usr/bin/env python3
"""Shows that the checks of this folder see what they are made for."""
import pathlib
import sys
import tempfile
import unittest

import code_texts
import commands
import links
import markdown


class Markdown(unittest.TestCase):
    def test_anchors_are_those_of_forges(self):
        outside, _ = markdown.split('# A b: `c_d`, e!\n## A\n## A\n### [Link](x.md) end\n```\n# no heading\n```\n')
        self.assertEqual(markdown.anchors(outside), {'a-b-c_d-e', 'a', 'a-1', 'link-end'})

    def test_blocks_are_told_from_text(self):
        outside, blocks = markdown.split('a\n```sh\nls\n```\nb\n')
        self.assertEqual(outside, [(1, 'a'), (5, 'b')])
        self.assertEqual(blocks, [(2, 'sh', 'ls')])

    def test_a_block_without_an_end_is_an_error(self):
        with self.assertRaises(ValueError):
            markdown.split('```\nls\n')


class Links(unittest.TestCase):
    def complaints(self, text, **files):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / 'page.md').write_text(text, encoding='utf-8')
            for name, content in files.items():
                (pathlib.Path(folder) / f'{name}.md').write_text(content, encoding='utf-8')
            return links.main(folder)[0]

    def test_what_is_there_is_fine(self):
        self.assertEqual(self.complaints('# Here\n[a](other.md#deep-in-it) [b](#here) [c](https://x.example/y)\n',
                                         other='## Deep in it\n'), [])

    def test_missing_files_headings_and_pictures_are_found(self):
        for text in ('[a](gone.md)', '![a](gone.svg)', '[a](#gone)', '[a](other.md#gone)', '[a](../up.md)',
                     '[a]: gone.md'):
            with self.subTest(text):
                self.assertEqual(len(self.complaints(text, other='# There\n')), 1)

    def test_code_is_no_link(self):
        self.assertEqual(self.complaints('`[a](gone.md)`\n```\n[a](gone.md)\n```\n'), [])


class CodeTexts(unittest.TestCase):
    def logged(self, source):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / 'a.cpp').write_text(source, encoding='utf-8')
            return set(code_texts.logged(folder))

    def test_what_is_handed_to_the_log_is_found(self):
        self.assertEqual(self.logged('void f() {\n  VQDbgOutput::DbgPrint("a", "b", 0, 1,\n      "one %s "\n'
                                     '      "text\\n", g(1, 2));\n  logLine("no \\"x\\"");  // logLine("old")\n}\n'),
                         {'one %s text', 'no "x"'})

    def test_declarations_and_comments_have_none(self):
        self.assertEqual(self.logged('void logLine(const char* format, ...);  /* logLine("no") */\n'), set())


class Commands(unittest.TestCase):
    def test_comments_prompts_and_continued_lines(self):
        self.assertEqual(commands.command_lines('$ one \\\n  two\noutput\n'), ['one    two'])
        self.assertEqual(commands.command_lines('# a\nb\nphone> plug usb\n'), ['b'])

    def test_commands_of_a_line_are_told_apart(self):
        self.assertEqual(commands.Existence.split("a -b | c 'd e' # f"), [['a', '-b'], ['c', 'd e']])

    def test_options_end_at_two_dashes(self):
        self.assertEqual(commands.Existence.options(['x', '--a=1', '-b', '--', '--c']), ['--a', '-b'])

    def test_an_option_that_is_part_of_another_does_not_count(self):
        with self.assertRaises(commands.Complaint):
            commands.Existence.need(None, '--file', '  --files NAME   --a-file', 'x')


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
