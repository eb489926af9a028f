#!/usr/bin/env python3
"""Puts one fault after the other into a copy of the sources and looks which test finds it. See script/mutate."""
import argparse
import subprocess
import sys
import time

import faults
import workshop

HERE = workshop.Path(__file__).resolve().parent
LIST = HERE / "faults.txt"
RESULTS = workshop.PLACE / "results.json"
LEAST_CAUGHT = 95  # of 100 faults
PATIENCE = 30      # seconds that a program may be silent, more than three times what it is without a fault


class Baseline:
    """How long each program is silent when nothing is wrong. One that is not green then could not show anything."""

    def __init__(self, is_resumed):
        self.path = workshop.PLACE / "silence.json"
        self.seconds = workshop.load(self.path, {}) if is_resumed else {}

    def measure(self, names):
        missing = [name for name in names if name not in self.seconds]
        if not missing:
            return
        message = workshop.build(missing)
        if message is not None:
            raise SystemExit(f"{message}\nthe tree does not build without a fault")
        for name in missing:
            outcome = workshop.Program(name).run(600)
            if not outcome.is_green():
                raise SystemExit(f"{name} fails without a fault: {' '.join(outcome.failed)}")
            self.seconds[name] = outcome.longest_silence
            print(f"{name}: green, silent for {self.seconds[name]:.1f} s at most", flush=True)
            workshop.save(self.path, self.seconds)

    def limit(self, name):
        return 3 * self.seconds[name] + PATIENCE


def show_again(program, failed, limit):
    """The test whose failure shows again, alone or with all others; None where none does: an accident catches
    nothing."""
    for name in failed[:3]:
        if not program.run(limit, name).is_green():
            return name
    again = program.run(limit).failed
    return again[0] if again else None


def try_fault(fault, baseline):
    """(result, test): caught, timed out, survived, or invalid where the compiler refuses it."""
    for name in fault.programs():
        message = workshop.build([name])
        if message is not None:
            return "invalid", message
        program = workshop.Program(name)
        outcome = program.run(baseline.limit(name))
        if outcome.timed_out:
            return "timed out", f"{program.target}.{' '.join(outcome.failed)}"
        shown = None if outcome.is_green() else show_again(program, outcome.failed, baseline.limit(name))
        if shown is not None:
            return "caught", f"{program.target}.{shown}"
    return "survived", ""


def with_fault(fault, baseline):
    path = workshop.COPY / fault.path
    original = path.read_text()
    try:
        path.write_text(fault.apply(original))
        return try_fault(fault, baseline)
    finally:
        path.write_text(original)


def run(listed, baseline, known):
    for number, fault in enumerate(listed, 1):
        entry = known.get(fault.name, {})
        if entry.get("key") == fault.key() and entry["result"] in ("caught", "timed out"):
            continue
        begin = time.monotonic()
        result, test = with_fault(fault, baseline)
        known[fault.name] = {"key": fault.key(), "result": result, "test": test}
        workshop.save(RESULTS, known)
        text = {"caught": f"caught by {test}", "timed out": f"caught: it hangs in {test}", "survived": "survived",
                "invalid": "not valid: it does not compile"}[result]
        print(f"{number}/{len(listed)} {fault.name} ({fault.kind}, {fault.path}): {text}"
              f" [{time.monotonic() - begin:.0f} s]", flush=True)
        if result == "invalid":
            print(test, flush=True)


def summary(listed, known, options):
    """Prints it; the exit code."""
    by_result = {}
    for fault in listed:
        by_result.setdefault(known[fault.name]["result"], []).append(fault)
    invalid = by_result.get("invalid", [])
    survivors = by_result.get("survived", [])
    count = len(listed) - len(invalid)
    caught = count - len(survivors)
    print(f"{count} faults, {caught} caught ({100 * caught / max(count, 1):.1f} %), of these"
          f" {len(by_result.get('timed out', []))} by a program that hangs;"
          f" survivors: {', '.join(fault.name for fault in survivors) or 'none'}")
    for fault in survivors:
        print(f"  {fault.name}: {fault.unseen or 'not explained'}")
        if options.random:
            print("\n".join([f"    {fault.path}"] + [f"    - {line}" for line in fault.old] +
                            [f"    + {line}" for line in fault.new]))
    for fault in listed:
        if fault.unseen and fault not in survivors:
            print(f"  {fault.name} is said to be unseen, and was caught")
    if options.random:
        return 0
    if invalid:
        print(f"not valid: {', '.join(fault.name for fault in invalid)}")
    unexplained = [fault for fault in survivors if not fault.unseen]
    is_enough = options.only or 100 * caught >= LEAST_CAUGHT * count
    return 1 if invalid or unexplained or not is_enough else 0


def main():
    parser = argparse.ArgumentParser(prog="script/mutate")
    parser.add_argument("--resume", action="store_true", help="keep what an earlier run has caught")
    parser.add_argument("--only", action="append", default=[], metavar="NAME", help="this fault; may be repeated")
    parser.add_argument("--check", action="store_true", help="only look whether the list fits the sources")
    parser.add_argument("--random", type=int, metavar="N", help="draw N faults instead of those of the list")
    parser.add_argument("--seed", type=int, default=1, help="for --random; 1 where it is not given")
    options = parser.parse_args()

    listed = faults.read_list(LIST)
    faults.check_list(listed, workshop.TREE)
    if options.check:
        print(f"{len(listed)} faults, each fits the sources")
        return 0
    if options.random:
        listed = faults.draw(options.random, options.seed, workshop.TREE)
    unknown = set(options.only) - {fault.name for fault in listed}
    if unknown:
        raise SystemExit(f"no such fault: {' '.join(sorted(unknown))}")
    listed = [fault for fault in listed if not options.only or fault.name in options.only]

    workshop.take_place()
    workshop.adopt_orphans()
    workshop.refresh_copy()
    baseline = Baseline(options.resume)
    baseline.measure(sorted({name for fault in listed for name in fault.programs()}))
    known = workshop.load(RESULTS, {})
    if not options.resume:
        for fault in listed:
            known.pop(fault.name, None)
    run(listed, baseline, known)
    return summary(listed, known, options)


if __name__ == "__main__":
    try:
        sys.exit(main())
    except subprocess.CalledProcessError as error:
        sys.exit(f"mutate: {error}")
