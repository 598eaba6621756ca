# Virtual displays for tests. To be sourced in the repository's root folder.

# on_display COMMAND...: without access control, because each server has its own key.
on_display() { xvfb-run -a -s '-screen 0 1920x1200x24 -ac -noreset -nolisten tcp' "$@"; }

# on_displays COMMAND...: with several displays, which QUOR_DISPLAYS names. Tests that use the pointer mostly wait, and each
# waits for a display of its own. DISPLAY is one more, for the windows of all other tests.
display_count=3
on_displays() { QUOR_DISPLAYS= with_displays $display_count "$@"; }
with_displays() {
  local missing=$1
  shift
  export QUOR_DISPLAYS
  if [ "$missing" -eq 0 ]; then
    on_display "$@"
  else
    on_display bash -c '. scripts/displays.sh; QUOR_DISPLAYS+=" $DISPLAY" with_displays "$@"' -- $((missing - 1)) "$@"
  fi
}

# How many tests run at the same time: one more than there are processors, because many wait.
parallel_tests=$(($(nproc) + 1))
