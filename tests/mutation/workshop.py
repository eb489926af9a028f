"""A copy of the tree in which sources may be altered, its fast build, and how its test programs are run.

The copy and the build lie in build/mutation and stay there: what has not changed since the last time is not compiled
again.
"""
import ctypes
import fcntl
import json
import os
import re
import signal
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor, as_completed
from pathlib import Path

TREE = Path(__file__).resolve().parents[2]
PLACE = TREE / "build" / "mutation"
COPY = PLACE / "tree"
BUILD = PLACE / "build"
RUNS = PLACE / "runs"
JOBS = os.cpu_count() or 1

PR_SET_CHILD_SUBREAPER = 36


def take_place():
    """One run at a time: two would put their faults into the same copy. The lock is held until the process ends."""
    PLACE.mkdir(parents=True, exist_ok=True)
    place = os.open(PLACE, os.O_RDONLY)
    try:
        fcntl.flock(place, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise SystemExit(f"another run is at work in {PLACE}") from None


def refresh_copy():
    """Makes the copy equal to the tree. A file that is equal already keeps its time: it is not compiled again."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=TREE,
                            check=True, capture_output=True).stdout.decode().split("\0")
    wanted = {name for name in listed if name and (TREE / name).is_file()}
    for name in wanted:
        source, target = TREE / name, COPY / name
        content = source.read_bytes()
        if not target.is_file() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
        target.chmod(source.stat().st_mode)
    for path in [path for path in COPY.rglob("*") if path.is_file() or path.is_symlink()]:
        if str(path.relative_to(COPY)) not in wanted:
            path.unlink()


def split(program):
    """(name, filter) of a program, NAME[/FILTER]."""
    name, _, test_filter = program.partition("/")
    return name, test_filter or "*"


def configure():
    """Without optimizer, debug information and errors for warnings: a variable that is unused now catches no fault."""
    if (BUILD / "build.ninja").exists():
        return
    options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g0", "-DCMAKE_CXX_COMPILER=g++",
               "-DLINKAPP_BUILD_BENCHMARKS=OFF", "-DLINKAPP_WARNINGS_AS_ERRORS=OFF",
               # A program is not linked again, nor asked for its tests, because a library has changed.
               "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
    if subprocess.run(["which", "ccache"], capture_output=True).returncode == 0:
        options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
    subprocess.run(["cmake", "-S", COPY, "-B", BUILD, "-G", "Ninja", *options], check=True,
                   stdout=subprocess.DEVNULL)


def build(programs):
    """None, or what the compiler says."""
    configure()
    names = sorted({split(program)[0] for program in programs})
    result = subprocess.run(["ninja", "-C", BUILD, f"-j{JOBS}", *names], stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, errors="replace")
    return None if result.returncode == 0 else result.stdout


def adopt_orphans():
    """Processes that a test leaves behind become children of this one, which ends them."""
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def children():
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                stat = (entry / "stat").read_text()
            except OSError:
                continue
            if int(stat[stat.rindex(")") + 1:].split()[1]) == os.getpid():
                yield int(entry.name)


def end_leftovers():
    """Only between programs: then no child of this process is wanted any more."""
    while left := list(children()):
        for pid in left:
            try:
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)
            except (ProcessLookupError, ChildProcessError):
                pass


class Outcome:
    """How a program ended: `failed` are its tests that failed, or that were running when it died or was stopped."""

    def __init__(self, failed, timed_out, longest_silence):
        self.failed = failed
        self.timed_out = timed_out
        self.longest_silence = longest_silence

    def is_green(self):
        return not self.failed and not self.timed_out


class Silence:
    """For how long the parts of a program that still run have said nothing."""

    def __init__(self, logs):
        self.logs = logs
        self.last = [(0, time.monotonic()) for _ in logs]
        self.longest = 0.0

    def now(self, parts):
        longest = 0.0
        for place, (part, log) in enumerate(zip(parts, self.logs)):
            size, since = os.fstat(log.fileno()).st_size, self.last[place][1]
            if size != self.last[place][0]:
                self.last[place] = (size, time.monotonic())
            if part.poll() is None:
                longest = max(longest, time.monotonic() - since)
        self.longest = max(self.longest, longest)
        return longest


def parse_failures(text, exit_code):
    failed = set(re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", text, re.MULTILINE))
    if exit_code != 0 and not failed:
        running = re.findall(r"^\[ RUN      \] (\S+)", text, re.MULTILINE)
        failed = {running[-1] if running else "(before the first test)"}
    return failed


class Program:
    """A test program of the build."""

    def __init__(self, name):
        self.name = name
        self.target, self.filter = split(name)
        found = [path for path in BUILD.glob(f"tests/**/{self.target}") if path.is_file()]
        if len(found) != 1:
            raise SystemExit(f"{name} is no test program of this build")
        self.path = found[0]

    def start(self, log, test_filter, shard=0, shards=1):
        environment = dict(os.environ, GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(shard))
        return subprocess.Popen([self.path, "--gtest_fail_fast", f"--gtest_filter={test_filter}"],
                                cwd=self.path.parent, env=environment, stdin=subprocess.DEVNULL, stdout=log,
                                stderr=subprocess.STDOUT, start_new_session=True)

    def run(self, limit, test_filter=None):
        """Runs until the first failure, in as many parts as there are processors. One that says nothing for `limit`
        seconds hangs, and is stopped."""
        RUNS.mkdir(parents=True, exist_ok=True)
        shards = JOBS if test_filter is None else 1
        logs = [(RUNS / f"{self.target}.{shard}.log").open("w+", errors="replace") for shard in range(shards)]
        parts = [self.start(log, test_filter or self.filter, shard, shards) for shard, log in enumerate(logs)]
        silence = Silence(logs)
        while any(part.poll() is None for part in parts) and silence.now(parts) < limit:
            if any(part.poll() not in (None, 0) for part in parts):
                break
            time.sleep(0.02)
        running = [part.poll() is None for part in parts]
        timed_out = silence.longest >= limit and any(running)
        for part, is_running in zip(parts, running):
            if is_running:
                os.killpg(part.pid, signal.SIGKILL)
            part.wait()
        end_leftovers()
        failed = set()
        for part, log, was_stopped in zip(parts, logs, running):
            log.seek(0)
            if timed_out or not was_stopped:
                failed |= parse_failures(log.read(), part.returncode)
            log.close()
        return Outcome(sorted(failed), timed_out, silence.longest)


def load(path, otherwise):
    return json.loads(path.read_text()) if path.exists() else otherwise


def save(path, content):
    aside = path.with_suffix(".new")
    aside.write_text(json.dumps(content, indent=1) + "\n")
    aside.replace(path)
