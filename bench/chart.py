#!/usr/bin/env python3
"""Draws what the benchmarks measured: chart.py FOLDER

FOLDER holds what the programs of bench/ wrote with --benchmark_out, a file AREA.json each. A counter x_PEER is the peer's
time divided by ours. Its inverse, our time over the peer's, is a bar of AREA.svg: below 1 we are quicker. growth.json becomes
growth.svg, the time for one item against the number of items. index.html has all pictures on one page. table.md has their
numbers, and the peak memory of memory.json. Every number is the median of the repetitions. docs/performance.md tells how to
read all this.
"""
import dataclasses
import html
import json
import math
import pathlib
import platform
import re
import statistics
import sys
import xml.etree.ElementTree as ET

AREAS = ["text", "io", "containers", "cloud", "updater", "growth", "memory"]  # in this order, others behind them

STYLE = """
  svg { background: #fff; color: #1f2937; font: 12px system-ui, sans-serif }
  text { fill: currentColor }
  .title { font-size: 18px; font-weight: 600 }
  .number { font-variant-numeric: tabular-nums }
  .grid { stroke: #d1d5db }
  .one { stroke: currentColor; stroke-width: 1.5 }
  .quicker { fill: #2563eb } .slower { fill: #c2410c }
  .curve { fill: none; stroke-width: 2 } .leader { stroke-dasharray: 2 3 }
  .c0 { stroke: #2563eb } .c1 { stroke: #c2410c } .c2 { stroke: #047857 }
  .c3 { stroke: #7c3aed } .c4 { stroke: #be185d } .c5 { stroke: #0e7490 }
  .c6 { stroke: #a16207 } .c7 { stroke: #6b7280 }
  @media (prefers-color-scheme: dark) {
    svg { background: #111827; color: #e5e7eb }
    .grid { stroke: #374151 }
    .quicker { fill: #60a5fa } .slower { fill: #fb923c }
    .c0 { stroke: #60a5fa } .c1 { stroke: #fb923c } .c2 { stroke: #34d399 }
    .c3 { stroke: #a78bfa } .c4 { stroke: #f472b6 } .c5 { stroke: #22d3ee }
    .c6 { stroke: #facc15 } .c7 { stroke: #9ca3af }
  }
"""


@dataclasses.dataclass
class Row:
    """One benchmark: its name as people read it, its label, and the values of each counter, one for each repetition."""
    name: str
    label: str
    values: dict[str, list[float]] = dataclasses.field(default_factory=dict)
    fault: str = ""  # why it was not measured

    def median(self, counter):
        return statistics.median(self.values[counter])

    def title(self):
        return f"{self.name} {self.label}".strip()

    def ratios(self):
        """Our time over that of each peer."""
        return [(name[2:], statistics.median(1 / value for value in values))
                for name, values in self.values.items() if name.startswith("x_")]


@dataclasses.dataclass
class Area:
    name: str
    context: dict
    rows: list[Row]


def plain_name(run_name):
    """The name for people: without how often it ran, and without the kind, whose name is the label."""
    name = re.sub(r"^BM_|/(iterations|repeats|min_time|kind):[^/]*", "", run_name)
    for cpp, plain in [("std::", ""), ("unsigned char", "8-bit"), ("unsigned short", "16-bit")]:
        name = name.replace(cpp, plain)
    return name


def read_area(path):
    report, rows = json.loads(path.read_text(encoding="utf-8")), {}
    for entry in report["benchmarks"]:
        if entry.get("run_type") == "aggregate":
            continue
        row = rows.setdefault(entry["run_name"], Row(plain_name(entry["run_name"]), ""))
        row.label = entry.get("label", "")
        if entry.get("error_occurred"):
            row.fault = entry["error_message"]
        for counter, value in entry.items():
            if re.match(r"(x_.+|ns|peak_MiB|data_MiB)$", counter):
                row.values.setdefault(counter, []).append(value)
    return Area(path.stem, report["context"], list(rows.values()))


def read_areas(folder):
    """Those that have results: a program whose benchmarks the filter left out writes an empty file."""
    def place(path):
        return (AREAS.index(path.stem) if path.stem in AREAS else len(AREAS), path.stem)

    for path in sorted(folder.glob("*.json"), key=place):
        try:
            if path.stat().st_size:
                yield read_area(path)
        except (ValueError, KeyError):
            print(f"chart.py: {path} is left out: it is no complete report", file=sys.stderr)


def processor():
    try:
        return re.search(r"^model name\s*:\s*(.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.M)[1]
    except (OSError, TypeError):
        return platform.processor() or platform.machine()


def machine(area):
    repetitions = max((len(values) for row in area.rows for values in row.values.values()), default=0)
    return (f"{processor()}, level {area.context.get('zenta_cpu', 'unknown')}, {area.context['date'][:10]}, "
            + (f"medians of {repetitions}" if repetitions > 1 else "measured once"))


def number(value, digits=3):
    """With that many digits, and no exponent: 0.0123, 1.23, 1,230."""
    places = digits - 1 - math.floor(math.log10(value)) if value > 0 else 0
    return f"{round(value, places):,.{max(places, 0)}f}"


def ratio_text(ratio):
    return f"{ratio:.2f}" if ratio >= 0.0995 else f"{ratio:.3f}"


# The table ------------------------------------------------------------------------------------------------------------

def table_lines(area):
    """The cells of each line: benchmark, ours, peer, ratio."""
    for row in area.rows:
        if row.fault:
            yield row.title(), f"not measured: {row.fault}", "", ""
        elif "peak_MiB" in row.values:
            peak, data = row.median("peak_MiB"), row.median("data_MiB")
            yield row.name, f"{number(peak)} MiB", f"{row.label}, {number(data)} MiB", ratio_text(peak / data)
        elif "ns" in row.values:
            time = f"{number(row.median('ns'))} ns"
            if not row.ratios():
                yield row.title(), time, "", ""
            for peer, ratio in row.ratios():
                yield row.title(), time, peer, ratio_text(ratio)


def table(areas):
    lines = ["# What the benchmarks measured", "",
             "Our time for one item, and that time over the peer's: below 1 we are quicker. For memory: a process's highest",
             "resident memory, and that over the size of its data.", ""]
    lines += [f"- {area.name}: {machine(area)}" for area in areas]
    lines += ["", "| area | benchmark | ours | beside | ratio |", "|---|---|---:|---|---:|"]
    for area in areas:
        for cells in table_lines(area):
            plain = [cell.replace("|", "\\|").replace("<", "&lt;") for cell in (area.name, *cells)]
            lines.append(f"| {' | '.join(plain)} |")
    return "\n".join(lines) + "\n"


# Pictures -------------------------------------------------------------------------------------------------------------

MARGIN = 24
HEAD = 110  # title, machine, axis
LETTER = 7  # pixels, on average
COLOURS = 8  # of curves


class Picture:
    def __init__(self, width, height, title, description):
        self.root = ET.Element("svg", {
            "xmlns": "http://www.w3.org/2000/svg", "width": str(width), "height": str(height),
            "viewBox": f"0 0 {width} {height}", "role": "img", "aria-label": title})
        ET.SubElement(self.root, "title").text = title
        ET.SubElement(self.root, "desc").text = description
        ET.SubElement(self.root, "style").text = STYLE
        self.text(MARGIN, 34, title, "title")
        self.text(MARGIN, 54, description)

    def put(self, tag, kind, **where):
        values = {name: str(round(value, 1)) if isinstance(value, float) else str(value) for name, value in where.items()}
        return ET.SubElement(self.root, tag, {"class": kind, **values})

    def text(self, x, y, text, kind="label", anchor="start"):
        element = self.put("text", kind, x=x, y=y)
        element.set("text-anchor", anchor)
        element.text = text

    def line(self, x1, y1, x2, y2, kind="grid"):
        self.put("line", kind, x1=x1, y1=y1, x2=x2, y2=y2)

    def svg(self):
        ET.indent(self.root)
        return ET.tostring(self.root, encoding="unicode") + "\n"


def ticks(least, most):
    """1, 2 and 5 times powers of ten: from the last that is not above `least` to the first not below `most`."""
    every = [factor * 10.0**power for power in range(-9, 12) for factor in (1, 2, 5)]
    first = max(i for i, tick in enumerate(every) if tick <= least * 1.0001)
    last = min(i for i, tick in enumerate(every) if tick >= most * 0.9999)
    return every[first:last + 1]


def log_scale(marks, start, end):
    """A function from a value to its pixel, so that the marks reach from `start` to `end`."""
    low, high = math.log(marks[0]), math.log(marks[-1])
    return lambda value: start + (math.log(value) - low) / (high - low) * (end - start)


def bar_chart(area):
    """Bars begin at 1 and go left where we are quicker, right where we are slower."""
    rows = [row for row in area.rows if row.ratios() and not row.fault]
    if not rows:
        return None
    every = [ratio for row in rows for _, ratio in row.ratios()]
    peer_column = MARGIN + LETTER * max(len(row.title()) for row in rows) + 16
    left = peer_column + LETTER * max(len(peer) for row in rows for peer, _ in row.ratios()) + 16
    right = left + 380
    width, height = round(right + 60 + MARGIN), HEAD + 15 * len(every) + 5 * len(rows) + 16
    picture = Picture(width, height, f"{area.name}: our time over each peer's", machine(area))
    marks = ticks(min(every + [0.5]), max(every + [2]))
    at = log_scale(marks, left, right)
    for mark in marks:
        picture.line(at(mark), HEAD - 10, at(mark), height - 16, "one" if mark == 1 else "grid")
        if len(marks) <= 10 or mark == 1 or f"{mark:g}".strip("0.") == "1":
            picture.text(at(mark), HEAD - 16, f"{mark:g}", "number", "middle")
    picture.text(at(1) - 14, HEAD - 32, "← we are quicker", anchor="end")
    picture.text(at(1) + 14, HEAD - 32, "we are slower →")
    y = HEAD
    for row in rows:
        picture.text(MARGIN, y + 11, row.title())
        for peer, ratio in row.ratios():
            picture.text(peer_column, y + 11, peer)
            start, end = sorted([at(1), at(ratio)])
            picture.put("rect", "quicker" if ratio < 1 else "slower", x=start, y=y + 2, width=max(end - start, 1.0), height=11)
            picture.text(right + 60, y + 11, ratio_text(ratio), "number", "end")
            y += 15
        y += 5
    return picture


def curves(area):
    """Name -> (items, nanoseconds for one of them), in rising order."""
    found = {}
    for row in area.rows:
        if (match := re.match(r"(.*)/items:(\d+)$", row.name)) and not row.fault:
            found.setdefault(match[1], []).append((int(match[2]), row.median("ns")))
    return {name: sorted(points) for name, points in found.items()}


def spread(heights, gap):
    """The rising heights, each moved down to be at least `gap` below the one before."""
    out = []
    for height in heights:
        out.append(max(height, out[-1] + gap) if out else height)
    return out


def growth_chart(area):
    found = curves(area)
    if not found:
        return None
    points = [point for curve in found.values() for point in curve]
    left, right, top, bottom = 80, 600, HEAD, 480
    picture = Picture(860, 540, "growth: time for one item against the number of items", machine(area))
    sizes, costs = sorted({size for size, _ in points}), [cost for _, cost in points]
    marks = ticks(min(costs), max(costs))
    x = log_scale([sizes[0], max(sizes[-1], 2 * sizes[0])], left, right)
    y = log_scale(marks, bottom, top)
    for mark in marks:
        picture.line(left, y(mark), right, y(mark))
        picture.text(left - 8, y(mark) + 4, f"{mark:,g}", "number", "end")
    for size in sizes:
        picture.line(x(size), top, x(size), bottom)
        picture.text(x(size), bottom + 20, f"{size:,}", "number", "middle")
    picture.text((left + right) / 2, bottom + 42, "items; a level curve: the whole time grows in proportion", anchor="middle")
    picture.text(left, top - 12, "ns for one item", anchor="middle")
    by_end = sorted(enumerate(found.items()), key=lambda item: y(item[1][1][-1][1]))
    labels = spread([y(curve[-1][1]) for _, (_, curve) in by_end], 18)
    for (i, (name, curve)), label in zip(by_end, labels):
        kind = f"curve c{i % COLOURS}"
        picture.put("polyline", kind, points=" ".join(f"{x(size):.1f},{y(cost):.1f}" for size, cost in curve))
        for size, cost in curve:
            picture.put("circle", kind, cx=x(size), cy=y(cost), r=3)
        picture.line(x(curve[-1][0]) + 4, y(curve[-1][1]), right + 22, label, f"leader c{i % COLOURS}")
        picture.text(right + 28, label + 4, f"{name}, {number(curve[-1][1])} ns")
    return picture


# All of it ------------------------------------------------------------------------------------------------------------

def html_table(areas):
    lines = "".join("<tr>" + "".join(f"<td>{html.escape(cell)}" for cell in (area.name, *cells)) + "\n"
                    for area in areas for cells in table_lines(area))
    return f"<table>\n<tr><th>area<th>benchmark<th>ours<th>beside<th>ratio\n{lines}</table>\n"


def page(areas, pictures):
    head = ('<!DOCTYPE html>\n<html lang="en">\n<meta charset="utf-8">\n<title>What the benchmarks measured</title>\n<style>'
            ":root { color-scheme: light dark; font: 12px system-ui, sans-serif } svg { display: block; margin-bottom: 2em }"
            " th, td { padding: 1px 12px 1px 0; text-align: left }</style>\n")
    return head + "".join(pictures) + html_table(areas)


def main(folder):
    areas = list(read_areas(folder))
    if not areas:
        print(f"chart.py: no results in {folder}", file=sys.stderr)
        return 1
    pictures = []
    for area in areas:
        picture = growth_chart(area) if area.name == "growth" else bar_chart(area)
        if picture:
            pictures.append(picture.svg())
            (folder / f"{area.name}.svg").write_text(pictures[-1], encoding="utf-8")
    (folder / "table.md").write_text(table(areas), encoding="utf-8")
    (folder / "index.html").write_text(page(areas, pictures), encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
