#!/usr/bin/env bash
# Measures building indexes and viewing scans of 1, 10 and 128 million points, prints tables in Markdown, and writes them to
# docs/performance.md. Takes about half an hour and 12 GiB of disk space in TMPDIR. Results are most stable on an otherwise idle
# machine.
#
#   scripts/bench-scans.sh [arguments of benchmarks/scans.py, such as --points 1 10 or --folder FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/displays.sh

scripts/setup.sh bench
QUOR_BENCHMARKS=ON cmake --preset release >/dev/null
cmake --build --preset release

export LIBGL_ALWAYS_SOFTWARE=1
on_display benchmarks/scans.py "$@" | tee build/release/scans.md
benchmarks/report.py --section scans <build/release/scans.md
