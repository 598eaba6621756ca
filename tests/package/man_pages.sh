#!/bin/sh
# man_pages.sh FOLDER PROGRAM...: compares the options in each program's man page, in FOLDER, with those in its --help.
set -eu
folder=$1
shift
options() { grep -oE -- '(^|[ ,])--[a-z][a-z-]+' | tr -d ' ,' | sort -u; }
for program in "$@"; do
  page=$folder/${program##*/}.1
  in_help=$("$program" --help | options)
  in_page=$(sed -e 's/\\-/-/g' -e 's/\\f[A-Z]/ /g' "$page" | options)
  [ "$(echo "$in_help" | wc -l)" -ge 4 ] || { echo "$program --help lists only: $in_help"; exit 1; }
  [ "$in_help" = "$in_page" ] || { echo "--help of ${program##*/} lists: $in_help"; echo "$page lists: $in_page"; exit 1; }
  for section in NAME SYNOPSIS DESCRIPTION EXAMPLES; do
    grep -qx "\.SH $section" "$page" || { echo "$page has no section $section"; exit 1; }
  done
done
