#!/usr/bin/env python3
"""Writes the figures of a storm or a soak between their marks in a document.

Usage: tests/storm/report.py RESULT.json DOCUMENT.md
"""
import datetime
import json
import os
import platform
import sys

# Figure, and what it is called in the document.
STORM = [
    ("kills", "processes killed with SIGKILL"),
    ("kills_before_ready", "of these before they were ready"),
    ("kills_in_posting_lock", "of these seen to die with the log's posting lock"),
    ("kills_in_named_locks", "of these with a segment's lock, which somebody took over"),
    ("freezes", "processes stopped for 2 to 40 ms"),
    ("ring_messages", "messages through the rings"),
    ("messages_logged", "messages of all kinds through the log"),
    ("must_arrive", "deliveries that the model demands"),
    ("arrived_whole", "of these whole and as sent"),
    ("overtaken_by_start", "another message came in its place, as a start allows"),
    ("mixed_by_start", "one message's size with another's bytes, as a start allows"),
    ("torn_by_start_and_kill", "bytes of a writer that was killed, as a start allows"),
    ("died_before_announcing", "last messages of killed senders, never announced"),
    ("calm_phases", "calm phases"),
    ("calm_messages", "messages in them: each once, whole, in order"),
    ("hangs", "hangs"),
    ("faults", "faults of any kind"),
    ("longest_step_s", "longest call, s (of processes that were stopped, too)"),
    ("longest_lag_s", "longest time until a receiver had read on, s (the same)"),
    ("most_receivers_alive", "receivers alive at a time"),
    ("most_places_in_use", "places of the table of attached processes in use at a time"),
    ("shared_objects", "shared objects, of the same size from the first round to the last"),
]
SOAK_COLUMNS = [("memory_kib", "memory, KiB"), ("private_kib", "private, KiB"), ("heap_bytes", "heap, bytes"),
                ("descriptors", "descriptors"), ("threads", "threads")]


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    return platform.machine()


def origin(command):
    return (f"`{command}` on {datetime.date.today().isoformat()}; {processor()}, {os.cpu_count()} processors, "
            f"Linux {platform.release()}.")


def number(value):
    return f"{value:,.0f}" if float(value).is_integer() else f"{value:.3f}"


def storm(result):
    lines = [origin(f"script/storm --seconds {result['seconds']:.0f} --seed {result['seed']}"), "",
             "| what | how many |", "|---|---:|"]
    lines += [f"| {title} | {number(result[name])} |" for name, title in STORM]
    return lines


def change(samples, figure):
    """Three figures, or one where they are the same."""
    values = [figure(sample) for sample in samples]
    return number(values[0]) if len(set(values)) == 1 else " / ".join(number(value) for value in values)


def soak_part(part):
    samples = part["samples"]
    lines = ["", f"**{number(part['count'])} {part['work']}**, {part['seconds']:.0f} s. In /dev/shm: "
             f"{change(samples, lambda s: s['objects'])} objects, {change(samples, lambda s: s['bytes'])} bytes, "
             f"{change(samples, lambda s: s['blocks'])} blocks; {change(samples, lambda s: s['places'])} places of the "
             "table of attached processes in use.", "",
             "| process | " + " | ".join(title for _, title in SOAK_COLUMNS) + " |",
             "|---|" + "---:|" * len(SOAK_COLUMNS)]
    for place, process in enumerate(samples[0]["processes"]):
        cells = [change(samples, lambda s, f=name: s["processes"][place][f]) for name, _ in SOAK_COLUMNS]
        if not any(sample["processes"][place]["heap_bytes"] for sample in samples):
            cells[2] = "not asked"
        lines.append(f"| {process['name']} | " + " | ".join(cells) + " |")
    return lines


def soak(result):
    counts = {part["name"]: part["count"] for part in result["parts"]}
    lines = [origin(f"script/soak --messages {counts['messages']} --cycles {counts['cycles']}")
             + f" Faults: {result['faults']}. One figure where all three are the same, else after the warm-up / "
             "half-way / at the end."]
    for part in result["parts"]:
        lines += soak_part(part)
    return lines


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as file:
        result = json.load(file)
    program = result["program"]
    lines = {"storm": storm, "soak": soak}[program](result)
    begin, end = f"<!-- {program}: begin (written by script/{program} --doc) -->", f"<!-- {program}: end -->"
    with open(sys.argv[2], encoding="utf-8") as file:
        before, _, rest = file.read().partition(begin)
    if end not in rest:
        sys.exit(f"{sys.argv[2]}: no marks for {program}")
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        file.write(before + begin + "\n\n" + "\n".join(lines) + "\n\n" + end + rest.partition(end)[2])


if __name__ == "__main__":
    main()
