#!/usr/bin/env bash
# Builds and runs the benchmarks, and writes their sections of docs/performance.md with pictures. Each program measures ours
# and the others in turn, in at least 15 rounds. Takes a long time; results are most stable on an otherwise idle machine.
#
#   scripts/bench.sh [NAME...] [OPTION...]
#
# NAME     a program without its suffix, such as capture; default: all
# OPTION   of Google Benchmark, such as --benchmark_filter=random; the document is then left as it is
#
#   QUOR_BENCH_ROUNDS   least number of rounds; default: 15
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/displays.sh

names=() options=()
for argument in "$@"; do
  case $argument in
    -*) options+=("$argument") ;;
    *) names+=("$argument") ;;
  esac
done

scripts/setup.sh bench
QUOR_BENCHMARKS=ON cmake --preset release
cmake --build --preset release --target benchmarks

if [ ${#names[@]} -eq 0 ]; then
  mapfile -t names < <(cd build/release/bin && printf '%s\n' *_benchmark | sed 's/_benchmark$//')
fi
results=build/release/results
rm -rf "$results"
mkdir -p "$results"

export LIBGL_ALWAYS_SOFTWARE=1 OSG_NOTIFY_LEVEL=${OSG_NOTIFY_LEVEL:-WARN}
failed=()
for name in "${names[@]}"; do
  on_display "build/release/bin/${name}_benchmark" --benchmark_min_time=1 \
    --benchmark_out="$results/$name.json" --benchmark_out_format=json "${options[@]}" ||
    { failed+=("$name") && rm -f "$results/$name.json"; }
done

[ ${#options[@]} -gt 0 ] || benchmarks/report.py "$results"
[ ${#failed[@]} -eq 0 ] || { printf 'bench.sh: failed: %s\n' "${failed[*]}" >&2 && exit 1; }
