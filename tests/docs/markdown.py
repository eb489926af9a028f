"""Markdown files of the tree, and what is in them."""
import pathlib
import re

_FENCE = re.compile(r'^ *(```+|~~~+) *([\w-]*)')


def files(root):
    """Every *.md, without build folders and what version control keeps."""
    root = pathlib.Path(root)
    return sorted(path for path in root.rglob('*.md')
                  if not {'build', '.git'} & set(path.relative_to(root).parts[:-1]))


def split(text):
    """(lines outside of fenced blocks with their numbers, blocks as (number, language, text))."""
    outside, blocks, inside = [], [], None
    for number, line in enumerate(text.splitlines(), 1):
        fence = _FENCE.match(line)
        if inside is not None:
            if fence and fence.group(1).startswith(inside[3]) and not fence.group(2):
                blocks.append((inside[0], inside[1], '\n'.join(inside[2])))
                inside = None
            else:
                inside[2].append(line)
        elif fence:
            inside = (number, fence.group(2), [], fence.group(1))
        else:
            outside.append((number, line))
    if inside is not None:
        raise ValueError(f'line {inside[0]}: a block without an end')
    return outside, blocks


def anchors(outside):
    """What headings can be linked by, as forges make them."""
    result = set()
    for _, line in outside:
        heading = re.match(r'#{1,6} +(.*?) *#* *$', line)
        if heading:
            text = re.sub(r'!?\[([^\]]*)\]\([^)]*\)', r'\1', heading.group(1)).replace('`', '').lower()
            name = re.sub(r'[^\w\- ]', '', text).replace(' ', '-')
            number, unique = 0, name
            while unique in result:
                number += 1
                unique = f'{name}-{number}'
            result.add(unique)
        result.update(re.findall(r'<a (?:name|id)="([^"]+)"', line))
    return result
