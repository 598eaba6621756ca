#!/usr/bin/env python3
"""Measures quor_index and quor_viewer with simulated scans of different sizes, and prints the results as Markdown.

    benchmarks/scans.py [--programs build/release/bin] [--folder FOLDER] [--points 1 10 128] [--rounds 15]

All sizes are measured in turn within each round, so that disturbances on the machine affect them alike. Needs a display
(scripts/bench-scans.sh starts a virtual one), xdotool, and disk space for twice the largest scan.
"""

import argparse
import math
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

MILLION = 1_000_000
WIDTH, HEIGHT = 1280, 720


class Scan:
    """A simulated scan of a town with a number of points in millions, and the folder of its index."""

    def __init__(self, folder, millions):
        self.millions = millions
        self.points = millions * MILLION
        self.path = folder / f"town_{millions}.las"
        self.index_folder = folder / f"index_{millions}"

    def index_bytes(self):
        return sum(file.stat().st_size for file in self.index_folder.iterdir())


class Viewer:
    """A running viewer, and the lines that it prints, each with the time at which it came."""

    def __init__(self, program, scan, options=(), environment=()):
        self.lines = []
        self.start = time.monotonic()
        self.process = subprocess.Popen(
            [program, "--verbose", "--no-animation", "--size", f"{WIDTH}x{HEIGHT}",
             "--index-dir", scan.index_folder, *options, scan.path],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env={**os.environ, **dict(environment)})
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.append((time.monotonic(), line.rstrip("\n")))

    def seconds_until(self, pattern, limit=600):
        """From the start of the program to the first line that matches."""
        seen = 0
        while time.monotonic() - self.start < limit and self.process.poll() is None:
            while seen < len(self.lines):
                moment, line = self.lines[seen]
                if re.search(pattern, line):
                    return moment - self.start
                seen += 1
            time.sleep(0.005)
        sys.exit(f"scans.py: no line '{pattern}' from the viewer:\n" + "\n".join(line for _, line in self.lines[-20:]))

    def orbit(self, seconds):
        """Drags slowly to and fro with the right button. Returns the times between frames, in seconds."""
        steps = int(seconds / 0.01)
        column = [WIDTH // 2 + round(200 * math.sin(2 * math.pi * step / steps)) for step in range(steps)]
        moves = [word for x in column for word in ("mousemove", str(x), str(HEIGHT // 2), "sleep", "0.01")]
        first = len(self.lines)
        subprocess.run(["xdotool", "mousemove", str(WIDTH // 2), str(HEIGHT // 2), "mousedown", "3", *moves, "mouseup", "3"],
                       check=True)
        frames = [moment for moment, line in self.lines[first:] if line.startswith("view ")]
        return [after - before for before, after in zip(frames, frames[1:])]

    def drawn_points(self):
        frames = [line for _, line in self.lines if line.startswith("frame ")]
        return int(re.match(r"frame ([\d,]+)", frames[-1]).group(1).replace(",", ""))

    def peak_bytes(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"VmHWM:\s*(\d+) kB", status).group(1)) * 1024

    def quit(self):
        self.process.terminate()
        self.process.wait()
        self.reader.join()


def seconds_of(command):
    """Runs a command. Returns how long it took, and its peak memory in bytes."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"scans.py: {' '.join(map(str, command))} failed")
    return time.monotonic() - start, usage.ru_maxrss * 1024


def middle(values):
    return statistics.median(values)


def with_spread(values, digits=2):
    """The median, and the quartiles in brackets."""
    if len(values) < 3:
        return f"{middle(values):.{digits}f}"
    low, _, high = statistics.quantiles(values, n=4)
    return f"{middle(values):.{digits}f} ({low:.{digits}f} to {high:.{digits}f})"


def ratios(values, to):
    """Of the values of the same round."""
    return [value / other for value, other in zip(values, to)]


def table(title, heads, rows):
    print(f"\n**{title}**\n")
    print("| " + " | ".join(heads) + " |")
    print("|" + "---|" * len(heads))
    for row in rows:
        print("| " + " | ".join(row) + " |", flush=True)


def measure_build(programs, scan, rounds):
    """Building the index, copying the file, and decoding its points, in turn."""
    results = {"index": [], "cp": [], "decode": [], "bytes": []}
    for _ in range(rounds):
        shutil.rmtree(scan.index_folder, ignore_errors=True)
        seconds, peak = seconds_of([programs / "quor_index", "--index-dir", scan.index_folder, "--memory", "2", scan.path])
        results["index"].append(seconds)
        results["bytes"].append(peak)
        copy = scan.path.with_suffix(".copy")
        results["cp"].append(seconds_of(["cp", scan.path, copy])[0])
        copy.unlink()
        results["decode"].append(seconds_of([programs / "decode_points", scan.path])[0])
    return results


def report_build(programs, scans, rounds_of):
    measured = {scan.millions: measure_build(programs, scan, rounds_of(scan)) for scan in scans}
    rows = []
    for scan in scans:
        result = measured[scan.millions]
        rows.append([f"{scan.millions} M", with_spread(result["index"], 1),
                     f"{scan.points / middle(result['index']) / MILLION:.2f}",
                     with_spread(ratios(result["index"], result["cp"]), 1),
                     with_spread(ratios(result["index"], result["decode"]), 1),
                     f"{max(result['bytes']) / 2**30:.2f}",
                     f"{scan.index_bytes() / scan.path.stat().st_size:.2f}", str(len(result["index"]))])
    table("Building the index (`quor_index --memory 2`)",
          ["points", "seconds", "million points per second", "time / `cp`", "time / decoding alone", "peak memory, GiB",
           "index / LAS file", "rounds"], rows)
    if len(scans) < 2:
        return
    first, last = scans[0], scans[-1]
    growth = middle(measured[last.millions]["index"]) / middle(measured[first.millions]["index"])
    print(f"\nTime grows with the number of points to the power of "
          f"{math.log(growth) / math.log(last.points / first.points):.2f}.")


def measure_view(programs, scan, budget):
    viewer = Viewer(programs / "quor_viewer", scan, ["--points", str(budget), "--point-size", "2"])
    first = viewer.seconds_until(r"^frame [1-9]")
    refined = viewer.seconds_until(r"^frame .*refined")
    frames = viewer.orbit(4.0)
    drawn = viewer.drawn_points()
    viewer.quit()
    return {"first": first, "refined": refined, "frame": 1000 * middle(frames), "drawn": drawn}


def measure_memory(programs, scan, gibibytes):
    """Without the threads of the software driver, which queue up to 2 GiB of frames."""
    viewer = Viewer(programs / "quor_viewer", scan, ["--memory", str(gibibytes)], [("LP_NUM_THREADS", "0")])
    viewer.seconds_until(r"^frame .*refined")
    viewer.orbit(4.0)
    peak = viewer.peak_bytes()
    viewer.quit()
    return peak


def report_view(programs, scans, rounds, budget):
    measured = {scan.millions: [] for scan in scans}
    for _ in range(rounds):
        for scan in scans:
            measured[scan.millions].append(measure_view(programs, scan, budget))
    smallest = measured[scans[0].millions]

    def row(scan):
        values = measured[scan.millions]
        column = {name: [value[name] for value in values] for name in values[0]}
        base = {name: [value[name] for value in smallest] for name in smallest[0]}
        return [f"{scan.millions} M", f"{middle(column['drawn']) / MILLION:.2f} M", with_spread(column["frame"], 0),
                with_spread(ratios(column["frame"], base["frame"])), with_spread(column["first"]),
                with_spread(ratios(column["first"], base["first"])), with_spread(column["refined"])]

    table(f"Viewing (`quor_viewer --points {budget} --point-size 2`, {WIDTH} × {HEIGHT}, {rounds} rounds)",
          ["points", "drawn", "frame of an orbit, ms", f"/ {scans[0].millions} M", "start to first picture, s",
           f"/ {scans[0].millions} M", "start to refined picture, s"], [row(scan) for scan in scans])


def report_memory(programs, scans, gibibytes):
    rows = [[f"{scan.millions} M", f"{measure_memory(programs, scan, gibibytes) / 2**30:.2f}"] for scan in scans]
    table(f"Peak memory of the viewer (`--memory {gibibytes}`; program, libraries and software driver included)",
          ["points", "GiB"], rows)


def make(programs, scan):
    if not scan.path.exists():
        seconds_of([programs / "quor_make_scan", scan.path, "--points", str(scan.points)])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--programs", type=pathlib.Path, default=pathlib.Path("build/release/bin"))
    parser.add_argument("--folder", type=pathlib.Path, help="for scans and indexes; kept (default: a temporary one)")
    parser.add_argument("--points", type=int, nargs="+", default=[1, 10, 128], help="sizes of the scans in millions")
    parser.add_argument("--rounds", type=int, default=15)
    parser.add_argument("--budget", type=int, default=200_000, help="points in a frame")
    parser.add_argument("--memory", type=int, default=1, help="GiB, for the peak memory of the viewer")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="quor_scans_") as temporary:
        folder = options.folder or pathlib.Path(temporary)
        folder.mkdir(exist_ok=True)
        scans = [Scan(folder, millions) for millions in sorted(options.points)]
        for scan in scans:
            make(options.programs, scan)
        indexed = [scan for scan in scans if scan.points > 5 * MILLION]  # the viewer keeps smaller trees in memory
        report_build(options.programs, indexed, lambda scan: max(3, min(options.rounds, 150 // scan.millions)))
        report_view(options.programs, scans, options.rounds, options.budget)
        report_memory(options.programs, scans, options.memory)


if __name__ == "__main__":
    main()
