#!/bin/sh
# Records the first seconds of a run of each kind, and plays it. Exit code 1 when anything differs.
# Usage: compare.sh TARNSIM FOLDER SECONDS PLAYER...    a player is one argument, its emulator included
set -u
tarnsim=$1
folder=$2
seconds=$3
shift 3
mkdir -p "$folder"
failed=0
for scenario in hold guide guide-regressor drag-lock move-dynamics collide record-replay drag press torque-drag \
    identify identify-friction; do
    recording=$folder/$scenario.tarnrec
    "$tarnsim" run "$scenario" --record "$recording" --record-seconds "$seconds" --out "$folder/out" \
        > "$folder/$scenario.log" 2>&1 || { cat "$folder/$scenario.log"; exit 2; }
    for player in "$@"; do
        $player "$recording" || failed=1
    done
    rm -f "$recording"
done
exit $failed
