#!/usr/bin/env python3
"""The table of docs/guarantees.md: which call, which error, what the caller sees. From a run of the fault tests.

Usage: LINKAPP_FAULTS_JSON=faults.json build/dev/tests/faults/fault_tests && tests/faults/table.py faults.json
"""
import json
import re
import sys

NAMES = re.compile(r"(iOSApp\w+|\bfaults\b)")


def general(text):
    """The locks and the four segments differ by their names only, messages by their identifiers."""
    return re.sub(r"identifier \d+", "identifier ID", NAMES.sub("NAME", text))


def about(result):
    """Which of the shared objects the call is about."""
    name = result["object"]
    kinds = {".lock": " of a lock", ".log": " of the log"}
    kind = next((kinds[end] for end in kinds if name.endswith(end)), " of a segment" if name.startswith("iOSApp") else "")
    return f"`{result['call']}`{kind}"


def sees(result):
    return "all as without the fault" if result["outcome"] == result["again"] else result["outcome"]


def rows(results):
    """{(call, what is seen, logged): ({errors}, {ways}, {operations})}, in the order of the calls' names."""
    table = {}
    for result in results:
        # "FUNCTION:LINE TEXT": the text. One that is told twice is told once here.
        log = tuple(dict.fromkeys(general(line.split(" ", 1)[1]) for line in result["log"]))
        errors, ways, operations = table.setdefault((about(result), sees(result), log), ({}, {}, {}))
        errors[result["error"]] = None
        ways[result["way"]] = None
        operations[re.sub(r"segment \w+,", "segment,", result["operation"])] = None
    return sorted(table.items(), key=lambda row: row[0][0])


def cell(text):
    return text.replace("|", "\\|")


def main():
    if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
        print(__doc__.strip(), file=sys.stderr)
        return 0 if sys.argv[1:] in (["-h"], ["--help"]) else 2
    with open(sys.argv[1], encoding="utf-8") as file:
        results = json.load(file)
    calls = {result["call"] for result in results}
    print(f"{len(results)} cases, {len(calls)} calls.\n")
    print("| Call | Errors | Fails | While | The caller sees | Logged |\n|---|---|---|---|---|---|")
    for (call, seen, log), columns in rows(results):
        errors, ways, operations = (sep.join(column) for sep, column in zip((", ", ", ", "; "), columns))
        logged = "; ".join(f"`{line}`" for line in log)
        print("| " + " | ".join(map(cell, (call, errors, ways, operations, seen, logged))) + " |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
