#!/bin/sh
# The names that the headers declare for an owner are exported by its library, unmangled: with TARN_API for the
# library itself, which exports nothing else, and without it for a host.
# Usage: check_exports.sh LIBRARY INCLUDE_FOLDER [library|host]
set -eu
library=$1
include=$2
owner=${3:-library}
tools=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

find "$include" -name '*.h' -exec awk -f "$tools/declared_names.awk" {} + |
    sed -n "s/^$owner //p" | sort -u > "$work/declared"
# the address sanitizer sets a mark beside each exported datum
"${NM:-nm}" -D --defined-only "$library" |
    awk '{ sub(/@.*/, "", $3) } $3 !~ /^__odr_asan\./ { print $3 }' | sort -u > "$work/exported"

missing=$(comm -23 "$work/declared" "$work/exported")
extra=
[ "$owner" = host ] || extra=$(comm -13 "$work/declared" "$work/exported")
[ -s "$work/declared" ] || missing="(no declaration found in $include)"
for name in $missing; do echo "missing: $name is declared for the $owner and not exported"; done
for name in $extra; do echo "extra: $name is exported and not declared with TARN_API"; done
[ -z "$missing$extra" ] && echo "$(wc -l < "$work/declared") declared names, all exported"
