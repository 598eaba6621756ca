#!/usr/bin/env bash
# Installs what quor_osg_utils needs from the distribution's packages, and only what is missing.
#
#   scripts/setup.sh [run|test|checks]     default: test
#
# run     compiler, CMake, OpenSceneGraph, plog, CLI11, JSON, LASzip and a display rendered in software: builds and shows quor_viewer
# test    the same, and GoogleTest, Google Benchmark and xdotool, which moves the pointer over the real window
# checks  the same, and clang-format, clang-tidy and clang for the static checks and the second compiler
set -euo pipefail

. "$(dirname "$0")/packages.sh"

profile=${1:-test}
packages=(
  g++ cmake ninja-build pkg-config          # the tool chain
  libopenscenegraph-dev                     # the scene graph that the library extends
  libx11-dev                                # the viewer's window
  libcli11-dev                              # command lines of the programs
  nlohmann-json3-dev                        # the tour's record
  xvfb xauth libgl1-mesa-dri libglx-mesa0   # a display and OpenGL in software, where there is no screen
  fonts-dejavu-core                         # the viewer's status line
)
newer_packages=(
  libplog-dev                               # the log file
  liblaszip-dev                             # compressed scans in the viewer
)
case $profile in
  run) ;;
  test | checks)
    packages+=(libgtest-dev libgmock-dev    # tests
      libbenchmark-dev                      # benchmarks
      xdotool)                              # a real pointer over the real window
    ;;&
  checks) packages+=(clang clang-format clang-tidy) ;;
  test) ;;
  *) fail "'$profile' is not a profile; use run, test or checks" ;;
esac

command -v apt-get >/dev/null || fail "this script installs Debian packages, and apt-get is not on this machine;" \
  "install the equivalents of: ${packages[*]} ${newer_packages[*]}"

# Debian 12 has no plog, and its LASzip lacks the interface that the viewer uses; the packages of Debian 13 run on it.
# There, the successor's package source is added, pinned so that nothing else can ever come from it. The mirror is the
# one that this machine already uses.
allow_from_successor() {
  local sources=/etc/apt/sources.list.d/quor-debian-13.sources mirror
  [ -e $sources ] && return
  mirror=$(mirror_of bookworm)
  [ -n "$mirror" ] || fail "no Debian 12 mirror is configured on this machine, so $* cannot be found"
  printf 'setup.sh: adding the package source of Debian 13 for %s alone (%s)\n' "$*" $sources
  printf 'Package: *\nPin: release n=trixie\nPin-Priority: -1\n\nPackage: libplog-dev liblaszip*\nPin: release n=trixie\nPin-Priority: 500\n' |
    as_root tee /etc/apt/preferences.d/quor-debian-13 >/dev/null
  printf 'Types: deb\nURIs: %s\nSuites: trixie\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' "$mirror" |
    as_root tee $sources >/dev/null
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
