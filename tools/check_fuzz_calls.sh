#!/bin/sh
# Every function that the library exports stands in the fuzzers' table of calls, and nothing else does.
# Usage: check_fuzz_calls.sh LIBRARY TABLE
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"${NM:-nm}" -D --defined-only "$1" | awk '$2 == "T" { sub(/@.*/, "", $3); print $3 }' | sort -u > "$work/exported"
sed -nE 's/^ *(CALL|OWN)\((\w+)[,)].*/\2/p' "$2" | sort > "$work/called"

bad=0
[ -s "$work/exported" ] || { echo "no function found in $1"; bad=1; }
for name in $(comm -23 "$work/exported" "$work/called"); do echo "missing: $name has no row in $2"; bad=1; done
for name in $(comm -13 "$work/exported" "$work/called"); do echo "extra: $name is no exported function, or twice there"; bad=1; done
[ $bad = 0 ] && echo "$(wc -l < "$work/called") functions, all in the table"
exit $bad
