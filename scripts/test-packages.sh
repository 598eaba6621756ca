#!/usr/bin/env bash
# Builds the packages, installs them on fresh Debian systems (in folders, by debootstrap), tries them there and removes them.
#
#   scripts/test-packages.sh [CODENAME...]     default: the Debian release of this machine
#
# tests/package/root/try.sh runs in each system. Its pictures are copied to build/package/CODENAME.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

[ $# -gt 0 ] || set -- "$(. /etc/os-release && printf '%s' "$VERSION_CODENAME")"
scripts/package.sh

mirror=$(mirror_of "$(. /etc/os-release && printf '%s' "$VERSION_CODENAME")")
[ -n "$mirror" ] || fail "no Debian mirror is configured on this machine"

inside() { as_root chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

# remove_root: unmounts first, so that nothing of this machine is removed.
remove_root() {
  ! mountpoint -q "$root/proc" || as_root umount "$root/proc"
  as_root rm -rf --one-file-system "$root"
}

create_root() {
  local codename=$1
  printf '%s: a fresh %s in %s\n' "${0##*/}" "$codename" "$root"
  as_root debootstrap --variant=minbase "$codename" "$root" "$mirror" >build/package/debootstrap.log ||
    fail "debootstrap failed; see build/package/debootstrap.log"
  as_root mount -t proc proc "$root/proc"
  if [ "$codename" = bookworm ]; then
    successor_preferences | as_root tee "$root/etc/apt/preferences.d/quor-debian-13" >/dev/null
    successor_sources "$mirror" | as_root tee "$root/etc/apt/sources.list.d/quor-debian-13.sources" >/dev/null
  fi
}

try_release() {
  local codename=$1 results=build/package/$1
  root=$(mktemp -d "${TMPDIR:-/tmp}/quor_$codename.XXXXXX")
  chmod 755 "$root" # mktemp leaves out other users, and one of them runs the viewer
  trap remove_root EXIT
  create_root "$codename"
  as_root mkdir "$root/quor"
  as_root cp build/package/*.deb tests/package/root/try.sh tests/package/examples.txt scripts/check_links.py "$root/quor"
  as_root cp -r tests/package/consumer "$root/quor"
  inside bash /quor/try.sh || fail "the packages fail on $codename"
  rm -rf "$results"
  mkdir "$results"
  cp "$root"/quor/pictures/* "$results"
  remove_root
  trap - EXIT
  printf '%s: the packages work on %s\n' "${0##*/}" "$codename"
}

for codename in "$@"; do try_release "$codename"; done
