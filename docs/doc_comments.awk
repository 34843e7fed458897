# Makes Doxygen see the plain comments of the headers: a comment over a declaration or behind one documents it,
# the one at the top of a file the file; a comment with a ruled title, or over members with comments of their own,
# opens a group.

# text that Doxygen takes as it stands
function plain(text) {
    gsub(/\\/, "\\\\", text)
    gsub(/[<>@#&*]/, "\\\\&", text)
    return text
}
# the columns of a record with dots between them, and without the dash that says "no unit"
function columns(text) {
    sub(/^[ ]*(-  )?[ ]*/, "", text)
    gsub(/   */, " \302\267 ", text)
    return plain(text)
}
function title(text) {
    sub(/^[-=]+ /, "", text)
    return toupper(substr(text, 1, 1)) plain(substr(text, 2))
}
# hands the comment held back on, as documentation
function release(first,    i) {
    if (!held) return
    print "/*! " first
    for (i = 1; i <= held; i++) { print plain(comment[i]); keep[i] = comment[i] }
    print "*/"
    kept = held
    held = 0
}
# functions in a row share the comment over the first
function repeat(    i) {
    print "/*!"
    for (i = 1; i <= kept; i++) print plain(keep[i])
    print "*/"
}
function openGroup() {
    closeGroup()
    group = title(comment[1])
    comment[1] = ""
    release("@name " group)
    kept = 0
    print "//! @{\n"
    open = 1
}
function closeGroup() {
    if (open) print "//! @}\n"
    open = 0
}

# a line that is a comment alone
/^[ \t]*\/\// {
    text = $0
    sub(/^[ \t]*\/\/ ?/, "", text)
    if (behind && /^            /) { print "//!< " columns(text); next }    # goes on behind a member
    behind = 0
    if (text ~ /^clang-format/) next
    comment[++held] = text
    next
}

/^#pragma once/ {
    release("@file")
    print
    next
}

# a comment with nothing under it
/^[ \t]*$/ {
    behind = kept = 0
    if (held && comment[1] ~ /^(----|====) /) openGroup()
    held = 0
    print
    next
}

{
    behind = 0
    trailing = match($0, /[ \t]*\/\/ /) && RSTART > 1 && !/^}/
    code = trailing ? substr($0, 1, RSTART - 1) : $0
    text = trailing ? columns(substr($0, RSTART + RLENGTH)) : ""

    if (/^struct .*\{/) { closeGroup(); inside = 1 }
    if (/^}/ && (inside || /\/\//)) { closeGroup(); inside = 0 }
    if (held && inside && trailing && code ~ /;$/) openGroup()
    if (!held && kept && /^[A-Za-z].*\(/) repeat()
    release("")

    if (trailing && code ~ /\{$/) print "//! " text "\n" code
    else if (trailing) { print code "  //!< " text; behind = 1 }
    else print code
}
