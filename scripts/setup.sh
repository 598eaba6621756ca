#!/usr/bin/env bash
# Installs the missing packages that quor_osg_utils depends on.
#
#   scripts/setup.sh [run|test|checks|bench|packages|docs]     default: test
#
# run     to build and run quor_viewer: compiler, CMake, OpenSceneGraph, plog, CLI11, nlohmann-json, LASzip, zlib, and a
#         virtual display with a software renderer
# test    also GoogleTest, xdotool for the pointer in the tests of the viewer, help2man, and Qt 5 and 6 for an example
# checks  also clang-format, clang-tidy and clang, for static analysis and as the second compiler
# bench   what `run` needs, Google Benchmark, the libraries that the benchmarks compare with, gnuplot, Python and xdotool
# docs    only the tools for the documentation: Doxygen, Graphviz, Python
# packages  what `run` needs, and the tools that build, check and try the packages for Debian
set -euo pipefail

. "$(dirname "$0")/packages.sh"

profile=${1:-test}
packages=(
  g++ cmake ninja-build pkg-config          # toolchain
  libopenscenegraph-dev                     # scene graph
  libx11-dev                                # window of the viewer
  libcli11-dev                              # command-line options
  nlohmann-json3-dev                        # JSON: EPT scans, tour.json
  zlib1g-dev                                # checksums of indexes
  xvfb xauth libgl1-mesa-dri libglx-mesa0   # virtual display and software OpenGL
  fonts-dejavu-core                         # font of the viewer's status bar
)
newer_packages=(
  libplog-dev                               # log file
  liblaszip-dev                             # LAZ scans
)
case $profile in
  run) ;;
  test | checks)
    packages+=(libgtest-dev libgmock-dev    # tests
      xdotool                               # pointer and keys for the tests of the viewer
      help2man                              # man pages
      qtbase5-dev qt6-base-dev)             # example of a Qt widget
    # Debian 12 has a package of its own for the part of Qt 6 with the widget.
    [ "$(. /etc/os-release && printf '%s' "${ID:-}${VERSION_ID:-}")" != debian12 ] || packages+=(libqt6opengl6-dev)
    ;;&
  checks) packages+=(clang clang-tidy clang-format-16) ;; # each version of clang-format breaks lines differently
  bench)
    packages+=(libbenchmark-dev libgtest-dev # benchmarks; tests whose code they use
      libboost-dev libboost-iostreams-dev libtbb-dev libspdlog-dev qtbase5-dev # compared with
      gnuplot-nox python3 xdotool)          # pictures, tables, pointer
    ;;
  docs) packages=(doxygen graphviz python3) newer_packages=() ;;
  packages) packages+=(dpkg-dev file help2man lintian debootstrap) ;;
  test) ;;
  *) fail "unknown profile '$profile'; use run, test, checks, bench, docs or packages" ;;
esac

command -v apt-get >/dev/null || fail "this script needs apt-get, which is not installed;" \
  "install the equivalents of these Debian packages: ${packages[*]} ${newer_packages[*]}"

# Debian 12 has no plog, and its LASzip lacks the interface that the viewer uses. Debian 13 has both, and its packages run on
# Debian 12. So its package source is added on the same mirror, pinned so that only these packages can come from it.
allow_from_successor() {
  local sources=/etc/apt/sources.list.d/quor-debian-13.sources mirror
  [ -e $sources ] && return
  mirror=$(mirror_of bookworm)
  [ -n "$mirror" ] || fail "no Debian 12 mirror is configured on this machine; cannot install $*"
  printf 'setup.sh: adding the package source of Debian 13 for %s only (%s)\n' "$*" $sources
  successor_preferences | as_root tee /etc/apt/preferences.d/quor-debian-13 >/dev/null
  successor_sources "$mirror" | as_root tee $sources >/dev/null
  refreshed=no
}

install_missing "${packages[@]}"

mapfile -t missing < <(missing_of "${newer_packages[@]}")
if [ ${#missing[@]} -gt 0 ]; then
  refresh
  case "$(. /etc/os-release && printf '%s' "${ID:-}${VERSION_ID:-}")" in
    debian12) allow_from_successor "${missing[@]}" ;;
  esac
  install "${missing[@]}"
fi
