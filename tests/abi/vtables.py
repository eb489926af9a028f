#!/usr/bin/env python3
"""Prints the virtual tables that a library exports, slot by slot; given a list, compares them with it.

Usage: vtables.py LIBRARY [LIST]

Programs that were built against an older version of a class call by slot number. So virtual functions neither swap
places nor go, and a new one comes at its class's end.
"""
import difflib
import re
import subprocess
import sys

PURE = "__cxa_pure_virtual"


def run(*command, text=None):
    return subprocess.run(command, input=text, check=True, stdout=subprocess.PIPE, universal_newlines=True).stdout


def unversioned(name):
    return name.split("@")[0]


def symbols(library, table):
    """(address, size, name) of every symbol that the library defines."""
    line = re.compile(r"\s*\d+: ([0-9a-f]+)\s+(\w+) \S+\s+\S+\s+\S+\s+(?:\[.*\] )?\d+ (\S+)")
    found = (line.match(text) for text in run("readelf", "--wide", table, library).splitlines())
    return [(int(m[1], 16), int(m[2], 0), unversioned(m[3])) for m in found if m]


def relocations(library):
    """What the loader fills in: place -> the name of a symbol, or an address in the library."""
    line = re.compile(r"([0-9a-f]+)\s+[0-9a-f]+\s+R_\w+\s+(?:[0-9a-f]+ +)?(\S+)(?: \+ 0)?$")
    filled = {}
    for text in run("readelf", "--wide", "--relocs", library).splitlines():
        if m := line.match(text):
            filled[int(m[1], 16)] = int(m[2], 16) if "_RELATIV" in text else unversioned(m[2])
    return filled


def readable(names):
    return dict(zip(names, run("c++filt", text="\n".join(names)).splitlines()))


def is_destructor(name):
    return re.search(r"D[012]Ev$", name)


def meaning(names, is_abstract):
    """What a slot holds, whichever compiler built the library."""
    # Nobody calls the destructors in an abstract class's own table. Some compilers leave the slots empty.
    if is_abstract and (not names or any(map(is_destructor, names))):
        return "destructor"
    texts = set()
    for name, text in readable(sorted(names)).items():
        # A destructor has two slots. The first may be named by its twin for bases (D2).
        kind = " [deleting]" if name.endswith("D0Ev") else " [complete]" if is_destructor(name) else ""
        texts.add(text + kind)
    return " = ".join(sorted(texts)) or "nothing"


def parts_of(words):
    """The part for the first base and those for further ones. Each begins with an offset, which is no relocation, and
    the type information."""
    starts = [i for i, (first, second) in enumerate(zip(words, words[1:]))
              if not first and any(name.startswith("_ZTI") for name in second)]
    return [words[start + 2:end] for start, end in zip(starts, starts[1:] + [len(words)])]


def describe(library):
    word = 8 if "ELF64" in run("readelf", "--file-header", library) else 4
    filled = relocations(library)
    names_at = {}
    for address, _, name in symbols(library, "--symbols"):
        names_at.setdefault(address, set()).add(name)

    def names_in(place):
        target = filled.get(place, "")
        return names_at[target] if isinstance(target, int) else {target} - {""}

    tables = {name: [names_in(place) for place in range(address, address + size, word)]
              for address, size, name in symbols(library, "--dyn-syms") if name.startswith("_ZTV") and size}
    if not tables:
        sys.exit(f"{library} exports no virtual table; this check cannot work")
    lines = []
    for name, title in sorted(readable(list(tables)).items(), key=lambda item: item[1]):
        is_abstract = {PURE} in tables[name]
        for number, part in enumerate(parts_of(tables[name]), 1):
            lines.append(title + (f", base {number}" if number > 1 else ""))
            lines += [f"  {slot}  {meaning(names, is_abstract)}" for slot, names in enumerate(part)]
    return lines


def main(library, frozen=None):
    lines = describe(library)
    if frozen is None:
        print("\n".join(lines))
        return
    with open(frozen, encoding="utf-8") as file:
        expected = file.read().splitlines()
    difference = list(difflib.unified_diff(expected, lines, frozen, library, lineterm="", n=2))
    if difference:
        sys.exit("\n".join(difference) + "\nPrograms that were built before this change would call the wrong function. "
                 "If it only adds at a class's end, or a class: script/update-exports")


main(*sys.argv[1:])
