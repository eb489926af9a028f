#!/usr/bin/env python3
"""Holds lines that no test reaches against the reasons in unreached.txt.

Usage: unreached.py REPORT.json...     reports of gcovr

Tells which lines have none. Fails where one of them is the product's own (LinkAppCommon, include), and where a reason
stands for a line that is no longer there. A
reason is given for a line's text and that of the line before, "before / line", not for its number, so that it lives
through changes elsewhere in the file.
"""
import json
import pathlib
import sys

OWN = ("LinkAppCommon/", "include/")
REASONS = pathlib.Path(__file__).with_name("unreached.txt")


def read_reasons():
    reasons = {}
    for number, line in enumerate(REASONS.read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        parts = [part.strip() for part in line.split(" | ")]
        if len(parts) != 3 or not all(parts):
            sys.exit(f"{REASONS.name}:{number}: not FILE | LINE | REASON")
        reasons[parts[0], parts[1]] = parts[2]
    return reasons


def described_lines(path):
    """Of each line of a file "before / line"."""
    before = ""
    described = []
    for line in path.read_text(encoding="utf-8").splitlines():
        described.append(f"{before} / {line.strip()}")
        before = line.strip() or before
    return described


def unreached_lines(report):
    """(file, number, description) of each line that was never executed."""
    for file in json.loads(pathlib.Path(report).read_text(encoding="utf-8"))["files"]:
        described = described_lines(pathlib.Path(file["file"]))
        for line in file["lines"]:
            if line["count"] == 0 and not line.get("gcovr/noncode"):
                yield file["file"], line["line_number"], described[line["line_number"] - 1]


def without_place(reasons):
    for name, text in reasons:
        path = pathlib.Path(name)
        if not path.is_file() or text not in described_lines(path):
            yield f"{name}: no longer there: {text}"


def main():
    reasons = read_reasons()
    explained = 0
    without = 0
    complaints = list(without_place(reasons))
    for report in sys.argv[1:]:
        for name, number, text in unreached_lines(report):
            if (name, text) in reasons:
                explained += 1
                continue
            without += 1
            complaint = f"{name}:{number}: not reached, and no reason given: {text}"
            if name.startswith(OWN):
                complaints.append(complaint)
            else:
                print(complaint)
    for complaint in complaints:
        print(complaint, file=sys.stderr)
    print(f"coverage: {explained} lines are not reached for a reason that stands in {REASONS.name}, {without} without one")
    return 1 if complaints else 0


sys.exit(main())
