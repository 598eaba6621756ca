#!/usr/bin/env python3
"""Writes docs/performance.md and its pictures from the results of the benchmark programs.

    benchmarks/report.py FOLDER             one section for each FOLDER/NAME.json that a program has written
    benchmarks/report.py --section NAME     the section NAME: when and where, and the Markdown on the standard input

A section stands between two markers. The rest of the document stays as it is, and a new section comes last. Pictures are
drawn by gnuplot.
"""

import argparse
import collections
import datetime
import json
import math
import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys
import textwrap

LINE_WIDTH = 125
GROWTH_LEAST_SPAN = 4  # between the smallest and the largest size of a fit
NOT_ARGUMENTS = re.compile(r"(real_time|process_time|manual_time|(iterations|min_time|min_warmup_time|repeats):.*)$")

Spread = collections.namedtuple("Spread", "middle low high")


class Row:
    """One measured benchmark: its family, its arguments, and what it reports of each variant."""

    def __init__(self, result):
        parts = [part for part in result["run_name"].split("/") if not NOT_ARGUMENTS.match(part)]
        self.family = words(parts[0])
        self.case = ", ".join(words(part) for part in parts[1:] if ":" not in part)
        self.sizes = {name: int(value) for name, value in (part.split(":") for part in parts[1:] if ":" in part)}
        self.error = result.get("error_message")
        self.names = [] if self.error else result["label"].split("|")
        self.microseconds = {name: spread(result, f"us:{name}") for name in self.names}
        self.ratios = {name: spread(result, f"ratio:{name}") for name in self.names[1:]}
        self.goals = {name: result.get(f"goal:{name}") for name in self.names[1:]}
        self.rounds = int(result.get("rounds", 0))
        self.counters = {name: value for name, value in result.items() if name in counters_of(result)}
        if "width" in self.sizes and "height" in self.sizes:
            self.sizes = {"pixels": Image(self.sizes.pop("width"), self.sizes.pop("height")), **self.sizes}

    def described(self, without=""):
        """The arguments in words, without one of them."""
        return ", ".join(text if name in ("case", "pixels", "bytes") else f"{name} {text}"
                         for name, text in self.arguments().items() if name != without)

    def arguments(self):
        """The cells that tell the rows of a family apart, by the heads of their columns."""
        case = {"case": self.case} if self.case else {}
        return {**case, **{name: size_text(name, value) for name, value in self.sizes.items()}}


class Image(int):
    """A number of pixels that is shown as width × height."""

    def __new__(cls, width, height):
        image = super().__new__(cls, width * height)
        image.text = f"{width} × {height}"
        return image


KNOWN_FIELDS = {"name", "run_name", "run_type", "repetitions", "repetition_index", "threads", "iterations", "real_time",
                "cpu_time", "time_unit", "label", "family_index", "per_family_instance_index", "rounds", "error_occurred",
                "error_message"}


def counters_of(result):
    """The names of a program's own counters."""
    return [name for name in result if ":" not in name and name not in KNOWN_FIELDS]


def spread(result, name):
    return Spread(result[name], result[f"{name}:low"], result[f"{name}:high"])


def words(name):
    """groundAndSky -> ground and sky. The name of a class stays as it is."""
    return name if name[:1].isupper() else re.sub(r"(?<=[a-z0-9])([A-Z])(?=[a-z])", lambda found: " " + found.group(1).lower(), name)


def size_text(name, value):
    if isinstance(value, Image):
        return value.text
    if name == "bytes":
        for factor, unit in ((2**30, "GiB"), (2**20, "MiB"), (2**10, "KiB")):
            if value and value % factor == 0:
                return f"{value // factor} {unit}"
    return f"{value:,}"


def number(value):
    """Three significant digits."""
    if value == 0 or not math.isfinite(value):
        return f"{value:g}"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{value:,.{digits}f}"


def time_text(spread):
    for factor, unit in ((1e6, "s"), (1e3, "ms"), (1, "µs"), (1e-3, "ns")):
        if spread.middle >= factor or unit == "ns":
            return (f"{number(spread.middle / factor)} {unit} ({number(spread.low / factor)} to "
                    f"{number(spread.high / factor)})")
    return ""


def ratio_text(row, name):
    if name not in row.ratios:
        return ""
    middle, low, high = (number(value) for value in row.ratios[name])
    goal = row.goals[name]
    if goal is None:
        return f"{middle} ({low} to {high})"
    missed = row.ratios[name].middle > goal
    return f"**{middle}** ({low} to {high}) > {goal:g}" if missed else f"{middle} ({low} to {high}) ≤ {goal:g}"


def in_order(lists):
    """All elements of the lists, each once."""
    return list(dict.fromkeys(element for elements in lists for element in elements))


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + "---|" * len(heads)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def family_table(rows):
    arguments = in_order(row.arguments() for row in rows)
    ours = in_order(row.names[:1] for row in rows)
    peers = in_order(row.names[1:] for row in rows)
    counters = in_order(row.counters for row in rows)

    def cells(row):
        own = row.microseconds[row.names[0]]
        return ([row.arguments().get(name, "") for name in arguments] + [time_text(own)] +
                [ratio_text(row, name) for name in peers] +
                [number(row.counters[name]) if name in row.counters else "" for name in counters])

    heads = arguments + [" or ".join(ours)] + [f"/ {peer}" for peer in peers] + counters
    return table(heads, [cells(row) for row in rows])


def exponent(points):
    """The exponent of the power function that fits best, by least squares of the logarithms."""
    logs = [(math.log(x), math.log(y)) for x, y in points]
    mean_x = sum(x for x, _ in logs) / len(logs)
    mean_y = sum(y for _, y in logs) / len(logs)
    return sum((x - mean_x) * (y - mean_y) for x, y in logs) / sum((x - mean_x) ** 2 for x, _ in logs)


Growth = collections.namedtuple("Growth", "size others lines")  # lines: name -> [(size, microseconds)]


def growths(rows):
    """For each argument that spans enough: how the times of rows that differ only in it grow."""
    for size in in_order(row.sizes for row in rows):
        groups = collections.defaultdict(list)
        for row in rows:
            if row.sizes.get(size, 0) > 0:
                groups[row.described(without=size)].append(row)
        for others, members in groups.items():
            sizes = [row.sizes[size] for row in members]
            if max(sizes) >= GROWTH_LEAST_SPAN * min(sizes):
                names = in_order(row.names for row in members)
                yield Growth(size, others, {name: [(row.sizes[size], row.microseconds[name].middle)
                                                   for row in members if name in row.names] for name in names})


def growth_table(found):
    names = in_order(growth.lines for growth in found)

    def cells(growth):
        return [growth.size, growth.others] + [
            f"{exponent(growth.lines[name]):.2f}" if len(growth.lines.get(name, [])) > 1 else "" for name in names]

    return "Time grows with a size to the power of:\n\n" + table(["size", "for"] + names, [cells(growth) for growth in found])


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def machine():
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    system = platform.freedesktop_os_release().get("PRETTY_NAME", platform.system())
    return (f"{os.cpu_count()} cores ({processor()}) with {memory:.0f} GiB of memory and {system}; OpenGL by Mesa's software "
            "renderer")


def paragraph(text):
    return textwrap.fill(" ".join(text.split()), LINE_WIDTH, break_long_words=False, break_on_hyphens=False)


class Plot:
    """A picture by gnuplot: its commands, and the data that they plot."""

    def __init__(self, width, height):
        self.lines = [f"set terminal pngcairo noenhanced size {width},{height} font 'DejaVu Sans,10'",
                      "set grid lc rgb '#dddddd'", "set border lc rgb '#888888'", "set tics textcolor rgb 'black'"]
        self.curves = []

    def add(self, points, style, title):
        name = f"$data{len(self.curves)}"
        self.lines += [f"{name} << EOD", *points, "EOD"]
        self.curves.append(f"{name} {style} title \"{title}\"")

    def draw(self, path):
        commands = "\n".join(self.lines + [f"set output '{path}'", "plot " + ", ".join(self.curves)]) + "\n"
        subprocess.run(["gnuplot"], input=commands, text=True, check=True)


def ratio_plot(title, rows, path):
    """The ratios of all rows, with their quartiles."""
    names = [", ".join(filter(None, [row.family, row.described()])) for row in rows]
    plot = Plot(1000, 110 + 26 * len(rows))
    labels = ", ".join(f'"{name}" {-place}' for place, name in enumerate(names))
    plot.lines += ["set logscale x", f"set yrange [{-len(rows) + 0.4}:0.6]", f"set ytics ({labels})",
                   f"set xlabel \"{title}: time of ours / time of the other (below 1, ours is faster)\"",
                   "set key outside top center horizontal", "set arrow from 1,graph 0 to 1,graph 1 nohead lc rgb '#444444'"]
    peers = in_order(row.names[1:] for row in rows)
    for place, peer in enumerate(peers):
        offset = 0.6 * ((place + 0.5) / len(peers) - 0.5)
        points = [f"{row.ratios[peer].middle} {-line - offset} {row.ratios[peer].low} {row.ratios[peer].high}"
                  for line, row in enumerate(rows) if peer in row.ratios]
        plot.add(points, f"using 1:2:3:4 with xerrorbars pt 7 ps 0.9 lw 1.5 lt {place + 1}", peer)
    plot.draw(path)


def growth_plot(family, found, path):
    """The times of one family over the sizes: a colour for each variant, a symbol for each group."""
    plot = Plot(1000, 480)
    plot.lines += ["set logscale xy", "set format x '%.0s%c'", f"set xlabel \"{found[0].size}\"",
                   f"set ylabel \"{family}: microseconds\"", "set key outside right"]
    names = in_order(growth.lines for growth in found)
    for group, growth in enumerate(found):
        for name, points in growth.lines.items():
            plot.add([f"{int(x)} {y}" for x, y in points],
                     f"with linespoints lt {names.index(name) + 1} pt {group + 4} dt {group + 1}",
                     ", ".join(filter(None, [name, growth.others])))
    plot.draw(path)


class Section:
    """The Markdown of one program's results, and its pictures."""

    def __init__(self, path, pictures):
        results = json.loads(path.read_text())
        self.name = path.stem
        self.context = results["context"]
        self.pictures = pictures
        rows = [Row(result) for result in results["benchmarks"]]
        self.rows = [row for row in rows if not row.error]
        self.errors = [row for row in rows if row.error]

    def text(self):
        parts = [f"## {self.context['title']}", paragraph(self.context["about"]), paragraph(self._conditions())]
        if any(row.ratios for row in self.rows):
            parts.append(self._picture("", lambda path: ratio_plot(self.context["title"], self.rows, path)))
        for family in in_order([row.family] for row in self.rows):
            parts += self._family(family, [row for row in self.rows if row.family == family])
        for row in self.errors:
            parts.append(paragraph(f"Not measured: {row.family}, {row.described()}: {row.error}."))
        return "\n\n".join(filter(None, parts))

    def _conditions(self):
        rounds = min((row.rounds for row in self.rows), default=0)
        missing = self.context["missing"]
        return (f"Measured on {self.context['date'][:10]} in {rounds} rounds or more, on {machine()}." +
                (f" Left out, because it was not installed: {missing}." if missing else ""))

    def _family(self, family, rows):
        parts = [f"**{family.capitalize()}**", family_table(rows)]
        found = list(growths(rows))
        if found:
            parts.append(growth_table(found))
        for size in in_order([growth.size] for growth in found):
            lines = [growth for growth in found if growth.size == size]
            parts.append(self._picture(f"{family} {size}", lambda path: growth_plot(family, lines, path)))
        return parts

    def _picture(self, name, draw):
        if not shutil.which("gnuplot"):
            return ""
        path = self.pictures / (re.sub(r"\W+", "_", f"performance {self.name} {name}".strip().lower()) + ".png")
        draw(path)
        return f"![{self.context['title']}{': ' + name if name else ''}](pictures/{path.name})"


def write_section(document, name, text):
    """Replaces the section between its markers, or appends it."""
    start, end = f"<!-- section {name}: generated, do not edit -->", f"<!-- end of {name} -->"
    old = document.read_text()
    new = f"{start}\n\n{text.strip()}\n\n{end}"
    before, found, rest = old.partition(start)
    if found:
        document.write_text(before + new + rest.partition(end)[2])
    else:
        document.write_text(f"{old.rstrip()}\n\n{new}\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path, nargs="?")
    parser.add_argument("--section")
    parser.add_argument("--document", type=pathlib.Path, default=pathlib.Path("docs/performance.md"))
    options = parser.parse_args()
    if options.section:
        conditions = paragraph(f"Measured on {datetime.date.today()}, on {machine()}.")
        write_section(options.document, options.section, conditions + "\n\n" + sys.stdin.read())
    elif options.folder:
        if not shutil.which("gnuplot"):
            print("report.py: gnuplot is not installed, so there are no pictures", file=sys.stderr)
        for path in sorted(options.folder.glob("*.json")):
            write_section(options.document, path.stem, Section(path, options.document.parent / "pictures").text())
    else:
        parser.error("name a folder with results, or a section")


if __name__ == "__main__":
    main()
