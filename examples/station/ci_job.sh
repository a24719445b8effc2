#!/usr/bin/env bash
# A job for a CI server: tests each unit and leaves one JUnit file, which the server shows by unit, one page with the
# echoes, and what the units printed in transcripts/, all for the server to keep. Usage: ci_job.sh COMMAND...
#
# UNITS are the units, a line each: its name, such as the serial number, and the command that runs a test there. The job
# fails when a unit does.
set -euo pipefail
: "${STATION:=sonarbench-station}" "${UNITS:=unit ./sonarbench}"

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
# Ends with 0 only when all units are good: 1 is a bad one, 3 one that could not be tested.
"$STATION" report --summary - --junit junit.xml --html report.html transcripts
