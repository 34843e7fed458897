#!/bin/sh
# Includes between the folders of src/ go downward only, and never to the host or the simulator.
# Usage: check_layers.sh SOURCE_FOLDER INCLUDE_FOLDER
set -eu
src=$1
include=$2

grep -rnE '^[[:space:]]*#[[:space:]]*include' "$src" --include='*.h' --include='*.cpp' | awk -v src="$src" -v include="$include" '
BEGIN {
    # folder, and its height: an include goes to a lower one, or stays in its own folder
    rows = "cycle 5,friction 4,guiding 4,collision 4,sensor 4,force_control 4,identification 4,status 4," \
           "dynamics 3,numeric 2,model 1,support 0"
    n = split(rows, list, ",")
    for (i = 1; i <= n; i++) { split(list[i], pair, " "); height[pair[1]] = pair[2] }

    # headers of subsystems that own state which other subsystems share
    shared["collision/after_collision.h"]
    shared["collision/reactions.h"]
    shared["sensor/base_frame_snapshot.h"]
}
function exists(path,    line, found) {
    found = (getline line < path) >= 0
    close(path)
    return found
}
{
    count++
    match($0, /:[0-9]+:/)
    place = substr($0, 1, RSTART + RLENGTH - 2)
    file = substr($0, length(src) + 2, RSTART - length(src) - 2)
    from = file ~ /\// ? substr(file, 1, index(file, "/") - 1) : ""
    text = substr($0, RSTART + RLENGTH)

    if (text ~ /[<"\/](tarnhost|host|sim|tarnsim|mujoco|kdl)\//) { wrong("the library knows nothing of it"); next }
    if (text !~ /"/) next                                      # a header of the language
    split(text, quoted, "\"")
    name = quoted[2]
    to = substr(name, 1, index(name, "/") - 1)

    if (name ~ /\.inc$/) next                                  # a table of numbers under data/

    if (!(from in height)) { wrong("folder \"" from "\" has no height in this check"); next }
    if (to in height) {
        if (to == from || height[to] < height[from]) next
        if (height[to] == 4 && height[from] == 4 && name in shared) next
        wrong(from " must not include from " to)
    } else if (!exists(include "/" name)) {
        wrong("neither a folder of the library nor a public header")
    }
}
function wrong(why) { print place ": " text ": " why; bad = 1 }
END {
    if (!count) { print "no include found in " src; exit 1 }
    if (!bad) print count " includes, all downward"
    exit bad
}'
