#!/usr/bin/env bash
# Builds and runs the benchmarks. Prints one line for each, with times in microseconds (_us) and the ratios between the
# variants. Results are most stable on an otherwise idle machine.
#
#   scripts/bench.sh [arguments of Google Benchmark, such as --benchmark_filter=random]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh test
cmake --preset release -B build/bench -DQUOR_BUILD_BENCHMARKS=ON -DQUOR_BUILD_VIEWER=OFF >/dev/null
cmake --build build/bench

for benchmark in depth_range files command node_selection; do
  "build/bench/bin/${benchmark}_benchmark" --benchmark_counters_tabular=true "$@"
done
env LIBGL_ALWAYS_SOFTWARE=1 xvfb-run -a -s '-screen 0 1920x1200x24 -nolisten tcp -noreset' \
  build/bench/bin/capture_benchmark --benchmark_counters_tabular=true "$@"
