"""The list of faults (faults.txt), how one is put into a source, and faults that are drawn at random."""
import random
import re
from pathlib import Path

KEYWORDS = ("fault", "in", "kind", "tests", "unseen")

# Programs that run after those that a fault names, by the folder of the source that has it; the quick ones first.
AFFECTED = {
    "LinkAppCommon/private/iOSApp/": ["unit_linkapp", "unit_wrapper", "process_tests", "access_tests"],
    "LinkAppCommon/private/": ["unit_wrapper", "unit_device_status", "unit_operator", "unit_hfp", "unit_facade_threads",
                               "facade_one_process", "process_tests"],
    "VQFramework/": ["unit_linkapp", "unit_framework", "unit_reference", "conformance_reference", "process_tests",
                     "fault_tests", "access_tests"],
    "platform/reference/": ["conformance_reference", "unit_reference", "unit_reference_inside", "process_tests",
                            "fault_tests", "access_tests"],
    "platform/inprocess/": ["unit_framework", "unit_reference_inside", "conformance_reference", "conformance_fake",
                            "unit_reference", "unit_facade_threads", "process_tests"],
    "platform/bluez/": ["unit_bluez", "bluez_tests"],
    # What lies beside these folders; the first that fits counts.
    "platform/": ["conformance_reference", "unit_reference_inside", "process_tests", "unit_bluez", "conformance_fake"],
}

# The tests that take most of their program's time.
LONG = {"unit_reference_inside": "PosterKilledAnywhere.*", "unit_hfp": "HfpModel.*"}


class Fault:
    """One fault. `old` and `new` are lists of lines; how far they are indented in the source does not matter."""

    def __init__(self, name):
        self.name = name
        self.path = self.kind = self.unseen = ""
        self.old, self.new, self.tests = [], [], []

    def programs(self):
        """Those that it names, then the others that may notice, then what takes long."""
        folder = next((folder for folder in AFFECTED if self.path.startswith(folder)), None)
        if folder is None:
            raise ValueError(f"{self.name}: nobody says which programs notice faults in {self.path}")
        names = self.tests + [name for name in AFFECTED[folder] if name not in self.tests]
        return ([f"{name}/-{LONG[name]}" if name in LONG else name for name in names] +
                [f"{name}/{LONG[name]}" for name in names if name in LONG])

    def key(self):
        return "\n".join([self.path, *self.old, "->", *self.new])

    def apply(self, text):
        """`text` with the fault in it. ValueError where the old lines do not stand there exactly once."""
        pattern = r"\n[ \t]*".join(re.escape(line) for line in self.old)
        places = list(re.finditer(pattern, text))
        if len(places) != 1:
            raise ValueError(f"{self.name}: its lines stand {len(places)} times in {self.path}")
        begin, end = places[0].span()
        return text[:begin] + "\n".join(self.new) + text[end:]


def read_list(path):
    """The faults of a list; SystemExit with the line where it is not well-formed."""
    faults = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        where = f"{path.name}:{number}"
        word, _, rest = line.partition(" ")
        if not line or line.startswith("#"):
            continue
        if word == "fault":
            faults.append(Fault(rest))
        elif not faults or (word not in KEYWORDS and word not in ("-", "+")):
            raise SystemExit(f"{where}: cannot be read: {line}")
        elif word in ("-", "+"):
            (faults[-1].old if word == "-" else faults[-1].new).append(rest)
        elif word == "tests":
            faults[-1].tests = rest.split()
        else:
            setattr(faults[-1], "path" if word == "in" else word, rest)
    for fault in faults:
        if not (fault.path and fault.kind and fault.old and fault.tests):
            raise SystemExit(f"{path.name}: {fault.name} lacks in, kind, tests or lines")
        if fault.old == fault.new:
            raise SystemExit(f"{path.name}: {fault.name} changes nothing")
    names = [fault.name for fault in faults]
    for name in names:
        if names.count(name) != 1:
            raise SystemExit(f"{path.name}: {name} stands there twice")
    return faults


def check_list(faults, tree):
    """SystemExit with all faults whose lines are not in the sources any more, or whose tests nobody knows: the list
    must not rot."""
    errors = []
    for fault in faults:
        try:
            fault.apply((tree / fault.path).read_text())
            fault.programs()
        except (OSError, ValueError) as error:
            errors.append(str(error))
    if errors:
        raise SystemExit("\n".join(errors))


# What the random faults do to a line: kind, what is looked for, what stands there then.
OPERATORS = [
    ("comparison", r" < ", " <= "), ("comparison", r" <= ", " < "), ("comparison", r" > ", " >= "),
    ("comparison", r" >= ", " > "), ("comparison", r" == ", " != "), ("comparison", r" != ", " == "),
    ("logic", r" && ", " || "), ("logic", r" \|\| ", " && "), ("logic", r"\(!(?=\w)", "("),
    ("arithmetic", r" \+ ", " - "), ("arithmetic", r" - ", " + "), ("arithmetic", r"\+\+", "--"),
    ("off by one", r" [+-] 1\b", ""), ("constant", r"\b0\b(?![.x])", "1"), ("constant", r"\b1\b(?![.x])", "2"),
    ("constant", r"\btrue\b", "false"), ("constant", r"\bfalse\b", "true"),
    ("missing lock", r"^ *(?:VQSyncGuard|MutexLock|const PostingLock) \w+\(.*\);$", ""),
    ("missing call", r"^ *[\w.\->]+\([^{}]*\);$", ";"),
]
NOT_CODE = re.compile(r"^\s*(//|#|\*|static_assert|template|using|namespace|class|struct)|DbgPrint|^\s*\"")


def places_of(path, tree):
    """Every way to alter a line of `path`: (kind, line, replacement), for lines that stand there once."""
    lines = (tree / path).read_text().splitlines()
    for line in lines:
        code = line.split("  //")[0]
        if NOT_CODE.search(line) or sum(code in other for other in lines) != 1:
            continue
        for kind, pattern, replacement in OPERATORS:
            for match in re.finditer(pattern, code):
                yield kind, code, code[:match.start()] + replacement + code[match.end():]


def draw(count, seed, tree):
    """`count` faults over the sources, each file with the same chance."""
    chance = random.Random(seed)
    files = sorted(str(path.relative_to(tree)) for folder in AFFECTED for path in Path(tree, folder).rglob("*")
                   if path.suffix in (".h", ".cpp"))
    files = [path for path in dict.fromkeys(files) if list(places_of(path, tree))]
    drawn = {}
    while len(drawn) < count:
        path = chance.choice(files)
        kind, old, new = chance.choice(list(places_of(path, tree)))
        fault = Fault(f"random-{seed}-{len(drawn) + 1}")
        fault.path, fault.kind, fault.old, fault.new = path, kind, [old.strip()], [new.strip()]
        drawn.setdefault(fault.key(), fault)
    return list(drawn.values())
