#!/usr/bin/env bash
# Installs missing packages, builds for Windows, runs the tests under wine with a software renderer, makes the zip and tests
# the viewer in it. With arguments it only builds and runs ctest with them: scripts/test-windows.sh -L unit
# With --build it only builds.
#
# With QUOR_CODE_PAGES=1 the tests of file names and of the log also run with other code pages. The first run builds the
# dependencies and keeps them in QUOR_WINDOWS_CACHE. docs/windows.md lists what wine cannot verify.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/windows/settings.sh
. scripts/displays.sh

# CMake caches the folders of the dependencies, so the cache is removed if they have changed.
configure() {
  local folders=build/windows/prefixes
  [ "$(cat $folders 2>/dev/null)" = "$QUOR_WINDOWS_PREFIXES" ] || rm -f build/windows/CMakeCache.txt
  cmake --preset windows >/dev/null || fail "CMake failed to configure the preset 'windows'"
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

# The wine server keeps running between the programs. Otherwise each program would wait for it to start.
each_wine() {
  local folder
  for folder in "$WINEPREFIX" "${wine_folders[@]}"; do
    [ ! -d "$folder" ] || WINEPREFIX=$folder quietly "$@"
  done
}
stop_wine() {
  each_wine wineserver --kill || true
  each_wine wineserver --wait
}
start_wine() {
  stop_wine
  copy_wine
  each_wine wineserver --persistent
}

# One for each display, because a wine folder has one desktop.
mapfile -t wine_folders < <(seq -f "$WINEPREFIX-%g" 0 $((display_count - 1)))
copy_wine() {
  local folder
  for folder in "${wine_folders[@]}"; do
    cmp -s "$WINEPREFIX/complete" "$folder/complete" && continue
    rm -rf "$folder"
    cp -a "$WINEPREFIX" "$folder"
  done
}

# Wine reports Windows 7 by default. A virtual display has no window manager, and a managed window would wait for one.
# Programs get a fixed DISPLAY, because OpenSceneGraph reads its number as a Windows screen number.
prepare_wine() {
  local commands
  commands=$(declare -f prepare_wine | sha256sum)
  [ "$(cat "$WINEPREFIX/complete" 2>/dev/null)" = "$commands" ] && return
  printf '%s: preparing %s\n' "${0##*/}" "$WINEPREFIX"
  rm -rf "$WINEPREFIX"
  {
    quietly env DISPLAY= wineboot --init &&
      quietly env DISPLAY= wine winecfg -v win10 &&
      quietly env DISPLAY= wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f &&
      quietly env DISPLAY= wine reg add 'HKCU\Environment' /v DISPLAY /d :0 /f
  } || fail "wine failed to prepare $WINEPREFIX"
  printf '%s\n' "$commands" >"$WINEPREFIX/complete"
}

run_ctest() {
  start_wine
  on_displays ctest --test-dir build/windows --output-on-failure --no-tests=error "$@"
}

# About once in several hundred tests with windows, wine loses a key or is late with the pointer on a busy machine. So one or
# two tests that fail may pass alone; more are not run again.
run_tests() {
  local failed=build/windows/Testing/Temporary/LastTestsFailed.log
  rm -f $failed
  run_ctest --parallel "$parallel_tests" "$@" && return
  [ -s $failed ] && [ "$(wc -l <$failed)" -le 2 ] || return 1
  printf '%s: running again, alone: %s\n' "${0##*/}" "$(cut -d: -f2 $failed | paste -sd ' ')"
  run_ctest --rerun-failed
}

# The tour's screenshots on this system, for PicturesViewerTest.
make_pictures() {
  local preset=${QUOR_PRESET:-dev}
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target quor_viewer
  rm -rf build/windows-pictures
  on_display "build/$preset/bin/quor_viewer" --size 480x270 --tour build/windows-pictures >/dev/null
  export QUOR_TOUR_PICTURES=$PWD/build/windows-pictures
}

# check_licences FOLDER: each DLL in the zip has a line in the table of licences, unless it is the library of this project, and
# each text in the table is there. The plugins have one line for their folder.
check_licences() {
  local table file
  table=$(find "$1" -path '*/licences/CONTENTS.txt')
  [ -n "$table" ] || fail "the zip contains no licences"
  for file in $(find "$1" -name '*.dll' ! -path '*/osgPlugins-*' ! -name '*quor_osg_utils.dll' -printf '%f\n'); do
    grep -qF "$file" "$table" || fail "the licence of $file is missing in the zip"
  done
  for file in $(sed -n 's/^    //p' "$table"); do
    [ -s "${table%/*}/$file" ] || fail "the licence text $file is missing in the zip"
  done
}

# Unpacks the zip in another folder, where no DLL of this checkout can be found.
try_zip() {
  local place zip
  rm -f build/windows/*.zip
  (cd build/windows && cpack >/dev/null)
  zip=$(ls "$PWD"/build/windows/*.zip)
  place=$(mktemp -d)
  unzip -q "$zip" -d "$place"
  (cd "$place" && quietly on_display timeout 300 env -u WINEPATH wine "$(find . -name quor_viewer.exe)" --size 480x270 --screenshot picture.png) ||
    fail "the viewer in $zip fails"
  [ -s "$place/picture.png" ] || fail "the viewer in $zip writes no screenshot"
  check_licences "$place"
  rm -rf "$place"
  printf '%s: the unpacked viewer of %s works\n' "${0##*/}" "${zip##*/}"
}

mkdir -p build
trap stop_wine EXIT
prepare_wine
export LIBGL_ALWAYS_SOFTWARE=1 OSG_NOTIFY_LEVEL=${OSG_NOTIFY_LEVEL:-WARN}
[ $# -gt 0 ] || make_pictures
run_tests "$@"
[ $# -eq 0 ] || exit 0

try_zip

# File names depend on the code page, so their tests also run with 936 (Chinese Windows) and with UTF-8. Tests of Chinese
# names are skipped in code pages without Chinese characters; these two have them.
run_tests_with_code_page() {
  local page=$1 locales=$PWD/build/windows-locales
  export LOCPATH=$locales QUOR_WINDOWS_LOCALE=$2.UTF-8 LC_ALL=$2.UTF-8
  printf '%s: tests with code page %s\n' "${0##*/}" "$page"
  mkdir -p "$locales"
  quietly localedef -i "$2" -f UTF-8 "$locales/$LC_ALL" || fail "localedef failed to create the locale $LC_ALL"
  run_tests -R '^(files_test|util_log_file_|scan_platform_test|ScansViewerTest\.aScanAndAPictureNamed)'
  ! grep -q 'encoding has no Chinese characters' build/windows/Testing/Temporary/LastTest.log || fail "wine did not use code page $page"
}
[ -n "${QUOR_CODE_PAGES:-}" ] || exit 0
run_tests_with_code_page 936 zh_CN
run_tests_with_code_page 65001 hi_IN
