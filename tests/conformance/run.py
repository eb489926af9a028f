#!/usr/bin/env python3
"""Runs each test of the conformance suite as a process of its own and tells which fail, and how.

usage: run.py EXECUTABLE [--jobs N] [--seconds N] [--expect FILE]

Needs nothing but Python 3, so that it runs on a target, too. Without --expect the exit code is 0 where all tests pass.
With --expect it is 0 where exactly the tests of FILE fail: one name a line; lines that begin with # are comments, the
first of them the promise that is broken.
A line "? NAME" is a test that may fail, because it depends on what the threads did.
"""
import argparse
import concurrent.futures
import os
import subprocess
import sys


def names(executable):
    listing = subprocess.run([executable, "--gtest_list_tests"], capture_output=True, text=True, check=True).stdout
    suite = ""
    for line in listing.splitlines():
        name = line.split("#")[0].rstrip()
        if name.endswith(".") and not name.startswith(" "):
            suite = name
        elif name.startswith("  "):
            yield suite + name.strip()


def outcome(executable, name, seconds):
    """'passes', or how it fails: what GoogleTest said first."""
    try:
        run = subprocess.run([executable, "--gtest_filter=" + name], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, timeout=seconds, text=True, errors="replace", check=False)
    except subprocess.TimeoutExpired:
        return f"does not end within {seconds:g} s"
    if "[==========] Running 1 test" not in run.stdout:
        return "could not be run: " + run.stdout.strip()[-300:]
    if run.returncode < 0:
        return f"is ended by signal {-run.returncode}"
    if run.returncode == 0:
        return "passes"
    lines = run.stdout.splitlines()
    for number, line in enumerate(lines):
        if ": Failure" in line:
            return " ".join(text.strip() for text in lines[number:number + 5] if text.strip())
    return f"ends with exit code {run.returncode}"


def read_expectation(path):
    must, may, promise = set(), set(), ""
    with open(path, encoding="utf-8") as file:
        for line in file:
            line = line.strip()
            promise = promise or line[2:] if line.startswith("#") else promise
            if line and not line.startswith("#"):
                (may if line.startswith("?") else must).add(line.lstrip("? "))
    return must, may, promise


def report(results, expected):
    failed = {name for name, result in results.items() if result != "passes"}
    for name in sorted(failed):
        print(f"{name}\n    {results[name]}")
    print(f"{len(results) - len(failed)} of {len(results)} tests pass")
    if expected is None:
        return 1 if failed else 0
    must, may, promise = expected
    complaints = [f"{name} should fail, and {results.get(name, 'is not there')}" for name in sorted(must - failed)]
    complaints += [f"{name} should pass" for name in sorted(failed - must - may)]
    complaints += [f"{name} is not there" for name in sorted(may - results.keys())]
    print("\n".join(complaints) if complaints else f"exactly those fail that should. Broken: {promise}")
    return 1 if complaints or not must else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("executable")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="tests at a time")
    parser.add_argument("--seconds", type=float, default=60, help="that one test may take")
    parser.add_argument("--expect", metavar="FILE", help="the tests that must fail")
    arguments = parser.parse_args()
    executable = os.path.abspath(arguments.executable)
    tests = list(names(executable))
    if not tests:
        sys.exit(f"{executable} has no tests")
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        outcomes = pool.map(lambda name: outcome(executable, name, arguments.seconds), tests)
    results = dict(zip(tests, outcomes))
    sys.exit(report(results, read_expectation(arguments.expect) if arguments.expect else None))


if __name__ == "__main__":
    main()
