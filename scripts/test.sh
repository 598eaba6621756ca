#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. Arguments go to ctest: scripts/test.sh -L unit
#
# The tests open windows and move a pointer, so they always run on a virtual display of their own, with OpenGL in
# software: the same picture on every machine, and nobody's pointer is taken.
# QUOR_PRESET chooses another preset than `dev` (asan, tsan, coverage); QUOR_TARGETS builds these alone; QUOR_SCANS names
# a folder of further scans.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${QUOR_PRESET:-dev}

scripts/setup.sh test
cmake --preset "$preset" >/dev/null || { echo "test.sh: CMake could not configure the preset '$preset'" >&2; exit 1; }
cmake --build --preset "$preset" ${QUOR_TARGETS:+--target $QUOR_TARGETS}

export LIBGL_ALWAYS_SOFTWARE=1 OSG_NOTIFY_LEVEL=${OSG_NOTIFY_LEVEL:-WARN}
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp"
exec xvfb-run -a -s '-screen 0 1920x1200x24 -noreset -nolisten tcp' \
  ctest --test-dir "build/$preset" --output-on-failure --parallel "$(nproc)" "$@"
