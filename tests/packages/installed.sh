#!/usr/bin/env bash
# Uses the installed packages; scripts/test-packages runs it in a bare system. With the argument demo it also runs the
# virtual unit. An emulated system cannot do that: it has neither the namespaces nor the tracing.
set -euo pipefail
export LC_ALL=C.UTF-8 TERM=dumb
failed=0

# expect WHAT PATTERN TEXT: says whether the text matches the pattern.
expect() {
    # shellcheck disable=SC2053 # it is a pattern
    if [[ $3 == $2 ]]; then
        echo "ok: $1"
    else
        printf 'not ok: %s; wanted %s, got:\n%s\n' "$1" "$2" "$3"
        failed=1
    fi
}

# typed KEYS: what bash makes of a typed command line, with Tab for \t. An echo in front shows the completed words.
typed() {
    printf '%b\001echo \nexit\n' "$1" |
        script -qec 'bash --noprofile --rcfile /usr/share/bash-completion/bash_completion -i' /dev/null | tr -d '\r\a'
}

help=$(cd / && { sonarbench 2>&1 || true; })
expect 'the program answers' '*batteryvoltage*' "$help"
# An emulated system starts the program, too, because its kernel starts the emulator.
(cd / && sonarbench-trace /tmp/recording sonarbench batteryvoltage >/dev/null 2>&1) || true
expect 'a recording' '*recording complete*file failed !ENOENT /sys/*' "$(cat /tmp/recording 2>&1)"
for page in sonarbench sonarbench-station sonarbench-sim sonarbench-trace; do
    text=$(MANWIDTH=80 man "$page" 2>&1)
    expect "man $page" "${page^^}(1)*NAME*SYNOPSIS*EXIT STATUS*SEE ALSO*" "$text"
    [[ $text != *warning* ]] || expect "man $page without warnings" '' "$text"
done

while IFS='|' read -r keys line; do
    expect "completion of ${keys//\\t/<Tab>}" "*"$'\n'"$line"$'\n'"*" "$(typed "$keys")"
done <<'CASES'
sonarbench batt\t|sonarbench batteryvoltage
sonarbench lumet\t3\t|sonarbench lumetping 350long
sonarbench ping 1 2 3 4 0 me\t|sonarbench ping 1 2 3 4 0 medium
sonarbench-station rep\t--js\t|sonarbench-station report --json
sonarbench-sim --product QL6\txk\t|sonarbench-sim --product QL6M xkping
sonarbench-sim --fault interrupt:1=n\t|sonarbench-sim --fault interrupt:1=never
CASES

if [[ ${1-} == demo ]]; then
    cd /usr/share/doc/sonarbench
    expect 'the demo' '*Samples: 1024*Test Result: Test Passed.' \
        "$(sonarbench-sim --product QL4K xkping examples/short.txt 0 1 2>&1)"
    expect 'a fault of a call, which the library plays' '*Test Result: Tests Failed.' \
        "$(sonarbench-sim --product QL4K --fault open:1=EIO xkping examples/short.txt 0 1 2>&1)"
    expect 'a run file' '*PASS*QS1000123*' \
        "$(sonarbench-station run --unit QS1000123 --station A --to /tmp/results -- sonarbench-sim sensepin 2>&1)"
    expect 'the database' '1 added*' "$(sonarbench-station import --database /tmp/results.db /tmp/results 2>&1)"
    expect 'a report from the database' '*performed: sensepin, unit QS1000123*' \
        "$(sonarbench-station report --database /tmp/results.db 2>&1)"
    expect 'the yield' '*all  1 *100.0 %*' "$(sonarbench-station yield --database /tmp/results.db 2>&1)"
    # Run files from outside, where the figures are compared.
    cd /tmp/yields
    import() { sonarbench-station import --database runs.db --limits "limits$1.json" "runs$1" 2>&1; }
    expect 'importing run files' '3?? added, 0 there before*' "$(import 0)"
    expect 'importing run files under other limits' '* added, 0 there before*' "$(import 1)"
    expect 'importing them again' '0 added, 3?? there before*' "$(import 0)"
    expect 'the figures' '' "$(sonarbench-station yield --database runs.db --json yield.json 2>&1)"
    expect 'the driver for a server' '*QPSQL: Unable to connect*' \
        "$(sonarbench-station import --database 'postgresql:///x?host=/nowhere' /tmp/results 2>&1)"
fi
exit "$failed"
