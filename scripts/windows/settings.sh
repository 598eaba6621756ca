# Where the scripts for Windows keep what is costly to make, and what they call by name: sourced.
windows_cache=${QUOR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quor_osg_utils/windows}
triple=x86_64-w64-mingw32
windows_packages=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev cmake ninja-build dpkg-dev googletest # to build
  wine wine64 locales unzip)                                                                         # to run

# Wine's own folder, with its registry: the tests of one checkout do not meet those of another. Never the user's own, since
# this one is made and removed as needed.
WINEPREFIX=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build/windows-wine
export WINEPREFIX
unset WINEARCH
export WINEDEBUG=${WINEDEBUG:--all}
# Without it a crash would start a debugger, which waits for someone.
export WINEDLLOVERRIDES=winedbg.exe=
# Without UTF-8 no name beyond ASCII reaches the file system; and the locale decides on the code page, so whatever this
# system's user has does not count.
export LC_ALL=${QUOR_WINDOWS_LOCALE:-C.UTF-8}
