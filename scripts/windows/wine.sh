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
for dll in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
  dll_folders+=$(seen_by_wine "$(dirname "$($triple-g++-posix -print-file-name=$dll)")")
done

export WINEPREFIX=${WINEPREFIX:-$windows_cache/wine}
export WINEPATH=$dll_folders${WINEPATH:-}
export WINEDEBUG=${WINEDEBUG:--all}
# Without it a crash would start a debugger, which waits for someone.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-winedbg.exe=}
# Without UTF-8 no name beyond ASCII reaches the file system.
export LC_ALL=${LC_ALL:-C.UTF-8}

# Wine's services inherit the output and outlive the program: through a pipe, its reader would wait for them.
output=$(mktemp)
errors=$(mktemp)
trap 'cat "$output"; cat "$errors" >&2; rm -f "$output" "$errors"' EXIT
wine "$@" >"$output" 2>"$errors"
