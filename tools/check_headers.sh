#!/bin/sh
# Each public header compiles on its own, and twice in a row.
# Usage: check_headers.sh INCLUDE_FOLDER COMPILER [ARGUMENT...]
set -eu
include=$1
shift
count=0
failed=0
for header in $(cd "$include" && find . -name '*.h' | sed 's|^\./||' | sort); do
    count=$((count + 1))
    printf '#include "%s"\n#include "%s"\n' "$header" "$header" |
        "$@" -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$include" -x c++ - ||
        { echo "does not stand alone: $header"; failed=1; }
done
[ "$count" -gt 0 ] || { echo "no header found in $include"; exit 1; }
[ "$failed" -eq 0 ] && echo "$count headers stand alone"
