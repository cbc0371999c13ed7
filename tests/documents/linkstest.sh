#!/usr/bin/env bash
# linkstest.sh SOURCES: every link in the documents that stays in the sources leads to a file, and to a heading where it
# names one.
# shellcheck disable=SC2016 # backquotes are Markdown's
set -euo pipefail
cd "$1"
export LC_ALL=C.UTF-8

# The anchors of a document, as GitHub makes them.
anchors() {
    sed '/^ *```/,/^ *```$/d' "$1" | sed -nE 's/^#+ +//p' | tr '[:upper:]' '[:lower:]' |
        sed -E 's/\]\([^)]*\)//g; s/[^[:alnum:] _-]//g; s/ /-/g' | awk '{ print $0 (seen[$0]++ ? "-" seen[$0] - 1 : "") }'
}

count=0 status=0
while IFS=: read -r document link; do
    target=${link%%#*} anchor=
    [[ $link != *'#'* ]] || anchor=${link#*#}
    count=$((count + 1)) file=$document
    [[ ! $target ]] || file=$(realpath -ms --relative-to=. "$(dirname "$document")/$target")
    if [[ ! -e $file || $file == ..* ]]; then
        echo "$document: $link leads nowhere" >&2 && status=1
    elif [[ $anchor ]] && ! anchors "$file" | grep -qxF -- "$anchor"; then
        echo "$document: $file has no heading #$anchor" >&2 && status=1
    fi
done < <(find . \( -name build -o -name node_modules \) -prune -o -name '*.md' -print | cut -c3- | sort | while read -r document; do
    sed -E '/^ *```/,/^ *```$/d; s/`[^`]*`//g' "$document" | { grep -oE '\]\([^) ]+\)|^\[[^]]+\]: .*' || true; } |
        sed -E "s#^\]\((.*)\)#\1#; s#^\[.*\]: *##; /^[a-z]+:/d; s#^#$document:#"
done)
echo "$count links"
((status == 0 && count > 0))
