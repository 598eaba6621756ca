#!/usr/bin/env bash
# Writes a simulated scan of 130 million points (over 4 GiB), opens it, which builds its index, within a memory budget, and
# checks the peak memory of the process. Takes several minutes. Writes the scan to TMPDIR and deletes it at the end.
#
#   scripts/large_scan.sh [POINTS] [GIB]      default: 130000000 points, 1 GiB
#
# The process may use the budget plus what a viewer without points uses.
set -euo pipefail
cd "$(dirname "$0")/.."

points=${1:-130000000}
budget_gib=${2:-1}
besides_kib=$((700 * 1024)) # program, libraries, software renderer, one mapped range

scripts/setup.sh run
cmake --preset release >/dev/null
cmake --build --preset release --target quor_viewer quor_make_scan

folder=$(mktemp -d "${TMPDIR:-/tmp}/quor_large_scan.XXXXXX")
trap 'rm -rf "$folder"' EXIT

echo "large_scan.sh: writing $points points"
build/release/bin/quor_make_scan "$folder/large.las" --points "$points" >/dev/null 2>&1
du -h --apparent-size "$folder/large.las"

# With several threads the software driver queues 2 GiB of frames, even for few points.
display=(env LIBGL_ALWAYS_SOFTWARE=1 LP_NUM_THREADS=0 xvfb-run -a -s '-screen 0 1920x1200x24 -noreset -nolisten tcp')
[ -z "${DISPLAY:-}" ] || display=()
# exec keeps the process number of the shell.
"${display[@]}" bash -c 'echo $$ >"$1/pid"; exec "${@:2}"' bash "$folder" \
  build/release/bin/quor_viewer "$folder/large.las" --index-dir "$folder/index" --memory "$budget_gib" --screenshot "$folder/large.png" \
  >"$folder/output" &
runner=$!

started=$SECONDS
peak_kib=0
while kill -0 $runner 2>/dev/null; do
  now=$(sed -n 's/^VmHWM:\s*\([0-9]*\) kB$/\1/p' "/proc/$(cat "$folder/pid" 2>/dev/null)/status" 2>/dev/null || true)
  [ "${now:-0}" -le "$peak_kib" ] || peak_kib=$now
  sleep 0.1
done
status=0
wait $runner || status=$?
cat "$folder/output"

most_kib=$(awk -v gib="$budget_gib" -v besides=$besides_kib 'BEGIN { printf "%d", gib * 1024 * 1024 + besides }')
ls -l "$folder/index" | awk 'NF > 8 { print "large_scan.sh: index of " $5 " bytes" }'
echo "large_scan.sh: exit status $status after $((SECONDS - started)) s, peak memory $((peak_kib / 1024)) MiB," \
  "limit $((most_kib / 1024)) MiB"
fail() { echo "large_scan.sh: $*" >&2; exit 1; }
[ $status -eq 0 ] || fail "the viewer failed"
[ -s "$folder/large.png" ] || fail "the viewer wrote no screenshot"
shown=$(sed -n 's/^loaded \([0-9]*\) points$/\1/p' "$folder/output")
decimation=$(sed -n 's/^showing every \([0-9,]*\)[a-z]* point of .*/\1/p' "$folder/output" | tr -d ,)
[ "${shown:-0}" -eq $(((points + ${decimation:-1} - 1) / ${decimation:-1})) ] || fail "not all points were loaded"
[ $peak_kib -gt 0 ] && [ $peak_kib -le "$most_kib" ] || fail "the peak memory exceeds the limit"
