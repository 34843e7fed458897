#!/bin/sh
# Exit codes and files of the program: tarnsim_test.sh PROGRAM
set -u
tarnsim=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failed=0

# expect CODE ARGUMENT ...
expect() {
    code=$1
    shift
    "$tarnsim" "$@" >"$folder/text" 2>&1
    got=$?
    if [ "$got" != "$code" ]; then
        echo "tarnsim $*: exit code $got, not $code"
        cat "$folder/text"
        failed=1
    fi
}

# says TEXT: of the last run
says() {
    grep -q -e "$1" "$folder/text" || { echo "no '$1' in:"; cat "$folder/text"; failed=1; }
}

expect 0 list
for name in hold guide move record-replay sensor-alarm weigh collide static-collide false-alarm force-collide \
    identify identify-load identify-load-dynamic identify-friction natural-frequency \
    drag wall singular torque-drag press press-gains polish hold-dynamics guide-dynamics move-dynamics; do
    says "$name"
done
expect 0 --help
expect 0 run hold --seconds 2 --robot-type 1001 --mount ceiling --load 20 --out "$folder/a"
says a/hold.html
[ -s "$folder/a/hold.html" ] && [ -s "$folder/a/hold.csv" ] || { echo "no files"; failed=1; }
[ "$(head -c 12 "$folder/a/hold.csv")" = time_s,jC_de ] || { echo "no heading row"; failed=1; }
expect 0 run hold-dynamics --seconds 2 --robot-type 902 --out "$folder/d"
expect 2 run --all --record "$folder/r" --out "$folder/c"
expect 1 run hold --seconds 2 --load 2 --load-error 1 --out "$folder/c"
says FAIL
[ -s "$folder/c/hold.html" ] || { echo "no page of a failed run"; failed=1; }
for format in mjcf urdf; do
    expect 0 export-model --robot-type 3 --format $format --out "$folder/arm.$format"
    says 'note: Link 6 has moments'
    grep -q 'Note: Link 6 has moments' "$folder/arm.$format" || { echo "no note in $format"; failed=1; }
done
expect 0 export-model --robot-type 101 --torque-model 0
says '<mujoco model="arm_101">'

expect 0 run --all --seconds 2 --seed 3 --jobs 2 --out "$folder/b"
[ "$(sed -n 's/^\([a-z-]*\): pass$/\1/p' "$folder/text")" = "$("$tarnsim" list | awk '{print $1}')" ] ||
    { echo "not in the order of the list"; cat "$folder/text"; failed=1; }
[ -s "$folder/b/index.html" ] || { echo "no index"; failed=1; }

# campaigns: the plots find what the scenarios tell
expect 0 campaign --scenarios hold --seconds 0.2 --loads 0,1 --pages all --out "$folder/e"
says '2 cells pass'
[ -s "$folder/e/pages/1-hold.html" ] || { echo "no page of a cell"; failed=1; }
expect 0 campaign --preset detection --robot-types 101 --seeds 0 --out "$folder/f"
expect 0 campaign --preset false-alarm-hour --robot-types 101 --seeds 1 --seconds 1 --out "$folder/g"
for plot in f/plots/detection-time f/plots/detection-force f/plots/largest-force f/plots/hand-time \
    f/plots/smallest-push f/plots/static-push g/plots/false-alarms g/plots/false-alarm-share; do
    grep -q '<circle class="mark" ' "$folder/$plot.svg" || { echo "nothing in $plot.svg"; failed=1; }
done
expect 1 campaign --scenarios hold --seconds 0.2 --friction 0,1 --out "$folder/h"
expect 2 campaign --scenarios hold --seconds 0.3 --friction 0,1 --out "$folder/h"
says 'another campaign'
expect 2 campaign
expect 2 campaign --preset dance
expect 2 campaign --merge "$folder/h" --seeds 1
expect 2 campaign --merge "$folder/h" --shard 1/2
expect 2 run --all --jobs 0

expect 2
expect 2 dance
expect 2 run
expect 2 run dance
says dance
expect 2 run hold --all
expect 2 run hold --fast
for type in 704 802 902 -1 1501 x; do expect 2 run hold --robot-type $type; done
for load in -1 nan inf x; do expect 2 run hold --load $load; done
expect 2 run hold --load 1 --load-error -2
expect 2 run hold --mount attic
expect 2 run hold --tilt 10 20
expect 2 run hold --mount tilted --tilt 10
expect 2 run hold --seconds 0
expect 2 run hold --seconds 1 --out /dev/null/x
expect 2 export-model
for type in 704 -1 1501 x; do expect 2 export-model --robot-type $type; done
expect 2 export-model --robot-type 902 --torque-model 0
expect 2 export-model --robot-type 101 --torque-model 1
expect 2 export-model --robot-type 101 --format stl
expect 2 export-model --robot-type 101 --out /dev/null/x
[ ! -e /dev/full ] || {
    "$tarnsim" export-model --robot-type 101 >/dev/full 2>/dev/null
    [ $? = 2 ] || { echo "a full disk goes unnoticed"; failed=1; }
}
exit $failed
