"""Checks that what the Bluetooth guide names is there: files and targets in its commands, log lines, variables.

usage: guide_check.py TREE
"""
import pathlib
import re
import sys


def commands(guide):
    blocks = re.findall(r"^```sh\n(.*?)^```$", guide, re.MULTILINE | re.DOTALL)
    return [line.split() for block in blocks for line in block.splitlines()]


def table_below(guide, heading):
    """The first column's code of the first table below the heading."""
    rows = re.search(r"\n## " + heading + r"\n.*?\n((?:\|[^\n]*\n)+)", guide, re.DOTALL)[1].splitlines()[2:]
    return [code for row in rows for code in re.findall(r"`([^`]*)`", row.split("|")[1])]


def missing_files(tree, guide):
    for words in commands(guide):
        for word in words:
            built = re.fullmatch(r"build/dev/examples/(\w+)|example_(\w+)", word)
            if built:
                path = tree / "examples" / f"{built[1] or built[2]}.cpp"
            elif "/" in word and not word.startswith("/") and (tree / word.split("/")[0]).is_dir():
                path = tree / word
            else:
                continue
            if not path.exists():
                yield f"{' '.join(words)}: there is no {path}"


def missing_texts(tree, guide):
    platform = "".join(path.read_text(encoding="utf-8") for path in (tree / "platform").rglob("*.cpp"))
    for heading in ("What a log line means", "Environment"):
        texts = table_below(guide, heading)
        if not texts:
            yield f"{heading}: nothing in the table"
        for text in texts:
            if text not in platform and text != "DBUS_SYSTEM_BUS_ADDRESS":  # libsystemd's own
                yield f"{heading}: no source in platform/ has {text}"


top = pathlib.Path(sys.argv[1])
document = (top / "docs/bluetooth.md").read_text(encoding="utf-8")
complaints = [*missing_files(top, document), *missing_texts(top, document)]
if len(commands(document)) < 10:
    complaints.append("hardly any command in the guide")
print("\n".join(complaints))
sys.exit(1 if complaints else 0)
