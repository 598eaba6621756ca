#!/usr/bin/env bash
# Runs one Windows program under wine: wine.sh FOLDERS PROGRAM [ARGUMENTS...]
# FOLDERS, separated by colons, are those of the dependencies; their DLLs are found there. CMake runs the tests with it.
set -euo pipefail
. "$(dirname "$0")/settings.sh"

# A folder of this system as wine's programs see it.
seen_by_wine() { printf 'Z:%s;' "${1//\//\\}"; }

IFS=: read -ra prefixes <<<"$1"
shift
dll_folders=
for prefix in ${prefixes[@]+"${prefixes[@]}"}; do dll_folders+=$(seen_by_wine "$prefix/bin"); done
for dll in libstdc++-6.dll libwinpthread-1.dll; do
  file=$($triple-g++-posix -print-file-name=$dll)
  dll_folders+=$(seen_by_wine "$(realpath "${file%/*}")")
done
export WINEPATH=$dll_folders${WINEPATH:-}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Wine's services inherit the output and outlive the program: of a pipe, the reader would wait for them. So it goes to
# files, which are followed, for what a program has said before it is ended from outside.
run() {
  local program status=0
  : >"$folder/out"
  : >"$folder/err"
  wine "$@" >"$folder/out" 2>"$folder/err" &
  program=$!
  tail -s 0.1 -n +1 -f --pid=$program "$folder/err" >&2 &
  tail -s 0.1 -n +1 -f --pid=$program "$folder/out"
  wait $program || status=$?
  wait
  return $status
}

# Once in thousands of starts wine does not get as far as the program itself, which then has said nothing. No test fails
# without a word.
status=0
run "$@" || status=$?
if [ $status -ne 0 ] && [ ! -s "$folder/out" ] && [ ! -s "$folder/err" ]; then
  printf '%s: nothing was heard of %s (status %d); once more\n' "${0##*/}" "$1" $status >&2
  status=0
  run "$@" || status=$?
fi
exit $status
