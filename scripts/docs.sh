#!/usr/bin/env bash
# Installs missing packages and builds the documentation in build/docs/html; any warning is an error. Then checks all links,
# also those of the Markdown files in this repository.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

scripts/setup.sh docs
QUOR_DOCS=build/docs
QUOR_VERSION=$(sed -n 's/^project(QuorOsgUtils VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export QUOR_DOCS QUOR_VERSION
rm -rf "$QUOR_DOCS"
mkdir -p "$QUOR_DOCS"
doxygen docs/Doxyfile || fail "the documentation has errors"
# Doxygen does not report a quote whose start or end it does not find in the example.
grep -l '<div class="fragment"></div>' "$QUOR_DOCS"/html/*.html && fail "quotes of examples on these pages are empty"
scripts/check_links.py "$QUOR_DOCS/html" README.md CONTRIBUTING.md CHANGELOG.md docs data
printf '%s: the documentation is in %s/html/index.html\n' "${0##*/}" "$QUOR_DOCS"
