# Where the scripts for Windows keep what is costly to make: sourced.
windows_cache=${QUOR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quor_osg_utils/windows}
triple=x86_64-w64-mingw32
