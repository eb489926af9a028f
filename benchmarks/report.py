#!/usr/bin/env python3
"""Turns the results of the benchmarks into Markdown tables and SVG plots.

Usage: benchmarks/report.py [--doc FILE] [--plots FOLDER] RESULTS.json...

Without --doc the tables go to standard output. With it they replace what stands between the two marks in FILE. Ratios
are taken round by round to bare shared memory and a futex of the same round; tables give their median and quartiles.
Programs that look at the product alone have one table of all their figures and no plot.
Results of Google Benchmark are understood, too.
"""
import argparse
import html
import json
import os
import sys

BEGIN = "<!-- figures: begin (written by script/bench --doc) -->"
END = "<!-- figures: end -->"
PLACEMENTS = {"same": "one processor", "cross": "two processors"}

# Per program: how its main figure is shown. `scale` makes the unit of the JSON the unit of the table.
PROGRAMS = {
    "bench_roundtrip": {"title": "Round trip", "figure": "p50_us", "name": "p50", "unit": "µs", "scale": 1, "column": "{} B"},
    "bench_stream": {"title": "Stream, 32 under way", "figure": "messages_per_s", "name": "messages",
                     "unit": "1000/s", "scale": 1e-3, "column": "{} B"},
    "bench_broadcast": {"title": "Broadcast", "figure": "until_all_us", "name": "until all have it", "unit": "µs",
                        "scale": 1, "column": "{} receivers"},
    "bench_cost": {"title": "Cost of a message", "column": "{} B"},
    "bench_startup": {"title": "Start", "column": "{} there before"},
    "bench_growth": {"title": "Growth", "figure": "p50_us", "name": "p50 of a round trip", "unit": "µs", "scale": 1,
                     "column": "{} clients"},
    "bench_idle": {"title": "Idle", "figure": "switches", "name": "context switches", "unit": "all threads together",
                   "scale": 1, "column": "{} clients"},
}
DETAILS = {
    "bench_roundtrip": [("p99_us", "p99, µs"), ("p99.9_us", "p99.9, µs"), ("cpu_us", "CPU, µs"),
                        ("switches", "switches"), ("silence_cpu_us", "CPU of a silence of 10 ms, µs")],
    "bench_stream": [("mb_per_s", "MB/s"), ("cpu_us", "CPU, µs"), ("switches", "switches")],
    "bench_broadcast": [("sender_cpu_us", "sender's CPU, µs"), ("all_cpu_us", "everybody's CPU, µs"),
                        ("switches", "switches")],
    "bench_growth": [("p99_us", "p99, µs"), ("cpu_us", "CPU, µs"), ("switches", "switches"),
                     ("first_p50_us", "p50 of the first 10,000, µs"), ("last_p50_us", "of the last 10,000, µs"),
                     ("last_to_first", "last to first"), ("memory_grown_kb", "memory grown, kB"),
                     ("shared_grown_kb", "shared memory grown, kB"), ("descriptors_grown", "open files grown"),
                     ("threads_grown", "threads grown")],
    "bench_idle": [("seconds", "seconds watched"), ("cpu_us", "CPU, µs"),
                   ("message_switches", "one message: switches"), ("message_cpu_us", "one message: CPU, µs")],
}
# Of programs that look at the product alone: one row each.
FIGURES = {
    "bench_cost": [("instructions", "instructions"), ("device_side_instructions", "on the device side"),
                   ("application_instructions", "in the application"),
                   ("sender_calls", "system calls of the sender"), ("receiver_calls", "system calls of the receiver"),
                   ("other_calls", "others, from inside the C library"),
                   ("switches", "context switches of all processes"),
                   ("app_sender_allocations", "allocations, application sends"),
                   ("device_receiver_allocations", "allocations, device side receives"),
                   ("device_sender_allocations", "allocations, device side sends"),
                   ("app_receiver_allocations", "allocations, application receives"),
                   ("sender_allocations", "allocations of the sender"),
                   ("receiver_allocations", "allocations of the receiver"),
                   ("own_copy_allocations", "allocations for the sender's own copy")],
    "bench_startup": [("time_us", "time, µs"), ("calls", "system calls"), ("private_kib", "private memory, KiB"),
                      ("shared_kib", "shared memory, KiB"), ("fair_share_kib", "fair share of both, KiB"),
                      ("threads", "threads"), ("descriptors", "open descriptors"),
                      ("objects", "shared-memory objects mapped")],
}


def quantile(values, part):
    ordered = sorted(values)
    place = part * (len(ordered) - 1)
    below = int(place)
    above = min(below + 1, len(ordered) - 1)
    return ordered[below] + (ordered[above] - ordered[below]) * (place - below)


def median(values):
    return quantile(values, 0.5)


def number(value):
    """Three digits that matter."""
    if value == 0:
        return "0"
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def count(value):
    """A whole number as one."""
    return f"{value:,.0f}" if value == int(value) else number(value)


class Results:
    """One program's file."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.data = json.load(file)
        self.lines = self.data["results"]
        self.program = self.data["program"]
        self.show = PROGRAMS[self.program]
        self.parameter = self.data["parameter"]

    def groups(self):
        """(workload, placement) pairs in the order of the file."""
        return list(dict.fromkeys((line["workload"], line["placement"]) for line in self.lines))

    def of(self, group):
        return [line for line in self.lines if (line["workload"], line["placement"]) == group]

    def parameters(self, group):
        return sorted({line[self.parameter] for line in self.of(group)})

    def transports(self, group):
        """Bare, the product, then the others."""
        names = list(dict.fromkeys(line["transport"] for line in self.of(group)))
        return sorted(names, key=lambda name: 0 if name == "bare" else 1 if name.startswith("product") else 2)

    def values(self, group, transport, parameter, figure):
        for line in self.of(group):
            if line["transport"] == transport and line[self.parameter] == parameter:
                return line["per_round"].get(figure)
        return None

    def ratios(self, group, transport, parameter, figure):
        values = self.values(group, transport, parameter, figure)
        bare = self.values(group, "bare", parameter, figure) or []
        return [value / base for value, base in zip(values, bare)]


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def cell(results, show, group, transport, parameter):
    value = median(results.values(group, transport, parameter, show["figure"])) * show["scale"]
    ratio = results.ratios(group, transport, parameter, show["figure"])
    quartiles = "" if transport == "bare" or not ratio else (
        f" = {median(ratio):.2f} × ({quantile(ratio, 0.25):.2f}–{quantile(ratio, 0.75):.2f})")
    return number(value) + quartiles


def main_table(results, show, group):
    parameters = results.parameters(group)
    header = [f"{show['name']}, {show['unit']}"] + [show["column"].format(p) for p in parameters]
    rows = [[name] + [cell(results, show, group, name, p) for p in parameters] for name in results.transports(group)]
    return table(header, rows)


def detail_table(results, group, parameter):
    measured = results.of(group)[0]["per_round"]
    figures = [figure for figure in DETAILS[results.program] if figure[0] in measured]
    header = [f"at {parameter} {results.parameter}"] + [title for _, title in figures]
    rows = [[name] + [number(median(results.values(group, name, parameter, figure))) for figure, _ in figures]
            for name in results.transports(group)]
    return table(header, rows)


def of_product(name):
    """What a column says of it beside its parameter."""
    return "" if name == "product" else ", " + name.removeprefix("product, ")


def figure_table(results, group):
    """All figures, with a column for each transport at each parameter."""
    columns = [(parameter, name) for parameter in results.parameters(group) for name in results.transports(group)]
    header = [""] + [results.show["column"].format(parameter) + of_product(name) for parameter, name in columns]
    rows = []
    for figure, title in FIGURES[results.program]:
        series = [results.values(group, name, parameter, figure) for parameter, name in columns]
        if any(series):
            rows.append([title] + [count(median(values)) if values else "" for values in series])
    return table(header, rows)


def detailed(results, group):
    """The workload that the requirements look at: 64 bytes, or all receivers."""
    parameters = results.parameters(group)
    return 64 if 64 in parameters else parameters[-1]


def heading(results, group):
    workload, placement = group
    title = results.show["title"]
    has_more = len({group[0] for group in results.groups()}) > 1
    what = f"{title}: {workload}" if has_more and workload != title.lower() else title
    return f"{what}, {PLACEMENTS[placement]}"


def plot_name(results, group):
    workload = group[0].replace(" ", "-")
    return f"{workload}-{group[1]}.svg"


def plot(results, group):
    """None where a picture shows no more than the table."""
    if group[0] == "clients":
        return curves(results, group)
    return None if results.program in ("bench_growth", "bench_idle") else bars(results, group)


def markdown(results, plots):
    data = results.data
    left_out = f" Not there: {', '.join(data['left_out'])}." if data["left_out"] else ""
    parts = [f"## {results.show['title']}",
             f"`{data['command']}` on {data['date']}: {data['machine']}; {data['build']}; "
             f"{data['rounds']} rounds.{left_out}"]
    for group in results.groups():
        if results.program in FIGURES:
            parts += [f"### {heading(results, group)}", figure_table(results, group)]
            continue
        parts += [f"### {heading(results, group)}", main_table(results, results.show, group)]
        if group[0] == "clients":
            parts.append(main_table(results, {**results.show, "figure": "cpu_us", "name": "CPU of a trip"}, group))
        parts.append(detail_table(results, group, detailed(results, group)))
        if plots and plot(results, group):
            parts.append(f"![{heading(results, group)}]({plots}/{plot_name(results, group)})")
    return "\n\n".join(parts)


class Svg:
    """As much of SVG as plots need."""

    def __init__(self, width, height):
        self.parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                      f'height="{height}" font-family="sans-serif" font-size="12">',
                      f'<rect width="{width}" height="{height}" fill="#ffffff"/>']

    def text(self, x, y, text, anchor="start", weight="normal", color="#222222"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-weight="{weight}" '
                          f'fill="{color}">{html.escape(text)}</text>')

    def box(self, x, y, width, height, color):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{max(width, 0.5):.1f}" height="{height}" '
                          f'fill="{color}"/>')

    def line(self, x1, y1, x2, y2, color="#222222", dash=""):
        style = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{color}"{style}/>')

    def finish(self):
        return "\n".join(self.parts + ["</svg>", ""])


def color_of(name):
    return "#777777" if name == "bare" else "#c0392b" if name.startswith("product") else "#5b8db8"


def bars(results, group):
    """Medians of the main figure as bars, with the quartiles of all rounds as whiskers; a block for each parameter."""
    show = results.show
    names = results.transports(group)
    parameters = results.parameters(group)
    left, plot_width, row, gap = 190, 430, 17, 42
    block = gap + row * len(names)
    svg = Svg(left + plot_width + 90, 34 + block * len(parameters))
    svg.text(12, 20, f"{heading(results, group)}: {show['name']}, {show['unit']}",
             weight="bold")
    for index, parameter in enumerate(parameters):
        top = 34 + block * index
        svg.text(12, top + 24, f"{parameter} {results.parameter}", weight="bold")
        series = {name: [v * show["scale"] for v in results.values(group, name, parameter, show["figure"])]
                  for name in names}
        longest = max(quantile(values, 0.75) for values in series.values())
        for place, name in enumerate(names):
            y = top + 32 + row * place
            values = series[name]
            low, middle, high = (quantile(values, part) / longest * plot_width for part in (0.25, 0.5, 0.75))
            svg.text(left - 8, y + 11, name, anchor="end")
            svg.box(left, y + 1, middle, row - 4, color_of(name))
            svg.line(left + low, y + row / 2 - 1, left + high, y + row / 2 - 1)
            svg.text(left + max(middle, high) + 6, y + 11, number(median(values)))
        bare = median(series["bare"]) / longest * plot_width
        svg.line(left + bare, top + 30, left + bare, top + 32 + row * len(names), "#777777", "3 3")
    return svg.finish()


def curves(results, group):
    """Medians of the main figure over the parameter, with the quartiles of all rounds as whiskers."""
    show = results.show
    parameters = results.parameters(group)
    left, top, plot_width, plot_height = 60, 40, 430, 260
    svg = Svg(left + plot_width + 220, top + plot_height + 50)
    svg.text(12, 20, f"{heading(results, group)}: {show['name']}, {show['unit']}", weight="bold")
    series = {name: [[v * show["scale"] for v in results.values(group, name, p, show["figure"])] for p in parameters]
              for name in results.transports(group)}
    highest = max(quantile(values, 0.75) for points in series.values() for values in points)

    def x_of(parameter):
        return left + plot_width * parameter / parameters[-1]

    def y_of(value):
        return top + plot_height * (1 - value / highest)

    svg.line(left, y_of(0), left + plot_width, y_of(0))
    svg.line(left, y_of(0), left, top)
    svg.text(left - 8, y_of(highest) + 4, number(highest), anchor="end")
    svg.text(left - 8, y_of(0) + 4, "0", anchor="end")
    for parameter in parameters:
        svg.text(x_of(parameter), y_of(0) + 18, str(parameter), anchor="middle")
    svg.text(left + plot_width / 2, y_of(0) + 38, results.parameter, anchor="middle")
    colors = ["#777777", "#c0392b", "#5b8db8", "#e59866", "#8e6bb0", "#4f9d69", "#b7950b"]
    lowest_label = top + plot_height + 20
    for place, (name, points) in enumerate(sorted(series.items(), key=lambda item: median(item[1][-1]))):
        color = colors[place % len(colors)]
        for index, (parameter, values) in enumerate(zip(parameters, points)):
            x = x_of(parameter)
            svg.line(x, y_of(quantile(values, 0.25)), x, y_of(quantile(values, 0.75)), color)
            if index:
                svg.line(x_of(parameters[index - 1]), y_of(median(points[index - 1])), x, y_of(median(values)), color)
        # From the bottom upwards, none over another.
        lowest_label = min(y_of(median(points[-1])) + 4, lowest_label - 15)
        svg.text(left + plot_width + 8, lowest_label, f"{name}: {number(median(points[-1]))}", color=color)
    return svg.finish()


class MicroResults:
    """The file of Google Benchmark."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.data = json.load(file)

    def markdown(self):
        context = self.data["context"]
        nanoseconds = {}
        for run in sorted(self.data["benchmarks"], key=lambda run: run["family_index"]):
            if run["run_type"] == "iteration":
                nanoseconds.setdefault(run["name"], []).append(run["cpu_time"])
        rows = [[name, number(median(values)), f"{number(quantile(values, 0.25))}–{number(quantile(values, 0.75))}"]
                for name, values in nanoseconds.items()]
        return "\n\n".join(["## Single steps",
                            f"`{context['command']}` on {context['date'][:10]}: {context['machine']}; "
                            f"{context['build']}.",
                            table(["function", "CPU, ns", "quartiles"], rows)])


def is_micro(path):
    with open(path, encoding="utf-8") as file:
        return "benchmarks" in json.load(file)


def update_document(path, text):
    with open(path, encoding="utf-8") as file:
        document = file.read()
    begin, end = document.find(BEGIN), document.find(END)
    if begin == -1 or end < begin:
        sys.exit(f"{path}: the marks around the figures are missing")
    with open(path, "w", encoding="utf-8") as file:
        file.write(document[:begin] + BEGIN + "\n\n" + text + "\n\n" + document[end:])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--doc", help="Markdown file whose figures are replaced")
    parser.add_argument("--plots", help="folder for the plots")
    parser.add_argument("results", nargs="+")
    options = parser.parse_args()
    files = [Results(path) for path in options.results if not is_micro(path)]
    micro = [MicroResults(path) for path in options.results if is_micro(path)]
    plots = None
    if options.plots:
        os.makedirs(options.plots, exist_ok=True)
        for results in (results for results in files if results.program not in FIGURES):
            for group in results.groups():
                picture = plot(results, group)
                if not picture:
                    continue
                with open(os.path.join(options.plots, plot_name(results, group)), "w", encoding="utf-8") as file:
                    file.write(picture)
        plots = os.path.relpath(options.plots, os.path.dirname(options.doc or "."))
    text = "\n\n".join([markdown(results, plots) for results in files] + [results.markdown() for results in micro])
    if options.doc:
        update_document(options.doc, text)
    else:
        print(text)


if __name__ == "__main__":
    main()
