#!/usr/bin/env python3
"""Whether a file is a trace in the Trace Event Format (JSON), in the part of it that the Perfetto viewer documents.

Strict: unknown members and phases, slices that overlap without nesting, arrows that belong to no slice or go back in
time, and ways that are begun and not ended are mistakes. Prints them, and ends with 1 where there are any.
"""
import json
import sys
from collections import defaultdict

MEMBERS = {
    "M": {"ph", "name", "pid", "tid", "args"},
    "X": {"ph", "name", "cat", "pid", "tid", "ts", "dur", "args"},
    "I": {"ph", "name", "cat", "pid", "tid", "ts", "s", "args"},
    "s": {"ph", "name", "cat", "pid", "tid", "ts", "id", "args"},
    "t": {"ph", "name", "cat", "pid", "tid", "ts", "id", "bp", "args"},
    "f": {"ph", "name", "cat", "pid", "tid", "ts", "id", "bp", "args"},
    "b": {"ph", "name", "cat", "pid", "tid", "ts", "id", "args"},
    "e": {"ph", "name", "cat", "pid", "tid", "ts", "id", "args"},
}
NAMES_OF_METADATA = {"process_name", "thread_name"}
mistakes = []


def tell(text, event=None):
    mistakes.append(text + ("" if event is None else ": " + json.dumps(event)[:200]))


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def nanoseconds(microseconds):
    return round(microseconds * 1000)


def check_shape(event):
    phase = event.get("ph")
    if phase not in MEMBERS:
        tell(f"phase {phase!r}", event)
        return False
    if set(event) != MEMBERS[phase]:
        tell(f"members {sorted(set(event) ^ MEMBERS[phase])} are too many or missing", event)
        return False
    good = isinstance(event["name"], str) and event["name"] != "" and isinstance(event["args"], dict)
    good = good and all(isinstance(event[member], int) and event[member] >= 0 for member in ("pid", "tid"))
    good = good and isinstance(event.get("cat", ""), str)
    good = good and all(is_number(event[m]) and event[m] >= 0 for m in ("ts", "dur") if m in event)
    good = good and event.get("bp", "e") == "e" and event.get("s", "g") in ("g", "p", "t")
    good = good and isinstance(event.get("id", 0), int)
    if phase == "M":
        good = good and event["name"] in NAMES_OF_METADATA and isinstance(event["args"].get("name"), str)
    if not good:
        tell("a member has another type or value than it may have", event)
    return good


def check_names(events):
    processes = {e["pid"] for e in events if e["ph"] == "M" and e["name"] == "process_name"}
    threads = {(e["pid"], e["tid"]) for e in events if e["ph"] == "M" and e["name"] == "thread_name"}
    for event in events:
        if event["pid"] != 0 and (event["pid"] not in processes or (event["pid"], event["tid"]) not in threads):
            tell("a track without a name", event)


def check_nesting(events):
    """Slices of a track lie beside or within each other. Gives them by track, as (begin, end)."""
    tracks = defaultdict(list)
    for event in events:
        if event["ph"] == "X":
            begin = nanoseconds(event["ts"])
            tracks[event["pid"], event["tid"]].append((begin, begin + nanoseconds(event["dur"])))
    for track, slices in tracks.items():
        slices.sort(key=lambda one: (one[0], -one[1]))
        open_ends = []
        for begin, end in slices:
            while open_ends and open_ends[-1] <= begin:
                open_ends.pop()
            if open_ends and end > open_ends[-1]:
                tell(f"slices of track {track} overlap at {begin}")
            open_ends.append(end)
    return tracks


def check_flows(events, tracks):
    flows = defaultdict(list)
    for event in events:
        if event["ph"] in "stf":
            flows[event["id"]].append(event)
            time = nanoseconds(event["ts"])
            if not any(begin <= time <= end for begin, end in tracks[event["pid"], event["tid"]]):
                tell("an arrow that belongs to no slice", event)
    for steps in flows.values():
        phases = "".join(step["ph"] for step in steps)
        if phases[0] != "s" or "s" in phases[1:] or "f" in phases[:-1]:
            tell(f"an arrow with the steps {phases!r}", steps[0])
        if any(a["ts"] > b["ts"] for a, b in zip(steps, steps[1:])):
            tell("an arrow that goes back in time", steps[0])
    return flows


def check_ways(events):
    """Begins and ends of one identifier nest by name."""
    open_ones = defaultdict(list)
    for event in events:
        if event["ph"] not in "be":
            continue
        stack = open_ones[event["cat"], event["id"]]
        if event["ph"] == "b":
            stack.append(event)
            continue
        if not stack or stack[-1]["name"] != event["name"] or stack[-1]["ts"] > event["ts"]:
            tell("an end without its beginning", event)
        else:
            stack.pop()
    for stack in open_ones.values():
        for event in stack:
            tell("a beginning without an end", event)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        trace = json.load(file)
    if set(trace) != {"displayTimeUnit", "otherData", "traceEvents"} or trace["displayTimeUnit"] not in ("ms", "ns"):
        tell("the members of the file are not those of a trace")
    events = [event for event in trace.get("traceEvents", []) if check_shape(event)]
    check_names(events)
    tracks = check_nesting(events)
    flows = check_flows(events, tracks)
    check_ways(events)
    for mistake in mistakes[:20]:
        print(mistake)
    slices = sum(len(track) for track in tracks.values())
    print(f"{len(events)} events, {slices} slices on {len(tracks)} tracks, {len(flows)} arrows, {len(mistakes)} mistakes")
    return 1 if mistakes or not events else 0


if __name__ == "__main__":
    sys.exit(main())
