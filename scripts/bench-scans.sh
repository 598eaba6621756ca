#!/usr/bin/env bash
# Measures building indexes and viewing scans of 1, 10 and 128 million points, and prints tables in Markdown. Takes about half
# an hour and 12 GiB of disk space in TMPDIR. Results are most stable on an otherwise idle machine.
#
#   scripts/bench-scans.sh [arguments of benchmarks/scans.py, such as --points 1 10 or --folder FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/displays.sh
. scripts/packages.sh

scripts/setup.sh test
install_missing python3
QUOR_BENCHMARKS=ON cmake --preset release >/dev/null
cmake --build --preset release

export LIBGL_ALWAYS_SOFTWARE=1
on_display benchmarks/scans.py "$@"
