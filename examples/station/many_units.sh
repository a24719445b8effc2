#!/usr/bin/env bash
# Many virtual units side by side, as a trial for a station's scripts: COUNT units are pinged over bottoms of their own,
# and the pictures of all are on one page. Usage: many_units.sh COUNT DIRECTORY
set -euo pipefail
: "${SIMULATOR:=sonarbench-sim}" "${STATION:=sonarbench-station}" "${TABLE:=examples/short.txt}"

[[ ${1-} =~ ^[1-9][0-9]{0,4}$ && -n ${2-} ]] || { echo "usage: ${0##*/} COUNT DIRECTORY" >&2; exit 2; }
export SIMULATOR TABLE directory=$2
parallel --version 2>/dev/null | grep -q '^GNU parallel' ||
    { echo "${0##*/}: GNU parallel is missing; its Debian package is parallel" >&2; exit 2; }
mkdir -p "$directory/scenes" "$directory/runs"

ping() {
    local scene=$directory/scenes/$1.json
    echo "{\"bottom\": {\"depth\": $((5 + $1 % 30))}, \"seed\": $1}" >"$scene"
    "$SIMULATOR" --scene "$scene" xkping "$TABLE" 0 1 >"$directory/runs/unit$1.txt"
}
export -f ping
# As many at a time as there are processors; one that hangs is ended, and its run is not judged.
SHELL=$BASH parallel --will-cite --timeout 60 ping ::: $(seq "$1") || echo "$? units did not end well" >&2
"$STATION" report --summary - --html "$directory/report.html" "$directory/runs"
