#!/usr/bin/env bash
# referencetest.sh SOURCES: Doxygen has nothing to complain of in the public headers, and every class in them says what it
# is for. Groups of members share a comment.
set -euo pipefail
cd "$1"
REFERENCE=$(mktemp -d)
export REFERENCE
trap 'rm -rf "$REFERENCE"' EXIT
warnings=$( (cat docs/Doxyfile && echo WARN_IF_UNDOCUMENTED=YES && echo WARN_AS_ERROR=NO) | doxygen - 2>&1 |
    grep -v 'warning: Member .* is not documented') || true
[[ -z $warnings ]] || { echo "$warnings" >&2 && exit 1; }
pages=("$REFERENCE"/class*.html)
echo "${#pages[@]} pages of classes"
grep -q 'called on many threads at once' "$REFERENCE/classHttpApplication.html"
