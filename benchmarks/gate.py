#!/usr/bin/env python3
"""Holds what bench_cost has counted against the baseline; script/gate calls it.

Usage: benchmarks/gate.py [--update] BASELINE.json RESULTS.json

The baseline has limits, which hold everywhere, and the figures of one toolchain. Figures may be worse by the tolerance:
instructions by a share, all others by so much. They are compared where the toolchain is that of the baseline. System
calls are whole ones: a receiver that is not asleep yet when its next message comes saves one, and beside idle
applications that is chance.
--update puts the figures and the toolchain of RESULTS into BASELINE; limits and tolerance stay.
"""
import argparse
import json
import math
import os
import platform
import statistics
import subprocess
import sys

# Context switches are left out: how often idle applications get the processor is the kernel's business.
NOT_GATED = {"switches", "device_side_instructions", "application_instructions"}


def processor():
    """Its kind, as far as the C library and callgrind choose code by it."""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        flags = next((line.split() for line in file if line.startswith("flags")), [])
    return " ".join([platform.machine()] + [flag for flag in ("avx2", "avx512f") if flag in flags])


def toolchain(results):
    valgrind = subprocess.run(["valgrind", "--version"], capture_output=True, text=True, check=True).stdout.strip()
    return {"build": results["build"], "libc": os.confstr("CS_GNU_LIBC_VERSION"), "counter": valgrind,
            "processor": processor()}


def judged(figure, value, rounding):
    return math.ceil(value - rounding) if figure.endswith("_calls") else round(value, 3)


def figures(results, rounding):
    """{workload: {figure: what is typical of the rounds}}."""
    table = {}
    for line in results["results"]:
        case = table.setdefault(f"{line['workload']}, {line['bytes']} bytes, {line['transport']}", {})
        for figure, values in line["per_round"].items():
            if figure not in NOT_GATED:
                # Whatever disturbs a run adds instructions, so the fewest are the message's own.
                typical = min(values) if figure == "instructions" else statistics.median(values)
                case[figure] = judged(figure, typical, rounding)
    return table


def slack(baseline, figure, value):
    tolerance = baseline["tolerance"]
    return value * tolerance["instructions"] if figure == "instructions" else tolerance["others"]


class Gate:
    """The table and what it comes to."""

    def __init__(self, baseline, measured, is_same_toolchain):
        self.baseline = baseline
        self.measured = measured
        self.is_same_toolchain = is_same_toolchain
        self.failures = []
        self.unknown = []
        self.is_better = False

    def verdict(self, case, figure, now):
        limit = self.baseline["limits"].get(case, {}).get(figure)
        before = self.baseline["figures"].get(case, {}).get(figure)
        if now is None:
            self.failures.append(f"{case}: {figure} was not measured")
            return limit, before, "MISSING"
        if limit is not None and now > limit + (0 if figure == "instructions" else slack(self.baseline, figure, limit)):
            self.failures.append(f"{case}: {figure} is {now:g}, the limit is {limit:g}")
            return limit, before, "ABOVE THE LIMIT"
        if not self.is_same_toolchain:
            return limit, before, "not compared" if limit is None else "within the limit"
        if before is None:
            self.unknown.append(f"{case}: {figure}")
            return limit, before, "NO BASELINE"
        allowed = slack(self.baseline, figure, before)
        if now > before + allowed:
            self.failures.append(f"{case}: {figure} is {now:g}, it was {before:g}; {before + allowed:g} is tolerated")
            return limit, before, "WORSE"
        if now < before - allowed:
            self.is_better = True
            return limit, before, "better"
        return limit, before, "as before"

    def play(self):
        show = "{:30} {:>10} {:>10} {:>10}   {}".format
        expected = {**self.measured, **self.baseline["figures"], **self.baseline["limits"]}
        for case in expected:
            print(f"\n{show(case, '', '', '', '').rstrip()}\n{show('', 'baseline', 'limit', 'now', '').rstrip()}")
            names = {**self.measured.get(case, {}), **self.baseline["figures"].get(case, {}),
                     **self.baseline["limits"].get(case, {})}
            for figure in names:
                now = self.measured.get(case, {}).get(figure)
                limit, before, verdict = self.verdict(case, figure, now)
                print(show("  " + figure, *("" if value is None else f"{value:.6g}" for value in (before, limit, now)),
                           verdict))
        print()
        if self.unknown:
            what = "any figures" if not self.baseline["figures"] else "; ".join(self.unknown)
            self.failures.append(f"the baseline does not have {what}: run script/gate --update")


def read(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def update(path, baseline, now, measured):
    baseline["toolchain"] = now
    baseline["figures"] = measured
    with open(path, "w", encoding="utf-8") as file:
        file.write(json.dumps(baseline, indent=2) + "\n")
    print(f"gate: {path} has the figures of this build now")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--update", action="store_true", help="put these results into the baseline")
    parser.add_argument("baseline")
    parser.add_argument("results")
    options = parser.parse_args()
    baseline, results = read(options.baseline), read(options.results)
    if results["left_out"]:
        sys.exit(f"gate: cannot judge without {', '.join(results['left_out'])}")
    now, measured = toolchain(results), figures(results, baseline["tolerance"]["others"])
    if options.update:
        update(options.baseline, baseline, now, measured)
    # A baseline that nobody has filled is not that of another toolchain.
    others = [f"{key} is {now[key]}, the baseline's {value}" for key, value in baseline["toolchain"].items()
              if now.get(key) != value]
    gate = Gate(baseline, measured, not others)
    gate.play()
    for difference in others:
        print(f"gate: {difference}")
    if others:
        print("gate: another toolchain than the baseline's: only the limits were looked at")
    if gate.is_better:
        print("gate: better: run script/gate --update")
    for failure in gate.failures:
        print(f"gate: {failure}", file=sys.stderr)
    return 1 if gate.failures else 0


if __name__ == "__main__":
    sys.exit(main())
