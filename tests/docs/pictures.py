#!/usr/bin/env python3
"""Draws the Graphviz pictures anew and compares what they say with those in docs/pictures.

Positions are left out: they differ between versions of Graphviz and with the fonts of the machine.

usage: pictures.py SOURCE_FOLDER
"""
import html
import pathlib
import re
import subprocess
import sys
import tempfile


def content(path):
    """Names of nodes and edges and all texts, in the order of their names."""
    svg = path.read_text(encoding='utf-8')
    elements = re.findall(r'<g id="\w+" class="(?:node|edge|cluster)">\s*<title>(.*?)</title>(.*?)</g>', svg, re.DOTALL)
    return sorted((html.unescape(title), tuple(map(html.unescape, re.findall(r'<text[^>]*>(.*?)</text>', body))))
                  for title, body in elements)


def main(root):
    folder = pathlib.Path(root) / 'docs/pictures'
    sources = sorted(folder.glob('*.dot'))
    complaints = [] if sources else ['there is no picture to compare']
    with tempfile.TemporaryDirectory() as fresh:
        subprocess.run([pathlib.Path(root) / 'script/draw', fresh], check=True)
        for source in sources:
            picture = source.with_suffix('.svg')
            drawn = content(pathlib.Path(fresh) / picture.name)
            if len(drawn) < 3:
                complaints.append(f'{source.name}: nothing is read from the picture; this check cannot work')
            elif not picture.exists() or content(picture) != drawn:
                complaints.append(f'{picture.name} does not show what {source.name} says; run script/draw')
    return complaints


if __name__ == '__main__':
    problems = main(sys.argv[1])
    print('\n'.join(problems))
    sys.exit(1 if problems else 0)
