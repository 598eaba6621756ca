# Cross-compiles for 64-bit Windows with mingw-w64 and posix threads. Libraries, headers and packages are found only in
# mingw-w64's own folder and in CMAKE_PREFIX_PATH, never in those of this system.
set(CMAKE_SYSTEM_NAME Windows)
# With a minor number, because OpenSceneGraph's build reads the Windows version from it.
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_AR ${triple}-gcc-ar-posix CACHE FILEPATH "Archiver")
set(CMAKE_RANLIB ${triple}-gcc-ranlib-posix CACHE FILEPATH "Index of archives")

set(CMAKE_FIND_ROOT_PATH /usr/${triple} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/${triple}/lib/pkgconfig)

# Linked statically, so that programs need no further DLL.
set(ZLIB_LIBRARY /usr/${triple}/lib/libz.a CACHE FILEPATH "zlib")

# ctest and gtest_discover_tests run programs with it.
string(REPLACE ";" ":" folders "${CMAKE_PREFIX_PATH}")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../scripts/windows/wine.sh "${folders}")
