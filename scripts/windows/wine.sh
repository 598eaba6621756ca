#!/usr/bin/env bash
# Runs one Windows program under wine: wine.sh FOLDERS PROGRAM [ARGUMENTS...]
# FOLDERS, separated by colons, are the install folders of the dependencies, whose DLLs the program loads. CMake runs the
# tests with this script.
set -euo pipefail
. "$(dirname "$0")/settings.sh"

# Prints a folder of this system as a path of Windows.
windows_path() { printf 'Z:%s;' "${1//\//\\}"; }

IFS=: read -ra prefixes <<<"$1"
shift
dll_folders=
for prefix in ${prefixes[@]+"${prefixes[@]}"}; do dll_folders+=$(windows_path "$prefix/bin"); done
for dll in libstdc++-6.dll libwinpthread-1.dll; do
  file=$($triple-g++-posix -print-file-name=$dll)
  dll_folders+=$(windows_path "$(realpath "${file%/*}")")
done
export WINEPATH=$dll_folders${WINEPATH:-}

# Takes one of the displays in QUOR_DISPLAYS, with the wine folder of its number, and waits until it is free. The programs do
# not inherit the lock, because wine's services outlive them.
take_display() {
  local number displays
  read -ra displays <<<"${QUOR_DISPLAYS:-}"
  while [ ${#displays[@]} -gt 0 ]; do
    for number in "${!displays[@]}"; do
      exec 9>"$WINEPREFIX-$number.lock"
      if flock --nonblock 9; then
        export DISPLAY=${displays[number]} WINEPREFIX=$WINEPREFIX-$number
        return
      fi
    done
    sleep 0.05
  done
}
take_display

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Wine's services inherit the standard output and outlive the program: the reader of a pipe would wait for them. The
# output therefore goes to files, which `tail` follows, so that it is shown even if the program is killed.
run() {
  local program status=0
  : >"$folder/out"
  : >"$folder/err"
  wine "$@" >"$folder/out" 2>"$folder/err" 9>&- &
  program=$!
  tail -s 0.1 -n +1 -f --pid=$program "$folder/err" >&2 9>&- &
  tail -s 0.1 -n +1 -f --pid=$program "$folder/out"
  wait $program || status=$?
  wait
  return $status
}

# About once in several thousand starts wine fails before the program begins, so there is no output. A failing test always
# has output.
status=0
run "$@" || status=$?
if [ $status -ne 0 ] && [ ! -s "$folder/out" ] && [ ! -s "$folder/err" ]; then
  printf '%s: %s failed without output (status %d); starting it again\n' "${0##*/}" "$1" $status >&2
  status=0
  run "$@" || status=$?
fi
exit $status
