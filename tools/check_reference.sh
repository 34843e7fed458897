#!/bin/sh
# The reference pages of docs/ hold what the sources hold: the blocks field by field, the keys that are persisted,
# the faults, the log lines, the tables by robot type, the services of a host. A page may say more than the sources, but for the blocks.
# Usage: check_reference.sh REPOSITORY
# shellcheck disable=SC2046,SC2013 # paths without spaces
set -eu
tools=$(cd "$(dirname "$0")" && pwd)
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# tells PAGE: names each line of the file "problems", and counts as failed
tells() {
    [ -s "$work/problems" ] || return 0
    sed "s|^|docs/$1: |" "$work/problems"
    failed=1
}

# sources FOLDER...: their files
sources() {
    find "$@" \( -name '*.cpp' -o -name '*.h' \) | sort
}

# ---- blocks: "record field|type|unit|writer" of the records that the blocks reach, as header and page have them

awk '
function trim(s) { gsub(/^[ \t]+|[ \t]+$/, "", s); return s }
# unit and writer of a column comment; the meaning follows them
function columns(text,    word) {
    unit = text; writer = ""
    if (match(" " text " ", /[ ](host|library|lib|both)[ ]/)) {
        word = trim(substr(" " text " ", RSTART, RLENGTH))
        unit = RSTART > 1 ? substr(text, 1, RSTART - 1) : ""
        writer = word == "library" ? "lib" : word
    } else if (match(text, /   */)) unit = substr(text, 1, RSTART - 1)
    unit = trim(unit)
}
function emit(declaration, comment,    type, names, dim, n, list, i) {
    columns(trim(comment))
    type = declaration; sub(/[ ][A-Za-z0-9_]+[^A-Za-z]*(\[.*|,.*)?$/, "", type)
    names = substr(declaration, length(type) + 1)
    dim = ""
    if (match(names, /\[.*/)) { dim = substr(names, RSTART); names = substr(names, 1, RSTART - 1) }
    type = trim(type); gsub(/ /, "", names); gsub(/,/, ", ", names)
    count++
    row[count] = record " " names "|" type dim "|" (unit == "" ? "-" : unit) "|" writer
    of[count] = record; holds[count] = type
}
/^struct [A-Za-z0-9_]+ (: [A-Z]+ )?\{/ { record = $2; known[record]; next }
/^\}/ { record = "" }
record == "" { next }
pending != "" { text = $0; sub(/^[ \t]*\/\//, "", text); emit(pending, text); pending = ""; next }
/^[^\/]*;/ {
    declaration = $0; sub(/;.*/, "", declaration); declaration = trim(declaration)
    comment = ""
    if ((at = index($0, "//"))) comment = substr($0, at + 2)
    if (comment == "" || trim(comment) == "") { pending = declaration; next }
    emit(declaration, comment)
}
END {
    reach["HOW"]; reach["MOTION_CONTROL_BLOCK"]; reach["MOTION_PARAMETER_BLOCK"]
    do {
        more = 0
        for (i = 1; i <= count; i++)
            if (of[i] in reach && holds[i] in known && !(holds[i] in reach)) { reach[holds[i]]; more = 1 }
    } while (more)
    for (i = 1; i <= count; i++) if (of[i] in reach) print row[i]
}' include/tarnmotioncontrol/tmcmotionparamblock.h include/tarnhal/thalintf.h > "$work/fields"

awk -F' *[|] *' '
/^## / { record = ""; if (match($0, /\([A-Za-z0-9_]+\)$/)) record = substr($0, RSTART + 1, RLENGTH - 2) }
record != "" && /^\| `/ {
    name = $2; gsub(/`/, "", name)
    writer = $5; sub(/[:,;].*/, "", writer)
    print record " " name "|" $3 "|" $4 "|" writer
}' docs/blocks.md > "$work/rows"

awk -F'|' '
file == 1 { want[$1] = $2 "|" $3 "|" $4; type[$1] = $2; unit[$1] = $3; writer[$1] = $4; n++; next }
!($1 in want) { print "no such field: " $1; next }
{
    seen[$1]
    if ($2 != type[$1]) print $1 ": type " $2 ", in the header " type[$1]
    if ($3 != unit[$1]) print $1 ": unit " $3 ", in the header " unit[$1]
    if (writer[$1] != "" && $4 != writer[$1]) print $1 ": writer " $4 ", in the header " writer[$1]
}
END {
    for (field in want) if (!(field in seen)) print "missing: " field
    if (!n) print "no field found in the headers"
}' file=1 "$work/fields" file=2 "$work/rows" | sort > "$work/problems"
tells blocks.md

# ---- what the sources say in quotes: "file|text", split literals joined

for file in $(sources src); do
    sed -e 's|//.*||' -e '/^[ \t]*#/d' -e 's/extern "C"//' "$file" | tr '\n' ' ' |
        sed 's/"[ \t]*"//g' | grep -oE '"([^"\\]|\\.)*"' | sed "s:^\"\(.*\)\"\$:$file|\1:" || true
done > "$work/literals"
key='^[A-Z][A-Z0-9_#]+(_Coord_[XYZ#])?$'

# ---- settings: keys that the library persists, and the sections that the reference host has them in

grep -lE 'persist|ConfigWriteEntry' $(sources src) > "$work/persisting" || true
awk -F'|' -v key="$key" '
file == 1 { persisting[$1]; next }
($1 in persisting) && length($2) > 4 && $2 ~ key { print $2 }' file=1 "$work/persisting" file=2 "$work/literals" |
    sort -u > "$work/keys"
sed -n 's/^ *{k[A-Z][a-z]*, *"\([A-Z_]*\)", *"\([^"]*\)".*/\1 \2/p' host/settings_table.cpp > "$work/sections"
awk '
file == 1 {                                              # the page
    if (/^### /) section = $2
    if (!/^\|/) next
    cell = $0; sub(/^\| */, "", cell); sub(/ \|.*/, "", cell)
    n = split(cell, word, "`")
    for (i = 2; i <= n; i += 2) { here[++keys] = section; name[keys] = word[i] }
    next
}
file == 2 { wanted++; ask($0, "") }
file == 3 { ask($2, $1) }
# how often the page has the key, as a pattern, in the section
function ask(pattern, section,    i, found, many) {
    many = pattern ~ /#/
    sub(/#/, "[A-Z0-9]+", pattern)
    for (i = 1; i <= keys; i++)
        if (name[i] ~ ("^" pattern "$") && (section == "" || here[i] == section)) found++
    if (found < (many ? 2 : 1)) print "missing: key " pattern (section == "" ? "" : " in section " section)
}
END { if (!wanted) print "no key found in the sources" }' \
    file=1 docs/settings.md file=2 "$work/keys" file=3 "$work/sections" | sort -u > "$work/problems"
tells settings.md

# ---- faults: numbers as in the header, a row for each code that the library raises

sed -n 's/^#define \(ZV_[A-Z_]*\) *0x\([0-9A-F]*\)U$/\1 \2/p; s/^ *\(zv[A-Za-z0-9]*\) *= \(ZV_[A-Z_]*\) + 0x\([0-9a-f]*\),$/\1 \2 \3/p' \
    include/tarnmotioncontrol/tmcfaultblock.h |
    awk 'NF == 2 { base[$1] = substr($2, 1, 2); next }
         { print $1, base[$2] toupper(substr("000000" $3, length($3) + 1)) }' > "$work/codes"
for file in $(sources src); do
    sed -e 's|//.*||' -e 's/"[^"]*"//g' -e 's/[!=]= *zv[A-Za-z0-9]*//g' "$file"
done | grep -oE '\bzv(Ctl|Safety)[A-Za-z0-9]+' | sort -u > "$work/raised"
awk '
file == 1 { code[$1] = $2; next }
file == 2 { if ($1 in code && code[$1] !~ /000000$/) raised[$1]; next }
{
    row = /^\| 0x/
    line = $0
    while (match(line, row ? "0x[0-9A-F]+ [|] `zv[A-Za-z0-9]+`" : "`zv[A-Za-z0-9]+` 0x[0-9A-F]+")) {
        split(substr(line, RSTART, RLENGTH), part, "`")
        number = row ? part[1] : part[3]
        gsub(/[^0-9A-Fx]/, "", number); sub(/^0x/, "", number)
        told[part[2]]
        if (row) hasRow[part[2]]
        else if (part[2] in raised) print part[2] " is raised, and listed as not raised"
        if (!(part[2] in code)) print "no such fault: " part[2]
        else if (code[part[2]] != number) print part[2] ": number " number ", in the header " code[part[2]]
        line = substr(line, RSTART + RLENGTH)
    }
}
END {
    for (name in code) { n++; if (!(name in told)) print "missing: " name }
    for (name in raised) if (!(name in hasRow)) print "missing: a row for " name ", which is raised"
    if (!n) print "no fault found in the header"
}' file=1 "$work/codes" file=2 "$work/raised" file=3 docs/faults.md | sort > "$work/problems"
tells faults.md

# ---- log lines: each text as it stands, with its level where the call names it

grep -lE 'Write_Log\(|__wrap_puts\(' $(sources src) > "$work/logging" || true
for file in $(cat "$work/logging"); do
    sed 's|//.*||' "$file" | tr '\n' ' ' | sed 's/"[ \t]*"//g' |
        grep -oE 'Write_Log\( *LOG_[A-Z]+, *"([^"\\]|\\.)*"' | sed 's/^Write_Log( *LOG_\([A-Z]*\), *"\(.*\)"$/\1|\2/' || true
done > "$work/levels"
awk -F'|' -v key="$key" '
file == 1 { logging[$1]; next }
file == 2 { if ($1 in logging && !($2 ~ key)) { texts++; text[$2] }; next }
file == 3 { level[$2] = level[$2] " " tolower($1); next }
file == 4 && /^\| / { rows[++n] = $0; levelOf[n] = $(NF - 3) }
END {
    for (t in text) {
        at = 0
        for (i = 1; i <= n; i++) if (index(rows[i], "`" t "`")) at = i
        if (!at) { print "missing: " t; continue }
        m = split(level[t], word, " ")
        for (i = 1; i <= m; i++) {
            sub(/^err$/, "error", word[i])
            if (!index(levelOf[at], word[i])) print t ": level" levelOf[at] "is not " word[i]
        }
    }
    if (!texts) print "no log line found in the sources"
}' file=1 "$work/logging" file=2 "$work/literals" file=3 "$work/levels" file=4 docs/log.md | sort > "$work/problems"
tells log.md

# ---- tables by robot type: every one in the page, and none that is gone

grep -oE 'TypeRow<.*> k[A-Za-z0-9]+\[\]' $(sources src host sim) | sed 's/:.* /|/; s/\[\]$//' > "$work/tables"
awk -F'|' '
file == 1 { tables++; want[$1 " " $2]; next }
file == 2 && /^\| `(src|host|sim)\// {
    source = $2; table = $3
    gsub(/[` ]/, "", source); gsub(/[` ]/, "", table)
    told[source " " table]
    found = 0
    while ((getline line < source) > 0) if (index(line, table)) found = 1
    close(source)
    if (!found) print "no such table: " table " in " source
}
END {
    for (t in want) if (!(t in told)) print "missing: " t
    if (!tables) print "no table found in the sources"
}' file=1 "$work/tables" file=2 docs/add-a-robot-type.md | sort > "$work/problems"
tells add-a-robot-type.md

# ---- services: what a host must provide

find include -name '*.h' -exec awk -f "$tools/declared_names.awk" {} + | sed -n 's/^host //p' | sort -u > "$work/services"
while read -r name; do
    grep -qF "\`$name\`" docs/integration.md || echo "missing: $name"
done < "$work/services" > "$work/problems"
[ -s "$work/services" ] || echo "no service found in the headers" > "$work/problems"
tells integration.md

[ "$failed" -eq 0 ] && echo "$(wc -l < "$work/fields") fields, $(wc -l < "$work/keys") keys, $(wc -l < "$work/codes") faults," \
    "$(wc -l < "$work/tables") tables, $(wc -l < "$work/services") services and every log line stand as in the sources"
exit "$failed"
