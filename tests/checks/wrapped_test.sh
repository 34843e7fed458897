#!/bin/sh
# What a library linked with wrapped functions takes from outside: wrapped_test.sh LIBRARY
set -eu
taken=$("${NM:-nm}" -D --undefined-only "$1" | awk '{ sub(/@.*/, "", $2); print $2 }')
for name in rand exp; do
    echo "$taken" | grep -qx "__wrap_$name" || { echo "$name is not wrapped"; exit 1; }
    if echo "$taken" | grep -qx "$name"; then echo "$name is taken, too"; exit 1; fi
done
for name in malloc free usleep gettimeofday puts; do
    echo "$taken" | grep -qx "__wrap_$name" || { echo "$name has no kernel's form"; exit 1; }
done
