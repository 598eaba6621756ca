# Settings of the scripts for Windows. To be sourced.
windows_cache=${QUOR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quor_osg_utils/windows}
triple=x86_64-w64-mingw32
windows_packages=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev cmake ninja-build dpkg-dev googletest # to build
  wine wine64 locales unzip)                                                                         # to run

# Wine's folder, with its registry. Each checkout has its own, so their tests do not interfere. The user's own wine folder is
# never used, because this one is removed and created as needed.
WINEPREFIX=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build/windows-wine
export WINEPREFIX
unset WINEARCH
export WINEDEBUG=${WINEDEBUG:--all}
# Otherwise a crash would start a debugger that waits for input.
export WINEDLLOVERRIDES=winedbg.exe=
# Wine needs UTF-8 for non-ASCII file names, and derives the code page from the locale, so the user's locale is replaced.
export LC_ALL=${QUOR_WINDOWS_LOCALE:-C.UTF-8}
