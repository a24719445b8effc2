#!/usr/bin/env bash
# Many virtual units at the same time, to try a station's scripts: pings COUNT units of the product QL4K in a test tank,
# judges them by the limits of examples/station/limits/, and draws all echoes on one page. They differ as good units do.
# Usage: many_units.sh COUNT DIRECTORY [DEFECT SEVERITY]; with a defect (docs/scene.md), each tenth unit has it.
set -euo pipefail
: "${SIMULATOR:=sonarbench-sim}" "${STATION:=sonarbench-station}" "${TABLE:=examples/short.txt}"
limits=$(dirname -- "$0")/limits

[[ ${1-} =~ ^[1-9][0-9]{0,4}$ && -n ${2-} ]] || { echo "usage: ${0##*/} COUNT DIRECTORY [DEFECT SEVERITY]" >&2; exit 2; }
export SIMULATOR TABLE directory=$2 defect="${3:+\"$3\": ${4:-}}"
parallel --version 2>/dev/null | grep -q '^GNU parallel' ||
    { echo "${0##*/}: GNU parallel is missing; its Debian package is parallel" >&2; exit 2; }
mkdir -p "$directory/scenes" "$directory/runs"

ping() {
    local scene=$directory/scenes/$1.json defects=
    (($1 % 10)) || defects=$defect
    echo '{"bottom": {"depth": 5, "strength": -30}, "fish": [], "seed": '"$1" >"$scene"
    echo ', "unit": {"seed": '"$1"', "defects": {'"$defects"'}}}' >>"$scene"
    "$SIMULATOR" --scene "$scene" xkping "$TABLE" 0 1 >"$directory/runs/unit$1.txt"
}
export -f ping
# Runs as many at a time as there are processors. A unit that hangs is stopped, and its run is not judged.
SHELL=$BASH parallel --will-cite --timeout 60 ping ::: $(seq "$1") || echo "$? units did not end well" >&2
"$STATION" report --product QL4K --limits "$limits/QL4K.json" --summary - --html "$directory/report.html" "$directory/runs"
