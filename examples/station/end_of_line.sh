#!/usr/bin/env bash
# The end-of-line test of one unit: its readings, its firmware, the paddle wheel, and two pings. It stops at the first
# test that is not good. Usage: end_of_line.sh PRODUCT SERIAL
#
# Ends with 0 and PASS, 1 and FAIL, or 3 and NOT TESTED, with the reason. Keeps everything in RESULTS/SERIAL/ATTEMPT/,
# one directory for each attempt, which is numbered from 1: the unit's output, the judgement of each test, and the
# answer in "result".
# SONARBENCH is the command that runs a test on the unit, such as "ssh root@unit /corvane/Application/sonarbench".
# TABLE is a table file, named as that command finds it. STATION is the program that judges the output.
# LIMITS are the limits files, separated by blanks.
set -euo pipefail
here=$(dirname -- "$0")
: "${RESULTS:=results}" "${SONARBENCH:=./sonarbench}" "${TABLE:=examples/short.txt}" "${STATION:=sonarbench-station}"

[[ ${1-} =~ ^[A-Za-z0-9]+$ && ${2-} =~ ^[A-Za-z0-9]+$ ]] ||
    { echo "usage: ${0##*/} PRODUCT SERIAL, each of letters and digits" >&2; exit 2; }
product=$1 serial=$2
: "${LIMITS:=$here/limits/readings.json $here/limits/$product.json}"
read -ra bench <<<"$SONARBENCH"
judge=("$STATION" report --strict --product "$product")
for file in $LIMITS; do
    judge+=(--limits "$file")
done

case $product in
QL[456]*) tests=("loadfpgabinary" "speed 1") ping="xkping $TABLE 0 1" ;;
Lumet* | Nr*) tests=("loadfpgabinary") ping="lumetping 200long" ;;
QL*) tests=("loadfpgabinary") ping="ping 200000 210000 27 45 0 medium" ;;
Varrow*) tests=() ping="ping 200000 210000 27 45 0 medium" ;;
*) echo "${0##*/}: no tests are known for the product $product" >&2; exit 2 ;;
esac
# The second ping shows whether the samples are new ones.
tests=(batteryvoltage lcdtemperature sensepin "${tests[@]}" "$ping" "$ping")

mkdir -p "$RESULTS/$serial"
attempt=1
until mkdir "$RESULTS/$serial/$attempt" 2>/dev/null; do
    ((attempt += 1, attempt < 10000)) || { echo "${0##*/}: cannot write to $RESULTS/$serial" >&2; exit 3; }
done
directory=$RESULTS/$serial/$attempt

finish() {
    echo "$2" | tee "$directory/result"
    exit "$1"
}

for test in "${tests[@]}"; do
    read -ra words <<<"$test"
    transcript=$directory/${words[0]}.txt
    # The exit status says nothing about the unit. A second ping goes below the first.
    timeout 60 "${bench[@]}" "${words[@]}" >>"$transcript" 2>>"$transcript.complaints" </dev/null || true
    status=0
    "${judge[@]}" --summary "$transcript.summary" "$transcript" || status=$?
    reason=$(grep -m 1 -E ': (failed|not judged): ' "$transcript.summary" || echo "the judgement failed")
    case $status in
    0) ;;
    1) finish 1 "FAIL ${words[0]}: $reason" ;;
    *) finish 3 "NOT TESTED ${words[0]}: $reason" ;;
    esac
done
finish 0 PASS
