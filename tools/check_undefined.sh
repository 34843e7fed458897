#!/bin/sh
# What the library takes from others is what the host provides, mathematics and moving memory: nothing that
# allocates, locks, throws, prints or asks the time, however rarely it would be called.
# Usage: check_undefined.sh LIBRARY INCLUDE_FOLDER    (77: an instrumented build, where this tells nothing)
set -eu
library=$1
include=$2
tools=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

{
    find "$include" -name '*.h' -exec awk -f "$tools/declared_names.awk" {} + | sed -n 's/^host //p'
    # the C library's mathematics, each also in single precision; sincos is the compiler's fusion of the two
    for name in sin cos tan asin acos atan atan2 sinh cosh tanh exp log log10 pow sqrt fabs fmod \
        floor ceil trunc round sincos; do
        echo "$name"
        echo "${name}f"
    done
    # memory, with the checked forms of fortified builds, and the stack protector
    for name in memcpy memset memmove memcmp __memcpy_chk __memset_chk __memmove_chk __stack_chk_fail; do
        echo "$name"
    done
    # the noise of the environment estimate draws on the process's own sequence; only other callers of rand could
    # hold the lock inside
    echo rand
    # what every shared object refers to, weakly
    for name in __cxa_finalize __gmon_start__ _ITM_registerTMCloneTable _ITM_deregisterTMCloneTable; do
        echo "$name"
    done
} | sed 'p; s/^/__wrap_/' | sort -u > "$work/allowed"  # a build for a real-time kernel takes some by these names
"${NM:-nm}" -D --undefined-only "$library" | awk '{ sub(/@.*/, "", $2); print $2 }' | sort -u > "$work/taken"

if grep -qE '^__(asan|ubsan|tsan|gcov)_' "$work/taken"; then
    echo "skipped: an instrumented build takes more than it ships with"
    exit 77
fi
foreign=$(comm -13 "$work/allowed" "$work/taken")
for name in $foreign; do echo "not allowed: $name"; done
[ -z "$foreign" ] && echo "$(wc -l < "$work/taken") undefined names, all allowed"
