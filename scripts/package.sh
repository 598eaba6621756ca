#!/usr/bin/env bash
# Installs missing packages, builds the packages of this project (Debian packages and an archive) and checks them with lintian.
# They are written to build/package.
#
#   QUOR_PACKAGE_OPTIONS   more options for CMake, such as -DBUILD_SHARED_LIBS=OFF -DQUOR_STATIC_LIBRARY_TOO=OFF
#   QUOR_PACKAGE_FOLDER    build folder; default: build/package
#   DEBFULLNAME, DEBEMAIL  name and address of the maintainer, for the field Maintainer
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

folder=${QUOR_PACKAGE_FOLDER:-build/package}
scripts/setup.sh packages

# Debian's flags, with all hardening. The programs are stripped, so debug information would be removed again.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_STRIP=-g
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
# The date of the last commit, so that the same sources give the same packages.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s)
export CXXFLAGS LDFLAGS SOURCE_DATE_EPOCH

scripts/docs.sh
cmake --preset package -B "$folder" -DQUOR_DOCUMENTATION="$PWD/build/docs/html" ${QUOR_PACKAGE_OPTIONS:-} >/dev/null ||
  fail "CMake failed to configure the preset 'package'"
cmake --build "$folder"
rm -f "$folder"/*.deb "$folder"/*.tar.gz
(cd "$folder" && cpack >/dev/null) || fail "cpack failed"

lintian=(lintian --fail-on error)
[ "$(id -u)" -ne 0 ] || lintian+=(--allow-root)
"${lintian[@]}" "$folder"/*.deb || fail "lintian reports errors in the packages"
ls -l "$folder"/*.deb "$folder"/*.tar.gz
