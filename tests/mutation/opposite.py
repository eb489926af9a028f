#!/usr/bin/env python3
"""Turns an assertion of a test into its opposite and looks whether the test fails. See script/opposite."""
import argparse
import random
import re
import sys

import workshop

RESULTS = workshop.PLACE / "opposite.json"
LIMIT = 600  # seconds for one test

# Folder of tests/ and the program that is made of its sources; a file that is not named belongs to the first.
PROGRAMS = {
    "unit/LinkAppCommon": ["unit_linkapp"],
    "unit/facade": ["unit_wrapper", "unit_device_status", "unit_operator", "unit_hfp", "unit_facade_threads",
                    "facade_one_process"],
    "unit/framework": ["unit_framework", "unit_reference"],
    "unit/reference": ["unit_reference_inside"],
    "unit/bluez": ["unit_bluez"],
    "unit/linkapp_tool": ["unit_tool", "unit_phone", "unit_app"],
    "conformance": ["conformance_reference"],
    "process": ["process_tests", "stress_tests"],
    "access": ["access_tests"],
    "faults": ["fault_tests", "storm_tests"],
    "inspect": ["unit_inspect", "inspect_tests", "doctor_tests", "nobody_notices"],
    "tool": ["tool_tests"],
    "bluez": ["bluez_tests"],
    "storm": ["storm_model_test"],
    "examples": ["examples_test"],
    "start_order": ["start_order"],
    "support": ["support_test"],
    "abi": ["singletons_linked_tests", "singletons_loaded_tests"],
}

COMPARISONS = {"EQ": "==", "NE": "!=", "LT": "<", "LE": "<=", "GT": ">", "GE": ">="}
SWITCHED = {"TRUE": "FALSE", "FALSE": "TRUE", "STREQ": "STRNE", "STRNE": "STREQ"}
ASSERTION = re.compile(r"\b(EXPECT|ASSERT)_(" + "|".join([*COMPARISONS, *SWITCHED, "THAT"]) + r")\(")
TEST = re.compile(r"^(TEST(?:_F|_P)?|TYPED_TEST)\((\w+),\s*(\w+)\) \{$", re.MULTILINE)


def split_arguments(text, begin):
    """The arguments of a call whose bracket opens before `begin`, and where it closes."""
    arguments, depth, at, start = [], 0, begin, begin
    while True:
        literal = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)+\'').match(text, at)
        if literal:
            at = literal.end()
            continue
        if text[at] in "([{":
            depth += 1
        elif text[at] in ")]}" and depth == 0:
            return [argument.strip() for argument in [*arguments, text[start:at]]], at
        elif text[at] in ")]}":
            depth -= 1
        elif text[at] == "," and depth == 0:
            arguments.append(text[start:at])
            start = at + 1
        at += 1


def opposite(text, match):
    """The text of the assertion at `match` that asserts the opposite, and where the assertion ends; None for one that
    is not understood."""
    strictness, what = match.groups()
    arguments, close = split_arguments(text, match.end())
    if what in COMPARISONS and len(arguments) == 2:
        return f"{strictness}_FALSE(({arguments[0]}) {COMPARISONS[what]} ({arguments[1]}))", close + 1
    if what == "THAT" and len(arguments) == 2:
        return f"{strictness}_THAT({arguments[0]}, ::testing::Not({arguments[1]}))", close + 1
    if what in SWITCHED and len(arguments) == (1 if what in ("TRUE", "FALSE") else 2):
        return f"{strictness}_{SWITCHED[what]}({', '.join(arguments)})", close + 1
    return None


class Test:
    """A test of a source, and the assertions in its body."""

    def __init__(self, folder, path, match, text):
        self.folder, self.path = folder, path
        self.kind, self.suite, self.name = match.groups()
        spans = [(test.end(), text.index("\n}\n", test.end())) for test in TEST.finditer(text)]
        own = next(span for span in spans if span[0] == match.end())
        known = [place for place in ASSERTION.finditer(text) if opposite(text, place)]
        self.assertions = [place for place in known if own[0] <= place.start() < own[1]]
        # Those of the functions that the tests of the source call.
        self.helpers = [place for place in known
                        if not any(begin <= place.start() < end for begin, end in spans)]

    def filter(self):
        if self.kind in ("TEST_P", "TYPED_TEST"):
            return f"*{self.suite}.{self.name}/*:{self.suite}/*.{self.name}"
        return f"{self.suite}.{self.name}"

    def title(self):
        return f"{self.suite}.{self.name}"


def tests_of(folder):
    here = workshop.COPY / "tests" / folder
    for path in sorted(here.glob("*.cpp")):
        text = path.read_text()
        for match in TEST.finditer(text):
            test = Test(folder, path, match, text)
            if test.assertions:
                yield test


def draw(count, seed):
    """From each folder in turn, so that all are in the sample; none twice."""
    chance = random.Random(seed)
    left = {folder: list(tests_of(folder)) for folder in PROGRAMS}
    drawn = []
    while len(drawn) < count and any(left.values()):
        for folder in [folder for folder in PROGRAMS if left[folder]]:
            if len(drawn) == count:
                break
            test = left[folder].pop(chance.randrange(len(left[folder])))
            test.assertion = chance.choice(test.assertions)
            drawn.append(test)
    return drawn


def program_of(test):
    """The program whose list of sources names the test's file."""
    names = PROGRAMS[test.folder]
    lists = (test.path.parent / "CMakeLists.txt").read_text()
    for name in names[1:]:
        block = re.search(rf"linkapp_test\({name}\b(.*?)LIBRARIES", lists, re.DOTALL)
        if block and re.search(rf"\b{re.escape(test.path.name)}\b", block.group(1)):
            return name
    return names[0]


def turn(tests):
    """Turns the drawn assertion of each; the sources as they were before, by path."""
    originals = {}
    for test in sorted(tests, key=lambda test: -test.assertion.start()):
        text = test.path.read_text()
        originals.setdefault(test.path, text)
        replacement, end = opposite(text, test.assertion)
        begin = test.assertion.start()
        test.line = text.count("\n", 0, begin) + 1
        test.was = " ".join(text[begin:end].split())
        test.path.write_text(text[:begin] + replacement + text[end:])
    return originals


def try_others(test, name):
    """A test that still passes may never come to the assertion that was drawn, as where it stands for what happens on
    slow machines only: then another one must make it fail, of its body or of what that calls."""
    for place in [place for place in test.assertions if place != test.assertion] + test.helpers:
        test.assertion = place
        originals = turn([test])
        try:
            if workshop.build([name]) is None and judge(test, workshop.Program(name)) != "STILL PASSES":
                return "does not come there, and fails"
        finally:
            restore(originals)
    return "STILL PASSES"


def restore(originals):
    for path, text in originals.items():
        path.write_text(text)


def judge(test, program):
    outcome = program.run(LIMIT, test.filter())
    if outcome.timed_out:
        return "does not end any more"
    return "fails" if not outcome.is_green() else "STILL PASSES"


def try_all(tests):
    by_program = {}
    for test in tests:
        by_program.setdefault(program_of(test), []).append(test)
    results = []
    for name, group in by_program.items():
        originals = turn(group)
        try:
            message = workshop.build([name])
            if message is not None:
                raise SystemExit(f"{message}\n{name} does not build with its assertions turned")
            verdicts = [judge(test, workshop.Program(name)) for test in group]
        finally:
            restore(originals)
        for test, verdict in zip(group, verdicts):
            if verdict == "STILL PASSES":
                verdict = try_others(test, name)
            where = f"{test.path.relative_to(workshop.COPY)}:{test.line}"
            results.append({"test": f"{name}.{test.title()}", "where": where, "was": test.was, "result": verdict})
            print(f"{len(results)}/{len(tests)} {name}.{test.title()}: {verdict} with the opposite of {test.was[:90]}"
                  f" ({where})", flush=True)
    return results


def check_unturned(results):
    """A test that fails anyway would show nothing: each program passes its drawn tests as they are."""
    names = sorted({result["test"].split(".")[0] for result in results})
    message = workshop.build(names)
    if message is not None:
        raise SystemExit(f"{message}\nthe tests do not build as they are")
    broken = []
    for result in results:
        name, suite, test = result["test"].split(".")
        outcome = workshop.Program(name).run(LIMIT, f"{suite}.{test}:*{suite}.{test}/*:{suite}/*.{test}")
        if not outcome.is_green():
            broken.append(result["test"])
    return broken


def main():
    parser = argparse.ArgumentParser(prog="script/opposite")
    parser.add_argument("--tests", type=int, default=40, help="how many tests are drawn; 40 where it is not given")
    parser.add_argument("--seed", type=int, default=1, help="the same seed draws the same tests")
    parser.add_argument("--list", action="store_true", help="only draw")
    options = parser.parse_args()

    workshop.take_place()
    workshop.adopt_orphans()
    workshop.refresh_copy()
    tests = draw(options.tests, options.seed)
    if options.list:
        for test in tests:
            print(program_of(test), test.title())
        return 0
    results = try_all(tests)
    workshop.save(RESULTS, results)
    passing = [result["test"] for result in results if result["result"] == "STILL PASSES"]
    broken = check_unturned(results)
    print(f"seed {options.seed}: {len(results)} tests, {len(results) - len(passing)} fail when one of their assertions"
          f" is turned round; still passing: {', '.join(passing) or 'none'};"
          f" failing as they are: {', '.join(broken) or 'none'}")
    return 1 if passing or broken else 0


if __name__ == "__main__":
    sys.exit(main())
