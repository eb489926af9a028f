#!/usr/bin/env python3
"""Holds the porting guide to the conformance suite: each promise names tests that are there.

usage: porting_guide.py SOURCE_FOLDER CONFORMANCE_EXECUTABLE
"""
import fnmatch
import importlib
import pathlib
import re
import sys


def load_runner(root):
    sys.path.insert(0, str(root / 'tests/conformance'))
    return importlib.import_module('run')


def patterns(page):
    """Of the last column of each table whose last column is "tests"; code that is linked is no pattern."""
    inside = False
    for line in page.splitlines():
        if line.endswith('| tests |'):
            inside = True
        elif not line.startswith('|'):
            inside = False
        elif inside and not line.startswith('|---'):
            cell = line.rstrip(' |').rsplit(' | ', 1)[1]
            yield line, re.findall(r'(?<!\[)`([^`]+)`', cell), cell


def parts(selection):
    """^(A|B)\\. as ^A\\. and ^B\\."""
    before, group, behind = re.fullmatch(r'([^(]*)(?:\(([^)]*)\))?(.*)', selection).groups()
    return [before + one + behind for one in (group or '').split('|')]


def main(root, executable):
    root = pathlib.Path(root)
    tests = list(load_runner(root).names(executable))
    page = (root / 'docs/porting-guide.md').read_text(encoding='utf-8')
    selections = re.findall(r"-R '([^']+)'", page)
    complaints = [f'no test for each part of -R {one}' for one in selections
                  if not all(any(re.search(part, test) for test in tests) for part in parts(one))]
    seen = len(selections)
    for line, found, cell in patterns(page):
        if not found and not cell.startswith('none: '):
            complaints.append(f'no test and no reason: {line}')
        for pattern in found:
            seen += 1
            if not pattern.endswith('.cpp') and not fnmatch.filter(tests, pattern):
                complaints.append(f'no test is called {pattern}')
    return complaints if seen > 20 else complaints + [f'{seen} patterns: this check does not see all']


if __name__ == '__main__':
    problems = main(sys.argv[1], sys.argv[2])
    print('\n'.join(problems))
    sys.exit(1 if problems else 0)
