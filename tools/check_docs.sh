#!/bin/sh
# Links between the pages lead somewhere: the file is there, and so is the heading behind a '#'. So are the files of
# this repository that a page names in backquotes. Links to other places are left alone.
# Usage: check_docs.sh REPOSITORY
set -eu
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "heading PAGE#ANCHOR", "link PLACE TARGET FILE" and "link PLACE TARGET FILE PAGE#ANCHOR" of all pages
find . -name '*.md' -not -path './build/*' -not -path '*/.*' | sed 's|^\./||' | sort | xargs awk '
# the anchor that a heading gets
function anchor(text) {
    text = tolower(text)
    gsub(/[^a-z0-9 _-]/, "", text)
    gsub(/ /, "-", text)
    return text
}
FNR == 1 { fenced = 0; folder = FILENAME; if (!sub(/\/[^\/]*$/, "", folder)) folder = "." }
/^ *```/ { fenced = !fenced; next }
fenced { next }
/^#+ / { text = $0; sub(/^#+ +/, "", text); print "heading", FILENAME "#" anchor(text) }
{
    place = FILENAME ":" FNR
    rest = $0
    while (match(rest, /`(src|include|host|sim|tests|tools|docs|examples|bench|cmake)\/[A-Za-z0-9_.\/-]*`/)) {
        file = substr(rest, RSTART + 1, RLENGTH - 2)
        rest = substr(rest, RSTART + RLENGTH)
        print "link", place, file, file
    }
    rest = $0
    gsub(/`[^`]*`/, "", rest)
    while (match(rest, /\]\([^) ]*/)) {
        target = substr(rest, RSTART + 2, RLENGTH - 2)
        rest = substr(rest, RSTART + RLENGTH)
        if (target ~ /^[a-z]+:/) continue
        split(target, part, "#")
        file = part[1] == "" ? FILENAME : folder "/" part[1]
        sub(/^\.\//, "", file)
        while (sub(/[^\/]+\/\.\.\//, "", file)) {}
        print "link", place, target, file, (part[2] == "" ? "" : file "#" part[2])
    }
}' > "$work/pages"

failed=0
while read -r kind place target file heading; do
    [ "$kind" = link ] || continue
    if [ ! -e "$file" ]; then echo "$place: no such file: $target"; failed=1
    elif [ -n "$heading" ] && ! grep -qxF "heading $heading" "$work/pages"; then
        echo "$place: no such heading: $target"; failed=1
    fi
done < "$work/pages"
grep -q '^heading' "$work/pages" || { echo "no page found"; failed=1; }
[ "$failed" -eq 0 ] && echo "$(grep -c '^link' "$work/pages") links, none dead"
exit "$failed"
