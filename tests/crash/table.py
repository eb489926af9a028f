#!/usr/bin/env python3
"""Turns what crash_sweep found into the table of docs/guarantees.md.

Usage: table.py RESULTS.json
"""
import json
import sys


def outcomes(operation):
    found = [f"{name} {count}" for name, count in sorted(operation["outcomes"].items(), key=lambda item: -item[1])]
    found += [f"**FAULT {fault['what']}**" for fault in operation["faults"]]
    return "<br>".join(found)


def row(operation):
    locked = f"{operation['with_lock']} ({operation['waited_for']})" if operation["with_lock"] else "0"
    return (f"| {operation['name']} | {operation['instructions']:,} | {operation['kills']:,} | {locked} "
            f"| {outcomes(operation)} | {operation['longest_recovery_ms']:.0f} ms |")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as file:
        results = json.load(file)
    operations = results["operations"]
    print("| operation | instructions | kills | with a lock (waited for) | what was left | longest recovery |")
    print("|---|---:|---:|---:|---|---:|")
    for operation in operations:
        print(row(operation))
    kills = sum(operation["kills"] for operation in operations)
    faults = sum(len(operation["faults"]) for operation in operations)
    strayed = sum(operation["strayed"] for operation in operations)
    missed = sum(operation["missed"] for operation in operations)
    longest = max(operation["longest_recovery_ms"] for operation in operations)
    print(f"\n{kills:,} kills, {faults} faults, longest recovery {longest:.0f} ms; {results['seconds'] / 60:.0f} minutes, "
          f"{results['jobs']} at a time. {strayed:,} victims had taken another way than the recorded one, and died "
          f"elsewhere on it; {missed:,} addresses of the recorded ways were met by nobody. {results['build']} build, "
          f"{results['machine']}, {results['date']}.")


main()
