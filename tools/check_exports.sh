#!/bin/sh
# The names that the headers declare with TARN_API are exactly those that the library exports, unmangled.
# Usage: check_exports.sh LIBRARY INCLUDE_FOLDER
set -eu
library=$1
include=$2
tools=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

find "$include" -name '*.h' -exec awk -f "$tools/declared_names.awk" {} + |
    sed -n 's/^library //p' | sort -u > "$work/declared"
"${NM:-nm}" -D --defined-only "$library" | awk '{ sub(/@.*/, "", $3); print $3 }' | sort -u > "$work/exported"

missing=$(comm -23 "$work/declared" "$work/exported")
extra=$(comm -13 "$work/declared" "$work/exported")
[ -s "$work/declared" ] || missing="(no declaration found in $include)"
for name in $missing; do echo "missing: $name is declared with TARN_API and not exported"; done
for name in $extra; do echo "extra: $name is exported and not declared with TARN_API"; done
[ -z "$missing$extra" ] && echo "$(wc -l < "$work/exported") exported names, as declared"
