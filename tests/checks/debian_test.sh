#!/bin/sh
# Makes the Debian packages of a build and looks into them: no file twice, a copyright each, names and versions that
# fit the libraries, every library that a file needs among the dependencies. Then unpacks them into an empty root,
# builds the minimal example there by CMake and by pkg-config and runs it, and the simulator.
# Usage: debian_test.sh BUILD_FOLDER WORK_FOLDER COMPILER
set -eu
build=$1
work=$2
compiler=$3
multiarch=$("$compiler" -print-multiarch)
root=$work/root
rm -rf "$work"
mkdir -p "$root"
for tool in dpkg-shlibdeps file pkg-config; do
    command -v $tool > /dev/null || { echo "$tool is missing"; exit 1; }
done
fail() {
    echo "$*"
    exit 1
}

(cd "$work" && cpack --config "$build/CPackConfig.cmake" -B "$work/packages" -D CPACK_THREADS=2) > "$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
if grep -i 'warning' "$work/log"; then fail "cpack warns"; fi

[ "$(find "$work/packages" -maxdepth 1 -name '*.deb' | wc -l)" = 4 ] || fail "not four packages: $(ls "$work/packages")"
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")/\1/p' "$build/CPackConfig.cmake")-1
: > "$work/files"
: > "$work/needs"
for deb in "$work"/packages/*.deb; do
    name=$(dpkg-deb -f "$deb" Package)
    [ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "$name is not of version $version"
    tree=$work/$name
    dpkg-deb -x "$deb" "$tree"
    dpkg-deb -x "$deb" "$root"
    [ -s "$tree/usr/share/doc/$name/copyright" ] || fail "$name has no copyright"
    find "$tree" ! -type d | sed "s|^$tree||" >> "$work/files"
    find "$tree" -type f -perm /022 | grep . && fail "$name: files that others may write"
    dpkg-deb -f "$deb" Depends | tr ',' '\n' | sed 's/^ *//; s/[ :].*//' > "$work/$name.depends"
    # shellcheck disable=SC2044 # no file has a space
    for file in $(find "$tree" -type f \( -name '*.so*' -o -path '*/bin/*' \)); do
        readelf -d "$file" | sed -n "s/.*(NEEDED).*\[\(.*\)\]/$name \1/p" >> "$work/needs"
        # shellcheck disable=SC2016 # the loader's
        case $(readelf -d "$file" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p') in
            '' | '$ORIGIN/'*) ;;
            *) fail "$file looks for libraries where it was built" ;;
        esac
    done
done
sort "$work/files" | uniq -d | grep . && fail "in two packages"

# The package that has a library: one of ours, or one of the machine's.
provider() {
    ours=$(find "$work" -path "$work/lib*/usr/lib/*" -name "$1" | sed "s|^$work/\([^/]*\)/.*|\1|" | head -n 1)
    [ -n "$ours" ] && { echo "$ours"; return; }
    dpkg -S "/lib/$multiarch/$1" "/usr/lib/$multiarch/$1" 2> /dev/null | sed 's/:.*//' | head -n 1
}
while read -r name library; do
    case $library in ld-linux*) continue ;; esac # the loader is the C library's
    package=$(provider "$library")
    [ -n "$package" ] || fail "$name needs $library, which no package has"
    [ "$package" = "$name" ] || grep -qx "$package" "$work/$name.depends" || fail "$name does not depend on $package, for $library"
done < "$work/needs"
grep -q '^tarnsim libtarnhost' "$work/needs" || fail "the simulator needs no reference host?"

libraries=$(dirname "$(find "$root/usr/lib" -name 'libtarnforce.so')")
for library in libtarnforce libtarnhost; do
    number=$(readelf -d "$libraries/$library.so" | sed -n 's/.*(SONAME).*\.so\.\([0-9]*\)]/\1/p')
    [ -s "$work/$library$number/${libraries#"$root"}/$library.so.$number" ] || fail "$library$number has no $library.so.$number"
done

# As a user's machine would, but with the root elsewhere.
example=$root/usr/share/doc/libtarnforce-dev/examples/minimal_host
cmake -S "$example" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_CXX_COMPILER="$compiler"
cmake --build "$work/cmake"
PKG_CONFIG_PATH=$libraries/pkgconfig
export PKG_CONFIG_PATH
# shellcheck disable=SC2046 # a list of arguments
"$compiler" -std=c++20 "$example/main.cpp" -o "$work/by_pkg_config" $(pkg-config --cflags --libs tarnforce-host)
LD_LIBRARY_PATH=$libraries
export LD_LIBRARY_PATH
"$work/cmake/minimal_host" > "$work/out"
"$work/by_pkg_config" | cmp - "$work/out"
[ "$(grep -c '^cycle' "$work/out")" = 6 ] || { cat "$work/out"; fail "unexpected output"; }
unset LD_LIBRARY_PATH
"$root/usr/bin/tarnsim" run hold --seconds 1 --out "$work/run"
