#!/usr/bin/env python3
"""Follows every relative link in every *.md of a tree: the file must be there, and the heading behind the #.

usage: links.py FOLDER
"""
import pathlib
import re
import sys

import markdown

# Not in `code`, and not what a backslash or a second bracket makes of it.
_LINK = re.compile(r'(?<!\\)\]\(\s*<?([^)\s>]+)>?(?:\s+"[^"]*")?\s*\)|^\[[^\]]+\]:\s*(\S+)')


def links(outside):
    for number, line in outside:
        for match in _LINK.finditer(re.sub(r'`[^`]*`', '`', line)):
            yield number, match.group(1) or match.group(2)


def main(root):
    root = pathlib.Path(root).resolve()
    pages = {path: markdown.split(path.read_text(encoding='utf-8'))[0] for path in markdown.files(root)}
    anchors = {path: markdown.anchors(outside) for path, outside in pages.items()}
    complaints, count = [], 0
    for path, outside in pages.items():
        for number, link in links(outside):
            if re.match(r'[a-z][a-z0-9+.-]*:', link):
                continue  # elsewhere
            count += 1
            target, _, anchor = link.partition('#')
            where = (path.parent / target).resolve() if target else path
            place = f'{path.relative_to(root)}:{number}: {link}'
            if root not in where.parents and where != root:
                complaints.append(f'{place}: leads out of the tree')
            elif not where.exists():
                complaints.append(f'{place}: leads nowhere')
            elif anchor and where.suffix == '.md' and anchor not in anchors[where]:
                complaints.append(f'{place}: no such heading')
    return complaints, len(pages), count


if __name__ == '__main__':
    problems, page_count, link_count = main(sys.argv[1])
    print('\n'.join(problems + [f'{link_count} links in {page_count} pages']))
    sys.exit(1 if problems or not page_count else 0)
