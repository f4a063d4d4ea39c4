# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# Makes the plain comments of a header those that Doxygen reads.

function escaped(text) {
    gsub(/[\\@<>#%&"]/, "\\\\&", text)
    gsub(/::/, "\\\\::", text)
    while (match(text, /`[^`]+`/)) {
        text = substr(text, 1, RSTART - 1) "<code>" substr(text, RSTART + 1, RLENGTH - 2) \
            "</code>" substr(text, RSTART + RLENGTH)
    }
    return text
}

# A line of a comment above a declaration. What is indented is shown as it is.
function above(indent, text,    wasVerbatim) {
    wasVerbatim = verbatim
    verbatim = (text ~ /^   /) || (verbatim && text == "")
    if (verbatim && !wasVerbatim) print indent "/// <pre>"
    if (!verbatim && wasVerbatim) print indent "/// </pre>"
    print indent "///" escaped(text)
}

function endAbove() {
    if (verbatim) print "/// </pre>"
    verbatim = 0
}

# The licence.
FNR <= 2 { print ""; next }

/^ *\/\/( |$)/ {
    column = match($0, /\/\//)
    indent = substr($0, 1, column - 1)
    text = substr($0, column + 2)
    if (column == behind) {
        print indent "///<" escaped(text)
    } else {
        above(indent, text)
    }
    next
}

{
    endAbove()
    behind = match($0, /  \/\/ /)
    if (behind > 0) {
        behind += 2
        print substr($0, 1, behind - 1) "///<" escaped(substr($0, behind + 2))
    } else {
        print
    }
}
