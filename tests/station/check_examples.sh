#!/usr/bin/env bash
# Runs the station's examples on virtual units. Usage: check_examples.sh DIRECTORY, of the programs; from the root.
set -euo pipefail
PATH=$1:$PATH
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
examples=$PWD/examples/station
export TABLE=$PWD/examples/short.txt RESULTS=$place/results

fail() { echo "check_examples: $1" >&2; exit 1; }
# ends STATUS COMMAND...: what it prints is in $place/out.
ends() {
    local wanted=$1 status=0
    shift
    "$@" >"$place/out" 2>&1 || status=$?
    ((status == wanted)) || { cat "$place/out" >&2; fail "$* ended with $status"; }
}
has() { grep -q -- "$2" "$1" || { cat "$1" >&2; fail "$1 is without $2"; }; }

shellcheck "$examples"/*.sh

# A virtual unit on the bench. PING_OPTIONS are only for pings: a fault must be triggered.
export STARTS=$place/starts PING_OPTIONS=
cat >"$place/bench" <<END
#!/bin/sh
case \$1 in *ping) OPTIONS=\$PING_OPTIONS ;; esac
export OPTIONS
exec $examples/virtual_unit.sh "\$@"
END
chmod +x "$place/bench"
export SONARBENCH=$place/bench PLACE=line1
# line STATUS ANSWER SERIAL: the end-of-line test of a unit of the product PRODUCT.
line() {
    ends "$1" "$examples/end_of_line.sh" "$PRODUCT" "$3"
    [[ $(tail -n 1 "$place/out") == "$2" ]] || { cat "$place/out" >&2; fail "the answer for $3 is not \"$2\""; }
}

export PRODUCT ping
while read -r PRODUCT ping; do
    line 0 PASS "QS1$PRODUCT"
    BOTTOM=null line 1 "FAIL $ping" QS2
    DEFECTS='"staleSamples": 1' line 1 "FAIL $ping" QS2
done <<'END'
QL1A ping
LumetV1 lumetping
QL4K xkping
END
PRODUCT=QL4K
PING_OPTIONS='--fault fill:*=zeros' line 1 "FAIL xkping" QS3
PING_OPTIONS='--fault fill:*=lying' line 1 "FAIL xkping" QS3
PING_OPTIONS='--fault fill:*=stale' line 1 "FAIL xkping" QS3
OPTIONS='--fault reply:1=silent' SONARBENCH=$examples/virtual_unit.sh line 3 "NOT TESTED batteryvoltage" QS4
OPTIONS='--set /sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw=99' \
    SONARBENCH=$examples/virtual_unit.sh line 1 "FAIL batteryvoltage" QS4
has "$place/out" 'batteryVoltage is 99 '
SONARBENCH=/nowhere/sonarbench line 3 "NOT TESTED batteryvoltage" QS4
ends 2 "$examples/end_of_line.sh" QL4K ../QS5
ends 2 "$examples/end_of_line.sh" Unknown QS5
# No attempt is lost.
[[ $(find "$RESULTS/QS4" -name '*.run' | wc -l) == 3 ]] || fail "QS4 has not three run files"

cd "$place"
UNITS=$'QS1 sonarbench-sim\nQS2 sonarbench-sim --product HZ02' LIMITS= ends 1 "$examples/ci_job.sh" lumetping 200long
has junit.xml 'classname="sonarbench.QS2"'
has junit.xml '<failure '
has report.html '</html>'
UNITS="QS3 $examples/virtual_unit.sh" ends 0 "$examples/ci_job.sh" xkping "$TABLE" 0 1
UNITS='QS3 sonarbench-sim --fault fill:*=zeros' ends 1 "$examples/ci_job.sh" xkping "$TABLE" 0 1
UNITS=$'QS4 sonarbench-sim\nQS4 sonarbench-sim' ends 2 "$examples/ci_job.sh" sensepin

ends 0 "$examples/many_units.sh" 4 units
has out '^4 runs, 4 passed'
[[ $(grep -c '^<figure id="ping' units/report.html) == 4 ]] || fail "not every unit is drawn"
# Another program named parallel.
mkdir other
printf '#!/bin/sh\nexit 1\n' >other/parallel
chmod +x other/parallel
PATH=$place/other:$PATH ends 2 "$examples/many_units.sh" 4 none
has out 'GNU parallel is missing'
ends 1 "$examples/many_units.sh" 10 defective deaf 20
has out '10 runs, 9 passed, 0 performed, 1 failed'

# Replaces ssh: the host is the name of a product.
cat >ssh <<'END'
#!/bin/sh
unset UNITS
exec sonarbench-sim ${MISSING:+--remove "$MISSING"} --product "$1" $(eval "set -- $2"; shift; echo "$@")
END
chmod +x ssh
SSH=$place/ssh UNITS='QL4K QL6M' ends 0 "$examples/test_units.py"
SSH=$place/ssh UNITS='QL4K HZ02 QL6M' ends 1 "$examples/test_units.py"
has out "ERROR: test_firmware .*host='HZ02'"
has out 'errors=1)'
SSH=$place/ssh ends 1 "$examples/test_units.py"
MISSING=/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw SSH=$place/ssh UNITS=QL4K \
    ends 1 "$examples/test_units.py"
has out "^AssertionError: 'FAIL'"
