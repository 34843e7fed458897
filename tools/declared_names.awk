# Functions and data declared at file scope of the headers given, one a line: "library NAME" where the
# declaration carries TARN_API, else "host NAME". Reads plain declarations, as the headers in include/ are.

# text of the line outside comments
function code(line,    at, end) {
    if (inComment) {
        if (!(end = index(line, "*/"))) return ""
        line = substr(line, end + 2)
        inComment = 0
    }
    while (match(line, /\/\*|\/\//)) {
        at = RSTART
        if (substr(line, at, 2) == "//") return substr(line, 1, at - 1)
        end = index(substr(line, at + 2), "*/")
        if (!end) { inComment = 1; return substr(line, 1, at - 1) }
        line = substr(line, 1, at - 1) " " substr(line, at + 2 + end + 1)
    }
    return line
}

# one declaration, without its semicolon
function declaration(text,    owner, parts, n, i) {
    owner = text ~ /(^|[^A-Za-z0-9_])TARN_API([^A-Za-z0-9_]|$)/ ? "library" : "host"
    gsub(/__attribute__ *\(\(.*\)\)/, " ", text)
    gsub(/\[\[[^]]*\]\]/, " ", text)
    if (text ~ /^ *(typedef|using|static|static_assert|inline|constexpr|enum|namespace|template)[^A-Za-z0-9_]/) return
    if (match(text, /[A-Za-z_][A-Za-z0-9_]* *\(/)) {         # a function: the word before its parameters
        text = substr(text, RSTART, RLENGTH - 1)
        gsub(/ /, "", text)
        print owner, text
    } else if (text ~ /(^|[^A-Za-z0-9_])extern[^A-Za-z0-9_]/) {   # data: the last word of each declarator
        n = split(text, parts, ",")
        for (i = 1; i <= n; i++) {
            gsub(/\[[^]]*\]/, "", parts[i])
            if (match(parts[i], /[A-Za-z_][A-Za-z0-9_]* *$/)) {
                text = substr(parts[i], RSTART, RLENGTH)
                gsub(/ /, "", text)
                print owner, text
            }
        }
    }
}

FNR == 1 { inComment = inDirective = depth = 0; text = "" }

inDirective || /^[ \t]*#/ { inDirective = /\\$/; next }

{
    line = code($0) " "
    gsub(/\t/, " ", line)
    while (length(line)) {
        c = substr(line, 1, 1)
        line = substr(line, 2)
        if (c == "{") {
            if (depth == 0 && text ~ /^ *extern +"C" *$/) text = ""   # its braces are no scope
            else if (depth++ == 0) isFunctionBody = text ~ /\(/
        } else if (c == "}") {
            if (depth > 0 && --depth == 0 && isFunctionBody) text = ""
        } else if (depth == 0 && c == ";") {
            declaration(text)
            text = ""
        } else if (depth == 0) {
            text = text c
        }
    }
}
