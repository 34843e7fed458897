#!/bin/sh
# Installs the Debian packages on a minimal Debian in a folder, from the mirror that this machine uses, with what they
# depend on: the simulator runs, and with the development files the examples build and run. Then removes them all.
# Needs root and the network. Usage: clean_root_test.sh PACKAGES_FOLDER ROOT_FOLDER
set -eu
packages=$1
root=$2
# shellcheck source=/dev/null
. /etc/os-release
fail() {
    echo "$*"
    exit 1
}
[ "$(id -u)" = 0 ] || fail "only root can make a root folder"
[ ! -e "$root" ] || fail "$root is there already"
# shellcheck disable=SC2016 # apt's own variables
mirror=$(apt-get indextargets --format '$(CODENAME) $(COMPONENT) $(SITE)' 'Created-By: Packages' |
    sed -n "s/^$VERSION_CODENAME main //p" | head -n 1)
[ -n "$mirror" ] || fail "no mirror of $VERSION_CODENAME among this machine's sources"

debootstrap --variant=minbase "$VERSION_CODENAME" "$root" "$mirror" > "$root.log" 2>&1 || { tail -n 20 "$root.log"; exit 1; }
cp /etc/resolv.conf "$root/etc/"
mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages"

# within COMMAND ...: in the root; logged COMMAND ...: the same, silently if all goes well
within() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive HOME=/root "$@"
}
logged() {
    within "$@" >> "$root.log" 2>&1 || { tail -n 20 "$root.log"; exit 1; }
}
within apt-get update -qq

mv "$root"/packages/*-dev_*.deb "$root/"
logged sh -c 'apt-get install -y -qq --no-install-recommends /packages/*.deb'
# shellcheck disable=SC2016 # dpkg's own variables
within dpkg-query -W -f '${Package} ${Version} ${Status}\n' 'libtarn*' tarnsim
[ -z "$(within dpkg --audit)" ] || fail "packages are left half installed"
within tarnsim run hold --out /tmp/run
within tarnsim export-model --robot-type 101 --format urdf --out /tmp/arm.urdf

mv "$root"/*-dev_*.deb "$root/packages/development.deb"
logged apt-get install -y -qq --no-install-recommends /packages/development.deb g++ cmake make pkg-config
within cp -r /usr/share/doc/libtarnforce-dev/examples /tmp/examples
within cmake -S /tmp/examples -B /tmp/build
within cmake --build /tmp/build
within /tmp/build/minimal_host/minimal_host
for main in "$root"/tmp/examples/*/main.cpp; do
    name=$(basename "$(dirname "$main")")
    [ "$name" = minimal_host ] || within "/tmp/build/$name" > "$root.out" || { cat "$root.out"; fail "$name failed"; }
done
# shellcheck disable=SC2016 # the inner shell's
within sh -c 'g++ -std=c++20 /tmp/examples/minimal_host/main.cpp -o /tmp/minimal $(pkg-config --cflags --libs tarnforce-host) && /tmp/minimal'

logged apt-get purge -y -qq 'libtarn*' tarnsim
left=$(find "$root" -path "$root/packages" -prune -o -path "$root/tmp" -prune -o -path "$root/proc" -prune -o -name '*tarn*' -print)
[ -z "$left" ] || fail "left behind: $left"
echo "clean root: pass"
