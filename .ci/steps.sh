# Runs the steps of a check. To be sourced by a script that defines `step_NAME` (a function) and `title_NAME` for each step.
#
#   run_steps NAME...   runs the steps and stops at the first that fails. At the end it prints a table of the steps with their
#                       durations, and then the summary of the last tests.

mkdir -p build/ci
rows=()

table() {
  local row
  printf '\n%-70s %s\n' step minutes
  for row in "${rows[@]}" "all:$SECONDS"; do
    printf '%-70s %4d:%02d\n' "${row%:*}" $((${row##*:} / 60)) $((${row##*:} % 60))
  done
}

# Builds for later steps run in the background at the lowest priority, because tests leave processors idle. `build_later
# NAME...` runs `build_NAME` for each, one after the other, and a step first calls `await_build NAME`. If a background build
# fails, the step builds again and shows the errors.
build_later() {
  local name
  rm -f build/ci/*.built
  set -m # a separate process group, so that the trap can end all of it
  (for name in "$@"; do
    (set -e && nice_build "$name") >"build/ci/build-$name.log" 2>&1 || true
    touch "build/ci/$name.built"
  done) </dev/null &
  builder=$!
  set +m
  trap 'kill -- "-$builder" 2>/dev/null || true' EXIT
}
nice_build() {
  renice -n 19 $BASHPID >/dev/null
  "build_$1"
}
await_build() {
  while [ -n "${builder:-}" ] && [ ! -e "build/ci/$1.built" ] && kill -0 "$builder" 2>/dev/null; do sleep 1; done
}

# The step runs in a subshell, where any failing command ends it.
run_step() {
  local title=title_$1 start=$SECONDS status=0
  printf '\n== %s (%d min in)\n' "${!title}" $((SECONDS / 60))
  set +e
  (set -e && "step_$1") 2>&1 | tee "build/ci/$1.log"
  status=$?
  set -e
  rows+=("${!title}:$((SECONDS - start))")
  [ "$status" -eq 0 ] && return
  table
  printf '\n%s: the step "%s" failed (exit status %d)\n' "$0" "$1" "$status" >&2
  exit "$status"
}

run_steps() {
  local name summary
  for name in "$@"; do run_step "$name"; done
  table
  for name in "$@"; do
    summary=$(sed -n '/^[0-9]*% tests passed/,$p' "build/ci/$name.log")
    [ -z "$summary" ] || last=$summary
  done
  printf '\n%s\n' "${last:-}"
}

# for_clang FOLDER [OPTION...]: configures a build whose commands clang-tidy can use. GCC's precompiled headers cannot be.
for_clang() {
  scripts/setup.sh checks
  cmake --preset dev -B "$@" -DCMAKE_CXX_COMPILER=clang++ -DQUOR_PRECOMPILED_HEADERS=OFF >/dev/null
}

# run_clang_tidy FOLDER [OPTION...]: on the files named on standard input.
run_clang_tidy() {
  xargs -r -P "$(nproc)" -n 1 clang-tidy -p "$1" --quiet --warnings-as-errors='*' "${@:2}" 2>&1 |
    { grep -v -E '^[0-9]+ warnings? generated|^$' || true; }
}

# units FOLDER: prints the file of a unity build that includes a source, or the source itself, for those named on standard
# input.
units() {
  local source
  while read -r source; do
    grep -rlF --include='unity_*.cxx' "\"$PWD/$source\"" "$1"/{src,scan,apps,examples} || printf '%s\n' "$source"
  done | sort -u
}

# tidy [OPTION...]: analyses the sources named on standard input. Several are analysed at once, because much of the time is
# spent on headers. Clang's analyser looks into sources that are included by another only if its path contains
# "UnifiedSource".
tidy() {
  local folder=build/UnifiedSources
  for_clang $folder -DCMAKE_UNITY_BUILD=ON
  units $folder | run_clang_tidy $folder --checks=-bugprone-suspicious-include "$@"
}

# compile_alone: checks that each of the sources named on standard input compiles by itself. clang-tidy needs one check of its
# own.
compile_alone() {
  for_clang build/alone
  run_clang_tidy build/alone --checks='-*,clang-diagnostic-*,readability-duplicate-include'
}

# Without the sources for Windows, which need its headers.
all_sources() { git ls-files 'src/*.cpp' 'scan/*.cpp' 'apps/*.cpp' 'examples/*.cpp' ':!:*Win32.cpp'; }
all_tests() { git ls-files 'tests/*.cpp' ':!:*Win32.cpp'; }
