#!/usr/bin/env bash
# Checks the syntax of every source of the Windows build with clang, and rejects the extensions of GCC and of Microsoft's
# compiler. Writes no files.
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/windows/settings.sh

install_missing clang
folder=$(realpath "$($triple-g++-posix -print-file-name=include)")
flags=(--target=x86_64-w64-windows-gnu -fsyntax-only -fno-ms-extensions -Wgnu -Wmicrosoft -Wno-unused-command-line-argument
  -nostdinc++ -isystem "$folder/c++" -isystem "$folder/c++/$triple" -isystem "/usr/$triple/include")

# Prints the compiler arguments of each source, one line per source, without the options that only GCC knows.
commands() {
  sed -n 's/^ *"command": "[^ ]* \(.*\)",\{0,1\}$/\1/p' build/windows/compile_commands.json |
    sed -e 's/\\\(["\\]\)/\1/g' -e 's/ -fno-keep-inline-dllexport//' -e 's/ -o [^ ]*//'
}

check() { (cd build/windows && eval "clang++ ${flags[*]} $1"); }
export -f check
commands | grep -E -- ' -c [^ ]*/(src|scan|apps|examples|tests)/' |
  xargs -d '\n' -P "$(nproc)" -n 1 bash -c "$(declare -p flags); check \"\$0\""
