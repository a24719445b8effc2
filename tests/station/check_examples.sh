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

SONARBENCH=sonarbench-sim ends 0 "$examples/end_of_line.sh" QS1
[[ $(cat "$RESULTS/QS1.result") == PASS && $(echo "$RESULTS"/QS1/*.txt | wc -w) == 6 ]] || fail "QS1 has not six passes"
# A good unit is tested again; a fault stops the line at the test that it affects.
SONARBENCH='sonarbench-sim --fault reply:1=silent' ends 1 "$examples/end_of_line.sh" QS1
has "$RESULTS/QS1.result" '^FAIL loadfpgabinary: '
[[ ! -e $RESULTS/QS1/xkping.txt ]] || fail "the line went on after a failure"
SONARBENCH='sonarbench-sim --set /sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw=99' \
    ends 1 "$examples/end_of_line.sh" QS2
has "$RESULTS/QS2.result" '^FAIL batteryvoltage: 99 is not'
SONARBENCH=/nowhere/sonarbench ends 1 "$examples/end_of_line.sh" QS3
ends 2 "$examples/end_of_line.sh" ../QS4

cd "$place"
UNITS=$'QS1 sonarbench-sim\nQS2 sonarbench-sim --product HZ02' ends 1 "$examples/ci_job.sh" lumetping 200long
has junit.xml 'classname="sonarbench.QS2"'
has junit.xml '<failure '
has report.html '</html>'
UNITS='QS3 sonarbench-sim' ends 0 "$examples/ci_job.sh" loadfpgabinary
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

# Replaces ssh: the host is the name of a product.
cat >ssh <<'END'
#!/bin/sh
unset UNITS
exec sonarbench-sim ${MISSING:+--remove "$MISSING"} --product "$1" $(eval "set -- $2"; shift; echo "$@")
END
chmod +x ssh
SSH=$place/ssh UNITS='QL4K QL6M' ends 0 "$examples/test_units.py"
SSH=$place/ssh UNITS='QL4K HZ02 QL6M' ends 1 "$examples/test_units.py"
has out "FAIL: test_firmware .*host='HZ02'"
has out 'failures=1)'
SSH=$place/ssh ends 1 "$examples/test_units.py"
MISSING=/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw SSH=$place/ssh UNITS=QL4K \
    ends 1 "$examples/test_units.py"
has out "^AssertionError: 'FAIL'"
