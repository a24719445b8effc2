#!/usr/bin/env bash
# The end-of-line test of one unit: the tests that end_of_line.txt has for its product. It stops at the first one that is
# not good. Usage: end_of_line.sh PRODUCT SERIAL
#
# Ends with 0 and PASS, 1 and FAIL, or 3 and NOT TESTED. Keeps a run file of each test in RESULTS/SERIAL/.
# SONARBENCH is the command that runs a test on the unit, such as "ssh root@unit /corvane/Application/sonarbench".
# TABLE is a table file, named as that command finds it. STATION is the program that judges the output, and PLACE the
# name of this station. LIMITS are the limits files, separated by blanks.
set -euo pipefail
limits=$(dirname -- "$0")/limits
: "${RESULTS:=results}" "${SONARBENCH:=./sonarbench}" "${TABLE:=examples/short.txt}" "${STATION:=sonarbench-station}"
: "${PLACE:=$(uname -n)}" "${LIMITS:=$limits/readings.json $limits/${1-}.json}"

[[ ${1-} =~ ^[A-Za-z0-9]+$ && ${2-} =~ ^[A-Za-z0-9]+$ ]] ||
    { echo "usage: ${0##*/} PRODUCT SERIAL, each of letters and digits" >&2; exit 2; }
run=("$STATION" run --unit "$2" --station "$PLACE" --to "$RESULTS/$2" --timeout 60 --product "$1")
for file in $LIMITS; do
    run+=(--limits "$file")
done

tests=()
while read -r products test; do
    # shellcheck disable=SC2053 # it is a pattern
    [[ $1 != $products ]] || tests+=("${test/TABLE/$TABLE}")
done < <(grep -v '^#' "$(dirname -- "$0")/end_of_line.txt")
[[ ${tests[*]} == *ping* ]] || { echo "${0##*/}: no tests are known for the product $1" >&2; exit 2; }

for test in "${tests[@]}"; do
    read -ra words <<<"$SONARBENCH $test"
    # Only a second ping shows whether samples are always the same.
    [[ $test != *ping* ]] || words=(sh -c '"$@" && "$@"' twice "${words[@]}")
    status=0
    "${run[@]}" -- "${words[@]}" </dev/null || status=$?
    case $status in
    0) ;;
    1) echo "FAIL ${test%% *}" && exit 1 ;;
    *) echo "NOT TESTED ${test%% *}" && exit 3 ;;
    esac
done
echo PASS
