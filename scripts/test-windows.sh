#!/usr/bin/env bash
# Installs what is missing, builds for Windows, and runs the tests there under wine, with OpenGL in software. Arguments go
# to ctest: scripts/test-windows.sh -L unit
#
# The first run builds the libraries that the project stands on, and keeps them (QUOR_WINDOWS_CACHE). Where wine shows
# less than a real Windows would: docs/windows.md.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/windows/settings.sh

scripts/setup.sh test
install_missing wine wine64 locales
QUOR_WINDOWS_PREFIXES=$(scripts/windows/dependencies.sh)
export QUOR_WINDOWS_PREFIXES
cmake --preset windows >/dev/null || fail "CMake could not configure the preset 'windows'"
cmake --build --preset windows

quietly() { "$@" </dev/null >/dev/null 2>&1; }

# Kept running between the programs, since each would wait for its start.
stop_wine() {
  quietly wineserver --kill || true
  quietly wineserver --wait
}
start_wine() {
  stop_wine
  quietly wineserver --persistent
}

# Wine says it is Windows 7 unless told otherwise. And without a window manager, which no virtual display has, each window
# would wait for one.
prepare_wine() {
  [ -e "$WINEPREFIX/complete" ] && return
  printf '%s: preparing %s\n' "${0##*/}" "$WINEPREFIX"
  rm -rf "$WINEPREFIX"
  quietly env DISPLAY= wineboot --init
  quietly env DISPLAY= wine winecfg -v win10
  quietly env DISPLAY= wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f
  touch "$WINEPREFIX/complete"
}

# The scene graph's windows ask for the display by number, and know the first one only.
run_tests() {
  start_wine
  xvfb-run -a -n 0 -s '-screen 0 1920x1200x24 -noreset -nolisten tcp' \
    ctest --test-dir build/windows --output-on-failure --parallel "$(nproc)" "$@"
}

mkdir -p build
trap stop_wine EXIT
prepare_wine
export LIBGL_ALWAYS_SOFTWARE=1 OSG_NOTIFY_LEVEL=${OSG_NOTIFY_LEVEL:-WARN}
run_tests "$@"

# As a Chinese Windows has it: names of files in code page 936.
locales=$PWD/build/windows-locales
[ -d "$locales" ] || { mkdir -p "$locales" && quietly localedef -i zh_CN -f UTF-8 "$locales/zh_CN.UTF-8"; }
printf '%s: once more with code page 936\n' "${0##*/}"
export LOCPATH=$locales LC_ALL=zh_CN.UTF-8
run_tests -R '^File(Cmd|Manager|Ptr)' --no-tests=ignore "$@"
