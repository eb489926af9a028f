#!/usr/bin/env python3
"""Reads the Yocto layer beside it as bitbake's grammar has it, and compares it with the tree it builds.

Usage: check.py      prints what is wrong, and ends with 1 then

No substitute for bitbake: nothing is built, no class of OpenEmbedded is known here, and of Python expressions it is
only known that they compile.
"""
import pathlib
import re
import subprocess
import sys

LAYER = pathlib.Path(__file__).resolve().parent / "meta-linkapp"
TREE = LAYER.parents[2]
NAME = r"[A-Za-z_][A-Za-z0-9_.+:${}-]*(\[[a-z]+\])?"
ASSIGNMENT = re.compile(rf'^({NAME})\s*(\?\?=|\?=|:=|\+=|=\+|\.=|=\.|=)\s*"(.*)"$', re.S)
FUNCTION = re.compile(rf"^({NAME})\s*\(\)\s*\{{$")
# What Debian calls it, and what OpenEmbedded does. The compiler's tools come with the class cmake.
PACKAGES = {"libsystemd-dev": "systemd", "libcli11-dev": "cli11", "libedit-dev": "libedit",
            "nlohmann-json3-dev": "nlohmann-json", "libarchive-dev": "libarchive", "libncurses-dev": "ncurses"}
wrong = []


def statements(path):
    """Lines with their continuations; a function is one statement."""
    lines = path.read_text().split("\n")
    while lines:
        line = lines.pop(0)
        while line.endswith("\\") and lines:
            line = line[:-1] + lines.pop(0)
        if FUNCTION.match(line):
            body = []
            while lines and lines[0] != "}":
                body.append(lines.pop(0))
            if not lines:
                wrong.append(f"{path.name}: {line} does not end")
                return
            lines.pop(0)
            yield line, "\n".join(body)
        elif line.strip() and not line.startswith("#"):
            yield line, None


def read(path):
    variables = {}
    for line, body in statements(path):
        assignment = ASSIGNMENT.match(line)
        if body is not None:
            result = subprocess.run(["sh", "-n"], input=body, text=True, capture_output=True)
            if result.returncode != 0:
                wrong.append(f"{path.name}: {line} {result.stderr}")
        elif assignment:
            variables[assignment[1]] = variables.get(assignment[1], "") + " " + assignment[4]
            for expression in re.findall(r"\$\{@(.*?)\}", assignment[4]):
                try:
                    compile(expression, path.name, "eval")
                except SyntaxError as error:
                    wrong.append(f"{path.name}: {assignment[1]}: {error}")
            if re.sub(r"\$\{@.*?\}", "", assignment[4]).count('"'):
                wrong.append(f"{path.name}: {assignment[1]} holds a quotation mark")
        elif not re.match(r"^(inherit|require|include) \S", line):
            wrong.append(f"{path.name}: cannot be read: {line}")
    return variables


def demand(variables, path, names):
    for name in names:
        if not variables.get(name, "").strip():
            wrong.append(f"{path.name}: {name} is missing")


def check_recipe(path):
    variables = read(path)
    demand(variables, path, ["SUMMARY", "LICENSE", "DEPENDS", "SRC_URI", "EXTRA_OECMAKE", "PACKAGES"])
    version = re.search(r"project\(LinkApp VERSION ([\d.]+)", (TREE / "CMakeLists.txt").read_text())[1]
    if path.stem != f"linkapp_{version}":
        wrong.append(f"{path.name}: the tree's version is {version}")
    for name in re.findall(r"file://(\S+)", variables.get("SRC_URI", "")):
        if not (path.parent / "files" / name).is_file():
            wrong.append(f"{path.name}: there is no files/{name}")
    control = (TREE / "debian/control").read_text()
    for package in re.findall(r"[a-z0-9.+-]+-dev\b", re.search(r"Build-Depends:(.*?)\n\S", control, re.S)[1]):
        if PACKAGES.get(package, package) not in variables.get("DEPENDS", "").split():
            wrong.append(f"{path.name}: DEPENDS lacks what Debian calls {package}")
    options = "\n".join(file.read_text() for file in [*TREE.glob("cmake/*.cmake"), TREE / "CMakeLists.txt"])
    for option in re.findall(r"-D(LINKAPP_\w+)=", " ".join(variables.values())):
        if option not in options:
            wrong.append(f"{path.name}: the build knows no option {option}")
    for test in variables.get("LINKAPP_TESTS", "").split():
        lists = (TREE / "tests" / test).parent / "CMakeLists.txt"
        if not lists.is_file() or f"linkapp_test({pathlib.Path(test).name} " not in lists.read_text():
            wrong.append(f"{path.name}: there is no test program {test}")
        if pathlib.Path(test).name not in (path.parent / "files/run-ptest").read_text():
            wrong.append(f"{path.name}: run-ptest does not run {test}")
    users = (TREE / "packaging/systemd/linkapp.sysusers").read_text()
    for kind, parameters in (("g", "GROUPADD_PARAM:${PN}-common"), ("u", "USERADD_PARAM:${PN}-common")):
        for name in re.findall(rf"^{kind} (\S+)", users, re.M):
            if name not in variables.get(parameters, "").split():
                wrong.append(f"{path.name}: {parameters} lacks {name}")
    listed = variables.get("PACKAGES", "").split() + ["${PN}", "${PN}-dev"]
    for name in variables:
        package = name.partition("FILES:")[2]
        if package and package not in listed:
            wrong.append(f"{path.name}: {name} is of no package")


layer = LAYER / "conf/layer.conf"
demand(read(layer), layer, ["BBPATH", "BBFILES", "BBFILE_COLLECTIONS", "BBFILE_PATTERN_linkapp",
                            "BBFILE_PRIORITY_linkapp", "LAYERDEPENDS_linkapp", "LAYERSERIES_COMPAT_linkapp"])
recipes = sorted(LAYER.glob("recipes-*/*/*.bb"))
for recipe in recipes:
    check_recipe(recipe)
script = LAYER / "recipes-linkapp/linkapp/files/run-ptest"
if subprocess.run(["sh", "-n", script]).returncode != 0 or not script.stat().st_mode & 0o100:
    wrong.append("run-ptest: no program")
for text in wrong:
    print(f"yocto: {text}", file=sys.stderr)
print(f"yocto: {len(recipes)} recipe, {len(wrong)} faults (read and compared with the tree; not built: no bitbake here)")
sys.exit(1 if wrong or not recipes else 0)
