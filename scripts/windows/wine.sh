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

# Wine's services inherit the output and outlive the program: of a pipe, the reader would wait for them. So it goes to
# files, which are followed, for what a program has said before it is ended from outside.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
touch "$folder/out" "$folder/err"
wine "$@" >"$folder/out" 2>"$folder/err" &
program=$!
tail -s 0.1 -n +1 -f --pid=$program "$folder/err" >&2 &
tail -s 0.1 -n +1 -f --pid=$program "$folder/out"
status=0
wait $program || status=$?
wait
exit $status
