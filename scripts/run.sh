#!/usr/bin/env bash
# Installs missing packages, builds, and opens the bundled scan in quor_viewer. Passes its arguments to the viewer:
#   scripts/run.sh my_scan.laz
# Without a display, it runs the viewer's tour on a virtual display and writes the screenshots to tour/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh run
[ -e build/release/build.ninja ] || cmake --preset release >/dev/null ||
  { echo "run.sh: CMake failed to configure the preset 'release'" >&2; exit 1; }
cmake --build --preset release --target quor_viewer quor_make_scan

viewer=build/release/bin/quor_viewer
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  exec "$viewer" "$@"
fi
case " $* " in
  *" --tour"* | *" --screenshot"* | *" --help "* | *" --version "*) tour=() ;;
  *)
    echo "run.sh: no display found; running the tour on a virtual display, screenshots go to tour/"
    tour=(--tour tour)
    ;;
esac
exec env LIBGL_ALWAYS_SOFTWARE=1 xvfb-run -a -s '-screen 0 1920x1200x24 -noreset -nolisten tcp' "$viewer" "${tour[@]}" "$@"
