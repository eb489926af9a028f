#!/usr/bin/env python3
"""Turns the results of the benchmarks into Markdown tables and SVG plots.

Usage: benchmarks/report.py [--doc FILE] [--plots FOLDER] RESULTS.json...

Without --doc the tables go to standard output. With it they replace what stands between the two marks in FILE. Ratios
are taken round by round to bare shared memory and a futex of the same round; tables give their median and quartiles.
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
}
DETAILS = {
    "bench_roundtrip": [("p99_us", "p99, µs"), ("p99.9_us", "p99.9, µs"), ("cpu_us", "CPU, µs"),
                        ("switches", "switches")],
    "bench_stream": [("mb_per_s", "MB/s"), ("cpu_us", "CPU, µs"), ("switches", "switches")],
    "bench_broadcast": [("sender_cpu_us", "sender's CPU, µs"), ("all_cpu_us", "everybody's CPU, µs"),
                        ("switches", "switches")],
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
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


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
                return line["per_round"][figure]
        return None

    def ratios(self, group, transport, parameter, figure):
        values = self.values(group, transport, parameter, figure)
        bare = self.values(group, "bare", parameter, figure)
        return [value / base for value, base in zip(values, bare)]


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def cell(results, group, transport, parameter):
    show = results.show
    value = median(results.values(group, transport, parameter, show["figure"])) * show["scale"]
    ratio = results.ratios(group, transport, parameter, show["figure"])
    quartiles = "" if transport == "bare" else (
        f" = {median(ratio):.2f} × ({quantile(ratio, 0.25):.2f}–{quantile(ratio, 0.75):.2f})")
    return number(value) + quartiles


def main_table(results, group):
    parameters = results.parameters(group)
    header = [f"{results.show['name']}, {results.show['unit']}"] + [results.show["column"].format(p) for p in parameters]
    rows = [[name] + [cell(results, group, name, p) for p in parameters] for name in results.transports(group)]
    return table(header, rows)


def detail_table(results, group, parameter):
    figures = DETAILS[results.program]
    header = [f"at {parameter} {results.parameter}"] + [title for _, title in figures]
    rows = [[name] + [number(median(results.values(group, name, parameter, figure))) for figure, _ in figures]
            for name in results.transports(group)]
    return table(header, rows)


def detailed(results, group):
    """The workload that the requirements look at: 64 bytes, or all receivers."""
    parameters = results.parameters(group)
    return 64 if 64 in parameters else parameters[-1]


def heading(results, group):
    workload, placement = group
    what = f"{results.show['title']}: {workload}" if len({g[0] for g in results.groups()}) > 1 else results.show["title"]
    return f"{what}, {PLACEMENTS[placement]}"


def plot_name(results, group):
    workload = group[0].replace(" ", "-")
    return f"{workload}-{group[1]}.svg"


def markdown(results, plots):
    data = results.data
    left_out = f" Not there: {', '.join(data['left_out'])}." if data["left_out"] else ""
    parts = [f"## {results.show['title']}",
             f"`{data['command']}` on {data['date']}: {data['machine']}; {data['build']}; "
             f"{data['rounds']} rounds.{left_out}"]
    for group in results.groups():
        parts += [f"### {heading(results, group)}", main_table(results, group),
                  detail_table(results, group, detailed(results, group))]
        if plots:
            parts.append(f"![{heading(results, group)}]({plots}/{plot_name(results, group)})")
    return "\n\n".join(parts)


class Svg:
    """As much of SVG as plots need."""

    def __init__(self, width, height):
        self.parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                      f'height="{height}" font-family="sans-serif" font-size="12">',
                      f'<rect width="{width}" height="{height}" fill="#ffffff"/>']

    def text(self, x, y, text, anchor="start", weight="normal"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-weight="{weight}" '
                          f'fill="#222222">{html.escape(text)}</text>')

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
    files = [Results(path) for path in options.results]
    plots = None
    if options.plots:
        os.makedirs(options.plots, exist_ok=True)
        for results in files:
            for group in results.groups():
                with open(os.path.join(options.plots, plot_name(results, group)), "w", encoding="utf-8") as file:
                    file.write(bars(results, group))
        plots = os.path.relpath(options.plots, os.path.dirname(options.doc or "."))
    text = "\n\n".join(markdown(results, plots) for results in files)
    if options.doc:
        update_document(options.doc, text)
    else:
        print(text)


if __name__ == "__main__":
    main()
