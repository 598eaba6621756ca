#!/usr/bin/env bash
# Builds the dependencies for Windows with mingw-w64, from the distribution's source packages. Each gets a folder in the
# cache, named after its version and a hash of the build commands, so only the first run takes minutes. Prints the folders
# separated by semicolons, for CMAKE_PREFIX_PATH.
#
#   QUOR_WINDOWS_CACHE   folder of the cache; default: ~/.cache/quor_osg_utils/windows
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../packages.sh"
. "$here/settings.sh"

# Name, installed package that determines the version, source package ("-": the installed package contains the sources), and
# whether the sources are taken with the distribution's patches (patched) or without them (original).
dependencies=(
  'libpng          libpng16-16            libpng1.6       patched'
  'freetype        libfreetype6           freetype        patched'
  'openscenegraph  libopenscenegraph-dev  openscenegraph  patched'
  'laszip          liblaszip-dev          laszip          original'
  'googletest      googletest             -'
  'plog            libplog-dev            -'
  'cli11           libcli11-dev           -'
  'nlohmann_json   nlohmann-json3-dev     -'
)

# Variables of the build functions: $source, the unpacked sources; $work, the build folder; $target, the install prefix;
# $prefixes, the folders of the dependencies built before.
configure() {
  cmake -S "$source" -B "$work" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$here/../../cmake/toolchains/mingw-w64.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefixes" -DCMAKE_INSTALL_PREFIX="$target" \
    -DZLIB_LIBRARY=/usr/$triple/lib/libz.a -DZLIB_INCLUDE_DIR=/usr/$triple/include "$@"
}

build_all() {
  configure "$@"
  cmake --build "$work"
  cmake --install "$work"
}

build_libpng() { build_all -DPNG_SHARED=OFF -DPNG_TESTS=OFF; }

build_freetype() {
  build_all -DFT_DISABLE_PNG=ON -DFT_DISABLE_ZLIB=ON -DFT_DISABLE_BZIP2=ON -DFT_DISABLE_BROTLI=ON -DFT_DISABLE_HARFBUZZ=ON
}

build_laszip() { build_all; }

build_googletest() { build_all; }

# copy_headers HEADERS CONFIG: copies a header-only library, so that no other header of this system is found with it.
copy_headers() {
  mkdir -p "$target/include" "$target/share/cmake"
  cp -r "/usr/include/$1" "$target/include"
  cp -r "/usr/share/cmake/$2" "$target/share/cmake"
}

build_plog() { copy_headers plog plog; }

build_cli11() { copy_headers CLI CLI11; }

build_nlohmann_json() { copy_headers nlohmann nlohmann_json; }

# C++14, because std::byte makes names in the Windows headers ambiguous. The atomics are set to those of the compiler,
# because CMake cannot run its test programs. Unity build and -O1 keep the build short.
build_openscenegraph() {
  local name options=() libraries=(OpenThreads osg osgUtil osgDB osgGA osgText osgViewer osgManipulator)
  local plugins=(png freetype)
  for name in "${plugins[@]}"; do options+=("-DBUILD_OSG_PLUGIN_${name^^}=1"); done
  for name in MIPOSPRO_BUILTINS SUN WIN32_INTERLOCKED BSD_ATOMIC; do options+=("-D_OPENTHREADS_ATOMIC_USE_$name=0"); done
  configure -DCMAKE_CXX_STANDARD=14 -DCMAKE_CXX_FLAGS_RELEASE='-O1 -DNDEBUG' -DCMAKE_UNITY_BUILD=ON \
    -DCMAKE_PROJECT_OpenSceneGraph_INCLUDE="$here/OpenSceneGraphUnity.cmake" \
    -DBUILD_OSG_APPLICATIONS=OFF -DBUILD_OSG_DEPRECATED_SERIALIZERS=OFF -DBUILD_OSG_PLUGINS_BY_DEFAULT=OFF \
    -D_OPENTHREADS_ATOMIC_USE_GCC_BUILTINS=1 "${options[@]}"
  cmake --build "$work" --target "${libraries[@]}" "${plugins[@]/#/osgdb_}"
  for name in "${libraries[@]}" "${plugins[@]/#/osgPlugins/}"; do cmake -P "$work/src/$name/cmake_install.cmake"; done
}

own=$(. /etc/os-release && printf '%s' "$VERSION_CODENAME")

# Few machines have source packages configured, so apt gets a separate configuration with the same mirrors. Packages that
# this release lacks come from Debian 13, without patches.
list_sources() {
  local apt=$1 release mirror
  # The mirror is known only after the first apt-get update.
  [ -n "$(mirror_of "$own")" ] || refresh
  [ -n "$(mirror_of "$own")" ] || fail "no Debian mirror for $own is configured on this machine, so the sources are not available"
  mkdir -p "$apt/lists/partial" "$apt/archives/partial"
  for release in "$own" trixie; do
    mirror=$(mirror_of "$release")
    [ -z "$mirror" ] ||
      printf 'deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s %s main\n' "$mirror" "$release"
  done >"$apt/sources.list"
  printf '%s;\n' "Dir::Etc::sourcelist \"$apt/sources.list\"" 'Dir::Etc::sourceparts "/dev/null"' \
    "Dir::State::lists \"$apt/lists\"" "Dir::Cache \"$apt\"" 'APT::Sandbox::User "root"' >"$apt/apt.conf"
  APT_CONFIG=$apt/apt.conf apt-get update -qq
}

# fetch SOURCE_PACKAGE patched|original: unpacks it as `source` in the current folder.
fetch() {
  local apt=$windows_cache/build.apt
  [ -e "$apt/apt.conf" ] || list_sources "$apt"
  if [ "$2" = patched ]; then
    APT_CONFIG=$apt/apt.conf apt-get source -qq "$1/$own"
    mv "$1"-*/ source
  else
    APT_CONFIG=$apt/apt.conf apt-get source -qq --tar-only "$1"
    mkdir source
    tar -xf "$1"_*.orig.tar.* -C source --strip-components 1
  fi
}

# make NAME FOLDER SOURCE_PACKAGE patched|original: the file `complete` marks a folder whose build has succeeded.
make() {
  local work source target scratch
  scratch=$(mktemp -d "$windows_cache/build.XXXXXX")
  work=$scratch/build source=/usr/src/$1 target=$2
  rm -rf "$target"
  if [ "$3" != - ]; then
    (cd "$scratch" && fetch "$3" "$4")
    source=$scratch/source
  fi
  "build_$1"
  touch "$target/complete"
  rm -rf "$scratch"
}

# version_of NAME PACKAGE: prints the version and a hash of the build commands.
version_of() {
  dpkg-query -W -f '${source:Version}-' "$2" | tr ':' '_'
  {
    declare -f configure build_all "build_$1"
    case $1 in
      openscenegraph) sed '/^#/d' "$here/OpenSceneGraphUnity.cmake" ;;
      plog | cli11 | nlohmann_json) declare -f copy_headers ;;
    esac
  } | sha256sum | cut -c 1-8
}

report_failure() {
  [ $? -eq 0 ] || [ -z "$log" ] || { tail -n 30 "$log"; fail "a dependency failed to build; the complete output is in $log"; } >&2
}

install_missing "${windows_packages[@]}" >&2
mkdir -p "$windows_cache"
exec 9>"$windows_cache/lock"
flock 9
rm -rf "$windows_cache"/build.*
log=
trap report_failure EXIT
prefixes=
for dependency in "${dependencies[@]}"; do
  read -r name package origin <<<"$dependency"
  folder=$windows_cache/$name-$(version_of "$name" "$package")
  if [ ! -e "$folder/complete" ]; then
    printf '%s: building %s for Windows\n' "${0##*/}" "${folder##*/}" >&2
    log=$windows_cache/$name.log
    make "$name" "$folder" $origin >"$log" 2>&1
  fi
  prefixes+=${prefixes:+;}$folder
done
rm -rf "$windows_cache"/build.*
printf '%s\n' "$prefixes"
