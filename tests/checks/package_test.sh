#!/bin/sh
# Installs the build into a folder of its own, builds the examples against it as an outside project would, by CMake
# and by pkg-config, and runs them: the currents of the minimal host are looked at, the others claim what they show.
# Usage: package_test.sh BUILD_FOLDER WORK_FOLDER EXAMPLES_FOLDER COMPILER [CMAKE_ARGUMENT...]
# EMULATOR in the environment: what runs the programs of a cross build.
set -eu
build=$1
work=$2
examples=$3
compiler=$4
shift 4
prefix=$work/prefix
rm -rf "$work"

cmake --install "$build" --prefix "$prefix" > "$work.log" || { cat "$work.log"; exit 1; }
cmake -S "$examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" "$@"
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
# claims PROGRAM: it returns 0, and has claimed something
claims() {
    # shellcheck disable=SC2086 # the emulator with its arguments
    ${EMULATOR:-} "$1" > "$work/out" || { cat "$work/out"; echo "$1 failed"; exit 1; }
    cat "$work/out"
    grep -qF '[ok]' "$work/out" || { echo "$1 claims nothing"; exit 1; }
}

# runs FOLDER: all of the examples, each in FOLDER/NAME/NAME or FOLDER/NAME
runs() {
    for name in $names; do
        program=$1/$name
        [ -d "$program" ] && program=$program/$name
        echo "---- $program"
        case $name in
            minimal_host) looks "$program" ;;
            *) claims "$program" ;;
        esac
    done
}
names=$(cd "$examples" && for main in */main.cpp; do dirname "$main"; done)
runs "$work/build"

if ! command -v pkg-config > /dev/null; then
    echo "pkg-config is missing: its file is not checked"
    exit 1
fi
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name tarnforce.pc)")
export PKG_CONFIG_PATH
sanitize=$(printf '%s\n' "$@" | sed -n 's/^-DCMAKE_CXX_FLAGS=//p')
mkdir "$work/by_pkg_config"
for name in $names; do
    case $name in
        static_host) package=tarnforce ;; # its own host
        *) package=tarnforce-host ;;
    esac
    # shellcheck disable=SC2046,SC2086 # lists of arguments
    "$compiler" -std=c++20 $sanitize "$examples/$name/main.cpp" -o "$work/by_pkg_config/$name" \
        $(pkg-config --cflags --libs $package) -Wl,-rpath,"$(pkg-config --variable=libdir tarnforce)"
done
runs "$work/by_pkg_config"
