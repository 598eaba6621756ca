# Installs missing packages of the distribution. To be sourced by other scripts.

fail() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# as_root COMMAND...: every change of the system goes through this function.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    env DEBIAN_FRONTEND=noninteractive "$@"
  elif command -v sudo >/dev/null; then
    sudo env DEBIAN_FRONTEND=noninteractive "$@"
  else
    fail "installing packages requires root: run as root, or install sudo"
  fi
}

installed() { dpkg-query -W -f '${Status}' "$1" 2>/dev/null | grep -q 'ok installed'; }

refreshed=no
refresh() {
  [ $refreshed = yes ] && return
  as_root apt-get update -qq || fail "apt-get update failed; is the package mirror reachable?"
  refreshed=yes
}

install() {
  printf '%s: installing %s\n' "${0##*/}" "$*"
  refresh
  as_root apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 "$@" >/dev/null ||
    fail "apt-get could not install: $*"
}

# missing_of PACKAGE...: prints those that are not installed, one per line.
missing_of() {
  local package
  for package in "$@"; do
    installed "$package" || printf '%s\n' "$package"
  done
}

# install_missing PACKAGE...
install_missing() {
  local missing
  mapfile -t missing < <(missing_of "$@")
  [ ${#missing[@]} -eq 0 ] || install "${missing[@]}"
}

# mirror_of CODENAME: prints the URL of the mirror that this machine uses for that Debian release.
mirror_of() {
  apt-get indextargets --format '$(ORIGIN)|$(LABEL)|$(CODENAME)|$(REPO_URI)' | sed -n "s/^Debian|Debian|$1|//p" | head -n 1
}

# The package source of Debian 13, and the preferences that let Debian 12 take only these packages from it. Debian 12 has no
# plog, and its LASzip lacks the interface that the viewer uses.
successor_sources() {
  printf 'Types: deb\nURIs: %s\nSuites: trixie\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' "$1"
}
successor_preferences() {
  printf 'Package: *\nPin: release n=trixie\nPin-Priority: -1\n\nPackage: libplog-dev liblaszip*\nPin: release n=trixie\nPin-Priority: 500\n'
}
