#!/usr/bin/env bash
# Tries the Debian packages in /quor, as root on a fresh system; see scripts/test-packages.sh.
set -euo pipefail
cd /quor

fail() { printf 'try.sh: %s\n' "$*" >&2; exit 1; }
say() { printf 'try.sh: %s\n' "$*"; }
quietly() { "$@" >/quor/log 2>&1 || { tail -n 40 /quor/log >&2; fail "failed: $*"; }; }
# Unlike `grep -q` it reads all input, so that the program before it in a pipe does not fail.
contains() { grep "$@" >/dev/null; }
packages=$(for file in ./*.deb; do dpkg-deb -f "$file" Package; done)

# Names and types of all files of the system, except those that apt, dpkg and the shared caches of programs maintain.
files() {
  find / -xdev \( -path /quor -o -path /proc -o -path /tmp -o -path /dev -o -path /run -o -path /home -o -path /root \
    -o -path /var/cache -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /var/log \) -prune -o -printf '%y %p\n' | sort
}

remove() { quietly apt-get purge -y $packages; }

install_packages() { quietly apt-get install -y --no-install-recommends ./*.deb; }

# What the packages depend on, except each other, as one field of dependencies.
dependencies() {
  local file
  for file in ./*.deb; do dpkg-deb -f "$file" Depends; done |
    sed 's/, */\n/g' | grep -vE "^($(paste -sd '|' <<<"$packages"))( |$)" | sort -u | paste -sd ','
}

# Installs everything but the packages, so that the list of files that follows contains nothing of theirs.
prepare() {
  echo force-unsafe-io >/etc/dpkg/dpkg.cfg.d/quor # this system does not have to survive a power failure
  quietly apt-get update
  quietly apt-get install -y --no-install-recommends xvfb xauth xdotool x11-apps libgl1-mesa-dri fonts-dejavu-core \
    shared-mime-info desktop-file-utils libglib2.0-bin g++ make cmake pkg-config \
    qtbase5-dev python3-minimal libpython3-stdlib # for the example with a widget, and for the links
  quietly apt-get satisfy -y --no-install-recommends "$(dependencies)"
  useradd --create-home surveyor
}

as_user() { su surveyor -c "cd && LIBGL_ALWAYS_SOFTWARE=1 $*"; }
on_display() { as_user xvfb-run -a -s "'-screen 0 1280x800x24 -nolisten tcp'" "$@"; }

menu_command() { sed -n 's/^Exec=//p' /usr/share/applications/quor_viewer.desktop; }

# Opens the window with the menu's command, with a file in place of %F, takes a picture of the screen and quits by Ctrl+Q.
cat >/quor/open.sh <<'SCRIPT'
set -e
"$@" >viewer.log &
viewer=$!
window=$(timeout 120 xdotool search --sync --onlyvisible --class quor_viewer | head -n 1)
until grep -q '^loaded' viewer.log; do sleep 1; done
sleep 5
xwd -root -silent >screen.xwd
while kill -0 $viewer 2>/dev/null; do
  xdotool windowfocus "$window" key ctrl+q || true
  sleep 2
done
wait $viewer
SCRIPT
try_menu() {
  local scan=$1 picture=$2 command
  command=$(menu_command)
  say "the menu's command: $command${scan:+, with $scan}"
  on_display timeout 600 bash /quor/open.sh "${command/\%F/$scan}" || fail "the viewer fails with '$scan'"
  # A screen without the viewer has one colour.
  [ "$(tail -c +4000 /home/surveyor/screen.xwd | od -An -v -tx4 -w4 | sort -u | head -n 200 | wc -l)" -ge 200 ] ||
    fail "the viewer shows nothing with '$scan'"
  cp /home/surveyor/screen.xwd "/quor/pictures/$picture.xwd"
}

try_programs() {
  as_user quor_make_scan town.las --points 50000
  as_user quor_index town.las --index-dir index
  for page in quor_viewer quor_index quor_make_scan; do
    zcat /usr/share/man/man1/$page.1.gz | contains -- '\\-\\-help' || fail "the man page of $page lists no options"
  done
}

# type_of FILE, and the program that opens it, as desktops determine them.
try_types() {
  local name type
  for name in scan.las:application/vnd.las scan.laz:application/vnd.laszip scan.copc.laz:application/vnd.laszip+copc; do
    type=${name#*:} name=${name%:*}
    printf LASF >"/quor/$name"
    gio info -a standard::content-type "/quor/$name" | contains -F "content-type: $type" || fail "$name has another type than $type"
    gio mime "$type" | contains quor_viewer.desktop || fail "no program opens files of type $type"
  done
}

build() {
  local name=$1 source=$2
  shift 2
  say "builds: $name"
  quietly cmake -S "$source" -B "/quor/build/$name" -DCMAKE_BUILD_TYPE=Debug "$@"
  quietly cmake --build "/quor/build/$name"
}
try_consumers() {
  local example=-DCONSUMER_EXAMPLE=/usr/share/quor_osg_utils/examples/minimal/main.cpp uses
  for uses in find_package pkg-config; do
    for library in quor_osg_utils quor_osg_utils_static; do
      [ $library = quor_osg_utils ] || [ -e "$(echo /usr/lib/*/libquor_osg_utils_static.a)" ] || continue
      build "$uses-$library" /quor/consumer "$example" -DCONSUMER_USES="${uses#find_package}" -DCONSUMER_LIBRARY=$library
      (cd "/quor/build/$uses-$library" && quietly ./consumer)
      links_to_shared "$uses-$library" && shared=yes || shared=no
      [ $shared = "$([ $library = quor_osg_utils ] && echo "$expect_shared" || echo no)" ] || fail "$uses-$library uses the wrong library"
    done
  done
}
# Each example is a project that builds alone, outside the installed folder.
try_examples() {
  local folder name
  mkdir copied
  for folder in /usr/share/quor_osg_utils/examples/*/CMakeLists.txt; do
    folder=${folder%/*}
    name=${folder##*/}
    cp -r "$folder" copied
    build "copied-$name" "copied/$name"
  done
}
# Runs those whose output is known: see examples.txt.
run_examples() {
  local name expected argument
  while IFS='|' read -r name expected argument; do
    say "runs: $name"
    on_display "/quor/build/copied-$name/quor_$name" "$argument" </dev/null >log 2>&1 || { cat log >&2; fail "the example $name fails"; }
    contains -E -- "$expected" <log || { cat log >&2; fail "the example $name prints something else than '$expected'"; }
  done <examples.txt
}
links_to_shared() { ldd "/quor/build/$1/consumer" | contains libquor_osg_utils; }

mkdir -p pictures
say "installs the dependencies"
prepare
files >before
say "installs the packages"
install_packages
[ -e "$(echo /usr/lib/*/libquor_osg_utils.so)" ] && expect_shared=yes || expect_shared=no
try_programs
try_types
try_menu "" bundled
try_menu /home/surveyor/town.las town
try_consumers
try_examples
run_examples
[ -s /usr/share/doc/quor_osg_utils/html/index.html ] || fail "the documentation is not installed"
python3 -B check_links.py /usr/share/doc/quor_osg_utils || fail "links of the documentation lead nowhere"
say "removes the packages"
remove
files >after
diff before after || fail "the removal leaves files behind"
