"""Compares the C++ code in a document with the example files that it was taken from, byte for byte.

usage: code_blocks.py whole|parts DOCUMENT FILE...
  whole   the document has one block, and it is the file
  parts   every block stands in one of the files as it is
"""
import pathlib
import re
import sys


def main(mode, document, files):
    text = pathlib.Path(document).read_text(encoding="utf-8")
    blocks = re.findall(r"^```cpp\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    sources = [pathlib.Path(file).read_text(encoding="utf-8") for file in files]
    if mode == "whole" and blocks != sources:
        return [f"{document}: its C++ code is not {files[0]}"]
    if mode == "parts" and not blocks:
        return [f"{document}: no C++ code in it"]
    return [f"{document}: in no example:\n{block}" for block in blocks
            if not any(block in source for source in sources)]


complaints = main(sys.argv[1], sys.argv[2], sys.argv[3:])
print("\n".join(complaints), end="")
sys.exit(1 if complaints else 0)
