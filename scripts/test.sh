#!/usr/bin/env bash
# Installs missing packages, builds, and runs all tests. Passes its arguments to ctest: scripts/test.sh -L unit
#
# The tests open windows and move the pointer, so they run on a virtual display with a software renderer. Screenshots are
# then the same on every machine, and the user's own pointer is not moved.
#
#   QUOR_PRESET    preset to build; default: dev (others: asan, tsan, coverage)
#   QUOR_TARGETS   targets to build; default: all
#   QUOR_SCANS     folder with more scans for the tests; default: none
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/displays.sh

preset=${QUOR_PRESET:-dev}

scripts/setup.sh test
cmake --preset "$preset" >/dev/null || { echo "test.sh: CMake failed to configure the preset '$preset'" >&2; exit 1; }
cmake --build --preset "$preset" ${QUOR_TARGETS:+--target $QUOR_TARGETS}

export LIBGL_ALWAYS_SOFTWARE=1 OSG_NOTIFY_LEVEL=${OSG_NOTIFY_LEVEL:-WARN}
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp"

on_displays ctest --test-dir "build/$preset" --output-on-failure --no-tests=error --parallel "$parallel_tests" "$@"
