#!/usr/bin/env bash
# Usage: hardening.sh PROGRAM fortified|plain. Checks the program's file for the hardening of the build.
set -u
export LC_ALL=C
program=$1 missing=0
header=$(readelf -h "$program")
segments=$(readelf -lW "$program")
dynamic=$(readelf -dW "$program")
symbols=$(readelf -W --dyn-syms "$program")

# expect WHAT TEXT PATTERN: the text has a line that matches the pattern.
expect() {
    grep -qE "$3" <<<"$2" || { echo "$program: $1" >&2; missing=1; }
}
expect "is not position-independent" "$header" '^ *Type: +DYN'
expect "is no program" "$segments" '^ *INTERP '
expect "keeps its relocations writable" "$segments" '^ *GNU_RELRO '
expect "binds at first use, which leaves the table writable" "$dynamic" 'BIND_NOW|FLAGS_1.*\bNOW\b'
expect "has an executable stack" "$segments" '^ *GNU_STACK .* RW +0x'
expect "does not guard its stack" "$symbols" ' UND __stack_chk_fail'
[[ $2 != fortified ]] || expect "makes no checked calls of the C library" "$symbols" ' UND __[a-z]+_chk(@|$| )'
exit "$missing"
