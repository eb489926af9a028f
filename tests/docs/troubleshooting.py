#!/usr/bin/env python3
"""Holds docs/troubleshooting.md to the code: every text that it quotes stands there, every text of the log is quoted.

usage: troubleshooting.py SOURCE_FOLDER
"""
import pathlib
import re
import sys

import code_texts

# Printed, and no entry of its own: why.
WITHOUT_ENTRY = {
    '%s': 'a reason of BlueZ, each of which has an entry',
    '%s %s: %s': 'file, what was tried, why: "cannot be read" and "cannot be written" have entries',
}
LOGGING = ('platform/reference', 'platform/inprocess', 'platform/bluez', 'platform/nobluetooth')
CODE = ('include', 'LinkAppCommon', 'VQFramework', 'VQBluetooth', 'platform', 'tools')


def quoted(page):
    """The first column of every table whose head says "text"."""
    texts, inside = [], False
    for line in page.splitlines():
        if line.startswith('| text |'):
            inside = True
        elif not line.startswith('|'):
            inside = False
        elif inside and not line.startswith('|---'):
            texts.append(re.match(r'\| `([^`]*)` \|', line).group(1))
    return texts


def main(root):
    root = pathlib.Path(root)
    texts = quoted((root / 'docs/troubleshooting.md').read_text(encoding='utf-8'))
    code = code_texts.literals(*(root / folder for folder in CODE))
    logged = code_texts.logged(*(root / folder for folder in LOGGING))
    product = [code_texts.plain(f'"{line}"')
               for line in (root / 'tests/abi/log_texts.txt').read_text(encoding='utf-8').splitlines() if line]

    complaints = [f'quoted twice: {text}' for text in sorted({text for text in texts if texts.count(text) > 1})]
    complaints += [f'quoted, and not in the code: {text}' for text in texts if not any(text in one for one in code)]
    complaints += [f'in the log, without an entry: {text}  ({file})' for text, file in sorted(logged.items())
                   if text not in texts and text not in WITHOUT_ENTRY]
    complaints += [f'in the log, without an entry: {text}' for text in product if text not in texts]
    complaints += [f'excused, and not in the code: {text}' for text in WITHOUT_ENTRY if text not in logged]
    if len(texts) < 50 or len(logged) < 30 or len(product) < 20:
        complaints.append(f'{len(texts)} entries, {len(logged)} + {len(product)} texts: this check does not see all')
    return complaints


if __name__ == '__main__':
    problems = main(sys.argv[1])
    print('\n'.join(problems))
    sys.exit(1 if problems else 0)
