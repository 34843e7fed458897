#!/bin/sh
# Installs the build into a folder of its own, builds the example against it as an outside project would, by CMake
# and by pkg-config, runs it and looks at its currents.
# Usage: package_test.sh BUILD_FOLDER WORK_FOLDER EXAMPLE_FOLDER COMPILER [CMAKE_ARGUMENT...]
# EMULATOR in the environment: what runs the programs of a cross build.
set -eu
build=$1
work=$2
example=$3
compiler=$4
shift 4
prefix=$work/prefix
rm -rf "$work"

cmake --install "$build" --prefix "$prefix" > "$work.log" || { cat "$work.log"; exit 1; }
cmake -S "$example" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" "$@"
cmake --build "$work/build"

# looks PROGRAM: six currents a line; the shoulder falls from the stretched arm to the upright one
looks() {
    # shellcheck disable=SC2086 # the emulator with its arguments
    ${EMULATOR:-} "$1" > "$work/out"
    cat "$work/out"
    awk '/^cycle/ {
            if (NF != 8) { print "not six currents: " $0; exit bad = 1 }
            shoulder[++lines] = $4 < 0 ? -$4 : $4
        }
        END {
            if (bad) exit 1
            if (lines != 6 || shoulder[1] < 200 || shoulder[6] > shoulder[1] / 10) { print "unexpected currents"; exit 1 }
        }' "$work/out"
}
looks "$work/build/minimal_host"

if ! command -v pkg-config > /dev/null; then
    echo "pkg-config is missing: its file is not checked"
    exit 1
fi
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name tarnforce.pc)")
export PKG_CONFIG_PATH
sanitize=$(printf '%s\n' "$@" | sed -n 's/^-DCMAKE_CXX_FLAGS=//p')
# shellcheck disable=SC2046,SC2086 # lists of arguments
"$compiler" -std=c++20 $sanitize "$example/main.cpp" -o "$work/by_pkg_config" \
    $(pkg-config --cflags --libs tarnforce-host) -Wl,-rpath,"$(pkg-config --variable=libdir tarnforce)"
looks "$work/by_pkg_config"
