#!/usr/bin/env python3
"""Shows a header to Doxygen as if its comments were Doxygen's.

// before a line of code counts, and // behind a declaration, with the lines below it that begin in the same column.
What stands inside of functions does not count. Indented lines of a comment are a table and stay as they are. A header's
first comment tells about the file, and about the class of the file's name where that has no comment of its own: it is
shown at the end, so that every line of code keeps its number.
"""
import os
import re
import sys


def escaped(text):
    """Text without anything that Doxygen would take for a command. What stands in `backticks` is safe."""
    parts = text.split("`")
    parts[::2] = [re.sub(r"([\\@#%<>])", r"\\\1", part).replace(">::", r">\::") for part in parts[::2]]
    return "`".join(parts)


def shown(comment):
    """The texts of a comment's lines, as many as there are lines (one more where it begins with a table)."""
    texts = []
    is_table = False
    for line in comment:
        text = line.strip()[2:]
        if text and text.startswith("   ") != is_table:
            if not texts:
                texts.append("")
            texts[-1] += " @endverbatim" if is_table else " @verbatim"
            is_table = not is_table
        texts.append(text if is_table else escaped(text))
    if is_table:
        texts[-1] += " @endverbatim"
    return [text.replace("*/", "* /") for text in texts]


def block(opening, texts):
    """Doxygen's comment of these lines. (In one of /// lines a table would keep the slashes.)"""
    lines = [opening + texts[0]] + texts[1:]
    lines[-1] += " */"
    return lines


def is_comment(line):
    return line.lstrip().startswith("//")


def compound(line, name):
    """class or struct, where the line begins the one of this name."""
    found = re.match(r'(class|struct) (\w+_API )?(VQ_\w+(\(".*"\))? )?' + name + r"\b[^;]*$", line)
    return found and found[1]


def main(path):
    with open(path, encoding="utf-8") as file:
        source = file.read()
    if path.endswith(".md"):
        print(source, end="")
        return

    lines = source.split("\n")
    name = os.path.splitext(os.path.basename(path))[0]
    out = []
    head = []
    named = ""   # @class NAME, where the head tells about it
    blocks = []  # what every open brace belongs to: a function, a type, or a namespace by its name and ::
    before = ""  # the line of code or comment before this one, template <...> aside
    at = 0
    while at < len(lines):
        line = lines[at]
        end = at
        while end < len(lines) and is_comment(lines[end]):
            end += 1
        if end > at:
            if at == 0:
                head = lines[:end]
                out += head
            elif "function" in blocks:
                out += lines[at:end]
            else:
                out += block("/**", shown(lines[at:end]))
            before = lines[end - 1]
            at = end
            continue

        kind = compound(line, name)
        if kind and not is_comment(before):
            named = f"@{kind} " + "".join(blocks) + name
        code, gap, rest = (re.split(r"( {2,}(?=// ))", line, maxsplit=1) + ["", ""])[:3]
        if rest and code.strip() and "function" not in blocks and not re.match(r" *(}|#|friend |static_assert)", code):
            following = [rest]
            while at + len(following) < len(lines) and re.match(
                rf" {{{len(code + gap)}}}//", lines[at + len(following)]
            ):
                following.append(lines[at + len(following)])
            out += block(code + gap + "/**<", shown(following))
        else:
            following = [line]
            out.append(line)

        # Braces that open and close on one line, and those of initialisers, do not matter.
        if code.lstrip().startswith("}"):
            blocks.pop()
        if code.endswith("{"):
            namespace = re.match(r"namespace (\w+) {$", code)
            is_type = re.match(r" *(class|struct|union|enum|namespace|extern)\b", code) or compound(before, name)
            blocks.append(namespace[1] + "::" if namespace else "type" if is_type else "function")
        if not re.match(r"template <", line):
            before = line
        at += len(following)

    texts = []
    for text in shown(head):
        if re.match(r" [A-Z][a-z]+: ", text):
            texts.append("")  # Threads: and its like are paragraphs
        texts.append(text)
    out += block("/** @file", [""] + texts)
    if named and head:
        texts[0] = re.sub(r"^ " + name + r"[^ ]*: (\w)", lambda found: " " + found[1].upper(), texts[0])
        out += block(f"/** {named}", [""] + texts)
    print("\n".join(out))


main(sys.argv[1])
