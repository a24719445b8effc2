#!/usr/bin/env bash
# A job for a CI server: tests each unit and leaves one JUnit file, which the server shows, and one page with the
# echoes, which it keeps. Usage: ci_job.sh COMMAND...
#
# UNITS are the units, a command each that runs a test there, a line each. The job fails when a unit does.
set -euo pipefail
: "${REPORT:=sonarbench-report}" "${UNITS:=./sonarbench}"

(($#)) || { echo "usage: ${0##*/} COMMAND..., of sonarbench" >&2; exit 2; }
transcripts=$(mktemp -d)
trap 'rm -rf "$transcripts"' EXIT
number=0
while read -ra bench; do
    number=$((number + 1))
    timeout 60 "${bench[@]}" "$@" >"$transcripts/unit$number.txt" </dev/null || true
done <<<"$UNITS"
# Ends with 0 only when all units are good: 1 is a bad one, 3 one that could not be tested.
"$REPORT" --summary - --junit junit.xml --html report.html "$transcripts"
