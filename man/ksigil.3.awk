# Makes the manual page ksigil(3) of include/ksigil.h: a comment's paragraphs, under the declarations
# that it stands before. "Words. Text" at the start of one that stands alone is a heading with its text.

function escaped(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    if (text ~ /^[.']/) {
        text = "\\&" text
    }
    return text
}

# Names in bold.
function marked(text,    out) {
    out = ""
    while (match(text, /`[^`]*`|KSIGIL_[A-Z_]+/)) {
        name = substr(text, RSTART, RLENGTH)
        gsub(/`/, "", name)
        out = out substr(text, 1, RSTART - 1) "\\fB" name "\\fR"
        text = substr(text, RSTART + RLENGTH)
    }
    return out text
}

function tellLine(line) {
    if (line == "") {
        print ".PP"
    } else if (match(line, /^  [A-Z_]+   */)) {  # a row of a table
        isTable = 1
        print ".TP\n.B " substr(line, 3, RLENGTH - 2)
        print marked(escaped(substr(line, RLENGTH + 1)))
    } else {
        if (isTable && line !~ /^        /) {
            isTable = 0
            print ".PP"
        }
        sub(/^ +/, "", line)
        print marked(escaped(line))
    }
}

# One comment and the declarations under it; either may be missing.
function tellBlock(    i, heading, line) {
    if (codes > 0) {
        print ".PP\n.nf"
        for (i = 1; i <= codes; ++i) {
            print "\\fB" escaped(code[i]) "\\fR"
        }
        print ".fi"
        if (lines > 0) {
            print ".RS 4"
        }
    }
    for (i = 1; i <= lines; ++i) {
        line = comment[i]
        if (codes == 0 && (i == 1 || comment[i - 1] == "") && match(line, /^[A-Z][a-z' ]+\./)) {
            heading = substr(line, 1, RLENGTH - 1)
            print (isFirst ? ".SS " : ".SH ") toupper(substr(heading, 1, 1)) substr(heading, 2)
            line = substr(line, RLENGTH + 2)
            if (line == "") {
                continue
            }
        }
        tellLine(line)
    }
    if (codes > 0 && lines > 0) {
        print ".RE"
    }
    if (lines > 0) {
        isFirst = 0
    }
    codes = lines = 0
}

BEGIN {
    isFirst = 1
    print ".TH KSIGIL 3 \"\" \"kSigil\" \"Library functions\""
    print ".SH NAME\nksigil \\- work on a security token of the kSigil family"
    print ".SH SYNOPSIS\n.nf\n.B #include <ksigil.h>\n.PP"
    print "cc program.c $(pkg\\-config \\-\\-cflags \\-\\-libs ksigil)\n.fi"
    print ".SH DESCRIPTION"
}

/^\/\*/ {
    tellBlock()
    isComment = 1
}

isComment {
    isLast = sub(/ *\*\/$/, "")
    sub(/^(\/\*| \*) ?/, "")
    if ($0 != "" || (lines > 0 && !isLast)) {
        comment[++lines] = $0
    }
    isComment = !isLast
    next
}

/^$/ {
    tellBlock()
    next
}

/^#(include|if|endif)/ || /^#define KSIGIL_H$/ || /^extern/ || /^}$/ {
    next
}

{
    code[++codes] = $0
}

END {
    tellBlock()
    print ".SH SEE ALSO\n.BR ksigil (1), QVSh (1)"
    print ".PP\n.I <ksigil.hpp>\nhas the same for C++20, and the Python module\n.B ksigil\nfor Python."
}
