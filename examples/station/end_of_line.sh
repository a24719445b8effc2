#!/usr/bin/env bash
# The end-of-line test: six tests of one unit; it stops at the first failure. Usage: end_of_line.sh SERIAL
#
# Writes RESULTS/SERIAL.result (PASS, or FAIL with the test), and the unit's output in RESULTS/SERIAL/.
# SONARBENCH is the command that runs a test on the unit, such as "ssh root@unit /corvane/Application/sonarbench".
# TABLE is a table file, named as that command finds it. STATION is the program that judges the output.
set -euo pipefail
: "${RESULTS:=results}" "${SONARBENCH:=./sonarbench}" "${TABLE:=examples/short.txt}" "${STATION:=sonarbench-station}"

[[ ${1-} =~ ^[A-Za-z0-9]+$ ]] || { echo "usage: ${0##*/} SERIAL, of letters and digits" >&2; exit 2; }
serial=$1
read -ra bench <<<"$SONARBENCH"
mkdir -p "$RESULTS"
rm -rf "${RESULTS:?}/$serial" "$RESULTS/$serial.result"
mkdir "$RESULTS/$serial"

finish() {
    echo "$1" | tee "$RESULTS/$serial.result"
    [[ $1 == PASS ]]
    exit
}

# run COMMAND...: runs one test and judges its output, because its exit status says nothing.
run() {
    transcript=$RESULTS/$serial/$1.txt
    timeout 60 "${bench[@]}" "$@" >"$transcript" 2>"$transcript.complaints" </dev/null || true
    "$STATION" report --strict --summary "$transcript.summary" "$transcript" ||
        finish "FAIL $1: $(head -n 1 "$transcript.summary")"
}

# reads LOW HIGH COMMAND: a test that shows a number; the unit is good if it is from LOW to HIGH.
reads() {
    local reading
    run "$3"
    reading=$(sed -n '/^Test Output: $/{n;p;q}' "$transcript")
    if [[ ! $reading =~ ^[0-9]{1,6}$ ]] || ((10#$reading < $1 || 10#$reading > $2)); then
        finish "FAIL $3: $reading is not from $1 to $2"
    fi
}

reads 2600 3200 batteryvoltage
reads 300 700 lcdtemperature
reads 0 4095 sensepin
run loadfpgabinary
run speed 1
run xkping "$TABLE" 0 1
finish PASS
