#!/usr/bin/env bash
# Reads every source of the build for Windows with clang as well, which takes no construct for granted that only GCC has:
# its extensions, and those that it knows of Microsoft's compiler, are errors here. Nothing is written.
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/windows/settings.sh

install_missing clang
folder=$(realpath "$($triple-g++-posix -print-file-name=include)")
flags=(--target=x86_64-w64-windows-gnu -fsyntax-only -fno-ms-extensions -Wgnu -Wmicrosoft -Wno-unused-command-line-argument
  -nostdinc++ -isystem "$folder/c++" -isystem "$folder/c++/$triple" -isystem "/usr/$triple/include")

# One line for each source, as the shell reads it, without the compiler's name and what only that compiler knows.
commands() {
  sed -n 's/^ *"command": "[^ ]* \(.*\)",\{0,1\}$/\1/p' build/windows/compile_commands.json |
    sed -e 's/\\\(["\\]\)/\1/g' -e 's/ -fno-keep-inline-dllexport//' -e 's/ -o [^ ]*//'
}

check() { (cd build/windows && eval "clang++ ${flags[*]} $1"); }
export -f check
commands | grep -E -- ' -c [^ ]*/(src|scan|apps|examples|tests)/' |
  xargs -d '\n' -P "$(nproc)" -n 1 bash -c "$(declare -p flags); check \"\$0\""
