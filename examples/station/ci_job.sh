#!/usr/bin/env bash
# A job for a CI server: tests each unit. It writes a JUnit file, which the server shows by unit, a page with the
# echoes, and the units' output in transcripts/. Usage: ci_job.sh COMMAND...
#
# UNITS has one line for each unit: its name, such as the serial number, and the command that runs a test there. PRODUCT
# is the product of all units, and LIMITS are the limits files, separated by blanks.
# Ends with 0 if all units are good, with 1 if one is bad, with 3 if one could not be tested.
set -euo pipefail
: "${STATION:=sonarbench-station}" "${UNITS:=unit ./sonarbench}" "${PRODUCT:=QL4K}"
limits=$(dirname -- "$0")/limits
: "${LIMITS:=$limits/readings.json $limits/$PRODUCT.json}"

(($#)) || { echo "usage: ${0##*/} COMMAND..., of sonarbench" >&2; exit 2; }
mkdir -p transcripts
rm -f transcripts/*.txt
while read -r unit command; do
    [[ -n $unit ]] || continue
    read -ra bench <<<"$command"
    if [[ ! $unit =~ ^[A-Za-z0-9_-]+$ || -z $command || -e transcripts/$unit.txt ]]; then
        echo "${0##*/}: UNITS needs a name of letters and digits for each unit, and a command: $unit $command" >&2
        exit 2
    fi
    timeout 60 "${bench[@]}" "$@" >"transcripts/$unit.txt" </dev/null || true
done <<<"$UNITS"
judge=("$STATION" report --product "$PRODUCT")
for file in $LIMITS; do
    judge+=(--limits "$file")
done
"${judge[@]}" --summary - --junit junit.xml --html report.html transcripts
