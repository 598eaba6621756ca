#!/usr/bin/env bash
# Installs what is missing, builds for Windows, runs the tests there under wine, with OpenGL in software, makes the zip and
# tries the viewer in it. Arguments go to ctest, and then only those tests run: scripts/test-windows.sh -L unit
# With --build it only builds.
#
# With QUOR_CODE_PAGES=1 the tests of file names and of the log run again with other code pages. The first run builds the
# libraries that the project depends on, and keeps them (QUOR_WINDOWS_CACHE). docs/windows.md lists what wine cannot show.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/windows/settings.sh

# What CMake has found in other folders it would go on taking from there.
configure() {
  local folders=build/windows/prefixes
  [ "$(cat $folders 2>/dev/null)" = "$QUOR_WINDOWS_PREFIXES" ] || rm -f build/windows/CMakeCache.txt
  cmake --preset windows >/dev/null || fail "CMake could not configure the preset 'windows'"
  printf '%s\n' "$QUOR_WINDOWS_PREFIXES" >$folders
}

scripts/setup.sh test
install_missing "${windows_packages[@]}"
QUOR_WINDOWS_PREFIXES=$(scripts/windows/dependencies.sh)
export QUOR_WINDOWS_PREFIXES
configure
cmake --build --preset windows
[ "${1:-}" != --build ] || exit 0

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

# Wine says it is Windows 7 unless told otherwise. Without a window manager, which no virtual display has, each window would
# wait for one. And programs are not told which display shows their windows: the scene graph takes it for the number of one
# of Windows' screens.
prepare_wine() {
  local way
  way=$(declare -f prepare_wine | sha256sum)
  [ "$(cat "$WINEPREFIX/complete" 2>/dev/null)" = "$way" ] && return
  printf '%s: preparing %s\n' "${0##*/}" "$WINEPREFIX"
  rm -rf "$WINEPREFIX"
  {
    quietly env DISPLAY= wineboot --init &&
      quietly env DISPLAY= wine winecfg -v win10 &&
      quietly env DISPLAY= wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f &&
      quietly env DISPLAY= wine reg add 'HKCU\Environment' /v DISPLAY /d :0 /f
  } || fail "wine could not prepare $WINEPREFIX"
  printf '%s\n' "$way" >"$WINEPREFIX/complete"
}

on_display() { xvfb-run -a -s '-screen 0 1920x1200x24 -noreset -nolisten tcp' "$@"; }

run_tests() {
  start_wine
  on_display ctest --test-dir build/windows --output-on-failure --parallel "$(nproc)" --no-tests=error "$@"
}

# The tour's pictures as this system has them, for the test that compares.
make_pictures() {
  cmake --preset dev >/dev/null
  cmake --build --preset dev --target quor_viewer
  rm -rf build/windows-pictures
  on_display build/dev/bin/quor_viewer --size 480x270 --tour build/windows-pictures >/dev/null
  export QUOR_TOUR_PICTURES=$PWD/build/windows-pictures
}

# The zip unpacked elsewhere, without any folder of this checkout to find DLLs in.
try_zip() {
  local place zip
  rm -f build/windows/*.zip
  (cd build/windows && cpack >/dev/null)
  zip=$(ls "$PWD"/build/windows/*.zip)
  place=$(mktemp -d)
  unzip -q "$zip" -d "$place"
  (cd "$place" && quietly on_display timeout 300 env -u WINEPATH wine "$(find . -name quor_viewer.exe)" --size 480x270 --screenshot picture.png) ||
    fail "the viewer in $zip does not run"
  [ -s "$place/picture.png" ] || fail "the viewer in $zip makes no picture"
  rm -rf "$place"
  printf '%s: the viewer in %s runs where it is unpacked\n' "${0##*/}" "${zip##*/}"
}

mkdir -p build
trap stop_wine EXIT
prepare_wine
export LIBGL_ALWAYS_SOFTWARE=1 OSG_NOTIFY_LEVEL=${OSG_NOTIFY_LEVEL:-WARN}
[ $# -gt 0 ] || make_pictures
run_tests "$@"
[ $# -eq 0 ] || exit 0

try_zip

# Once more with other code pages, on which the names of files depend: as a Chinese Windows has it, and as those have it
# whose language has no code page of its own. Tests of Chinese names skip themselves where there is no such letter, and
# here there must be.
run_tests_with_code_page() {
  local page=$1 locales=$PWD/build/windows-locales
  export LOCPATH=$locales QUOR_WINDOWS_LOCALE=$2.UTF-8 LC_ALL=$2.UTF-8
  printf '%s: once more with code page %s\n' "${0##*/}" "$page"
  mkdir -p "$locales"
  quietly localedef -i "$2" -f UTF-8 "$locales/$LC_ALL" || fail "the locale $LC_ALL could not be made"
  run_tests -R '^(files_test|util_log_file_|scan_platform_test|ScansViewerTest\.aScanAndAPictureNamed)'
  ! grep -q 'encoding has no Chinese' build/windows/Testing/Temporary/LastTest.log || fail "wine has not taken code page $page"
}
[ -n "${QUOR_CODE_PAGES:-}" ] || exit 0
run_tests_with_code_page 936 zh_CN
run_tests_with_code_page 65001 hi_IN
