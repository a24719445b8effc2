#!/usr/bin/env bash
# A virtual unit in a test tank, in place of a real one on the bench. Usage: virtual_unit.sh COMMAND..., as of sonarbench
#
# PRODUCT is its product. UNIT is its seed, like a serial number, and DEFECTS its defects, such as '"deaf": 20'
# (docs/scene.md). BOTTOM is that of the tank, and null if there is none. OPTIONS are further options of sonarbench-sim.
# Each start has other noise, as on a real unit: the file STARTS counts them.
set -euo pipefail
: "${PRODUCT:=QL4K}" "${UNIT:=1}" "${DEFECTS:=}" "${OPTIONS:=}" "${STARTS:=${TMPDIR:-/tmp}/virtual_unit.starts}"
tank='{"depth": 5, "strength": -30}'
: "${BOTTOM:=$tank}"

starts=$(($(cat "$STARTS" 2>/dev/null || echo 0) + 1))
echo "$starts" >"$STARTS"
scene=$(mktemp --suffix=.json)
trap 'rm -f "$scene"' EXIT
printf '{"bottom": %s, "fish": [], "seed": %d, "unit": {"seed": %d, "defects": {%s}}}' \
    "$BOTTOM" "$starts" "$UNIT" "$DEFECTS" >"$scene"
read -ra options <<<"$OPTIONS"
sonarbench-sim --product "$PRODUCT" --scene "$scene" "${options[@]}" -- "$@"
