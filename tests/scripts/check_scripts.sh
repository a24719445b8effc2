#!/usr/bin/env bash
# Tests the scripts without installing or building: small programs with the names of apt-get, cmake and others print what
# the case needs. Usage: check_scripts.sh CTEST BUILD_DIRECTORY, from the repository's root.
set -euo pipefail
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir "$place/bin"
cp -r --parents scripts packages.txt fuzz/targets.txt tests/not-emulated.txt "$place"
cd "$place"
export CALLS=$place/calls PATH=$place/bin:$PATH

fail() { echo "check_scripts: $1" >&2; cat out >&2; exit 1; }
# ends STATUS COMMAND...: its output goes into the file out.
ends() {
    local wanted=$1 status=0
    shift
    "$@" >out 2>&1 </dev/null || status=$?
    ((status == wanted)) || fail "$* ended with $status"
}
has() { grep -qE -- "$1" out || fail "the output has no line like $1"; }
lacks() { ! grep -qE -- "$1" out || fail "the output has a line like $1"; }
last_line() { [[ $(tail -n 1 out) =~ ^$1$ ]] || fail "the last line is not like $1"; }
# instead PROGRAM LINE...: a script that runs instead of a program. It adds its arguments to the file calls.
instead() {
    printf '%s\n' '#!/bin/bash' 'echo "${0##*/} $*" >>"$CALLS"' "${@:2}" >"bin/$1"
    chmod +x "bin/$1"
}

# Names of tests are words, short enough to read.
ends 0 "$1" --test-dir "$2" --show-only
names=$(sed -n 's/^ *Test *#[0-9]*: //p' out)
[[ $names ]] || fail "no test has a name"
if grep -vE '^[A-Za-z0-9_./-]{1,100}$' <<<"$names" || grep -E '0x|-byte' <<<"$names"; then
    fail "these names of tests are not words, or longer than 100"
fi

instead dpkg-query 'exit 1'
instead apt-get
instead cmake
mapfile -t scripts < <(grep -lE '^#!.*bash$' scripts/*)
for script in "${scripts[@]}"; do
    ends 0 "$script" --help
    has "^Usage: $script"
    ends 2 "$script" --misspelt
    has "wrong arguments: --misspelt$"
    has "^Usage: $script"
done
ends 2 scripts/test relase
has 'release, debug, asan, clang'
ends 2 scripts/fuzz 30 table
has '^Targets: .*table_file'
[[ ! -e calls ]] || fail "wrong arguments started $(cat calls)"

# Missing packages: all that an ordinary user needs to paste is what root would run, once for each package.
packages=$(awk '$1 ~ /^(build|unit|test)$/ && !seen[$2]++ { printf " %s", $2 }' packages.txt)
install="apt-get -o DPkg::Lock::Timeout=600 install -y --no-install-recommends$packages"
if ((EUID == 0)); then
    chmod -R a+rX .
    ends 1 setpriv --reuid=65534 --clear-groups scripts/test
else
    ends 1 scripts/test
fi
grep -qxF "  sudo $install" out || fail "the line to paste is not: sudo $install"
last_line 'scripts/test: failed, 0:.. min'

# Root's apt-get finds the package lists locked once.
instead sleep
instead apt-get '[[ " $* " != *" --assume-no "* ]] || echo "After this operation, 7 MB of disk space will be used."' \
    '[[ $* != update || -e waited ]] || { touch waited; echo "E: Could not get lock"; exit 100; }'
instead cmake '[[ $1 != --build ]] || printf "%s\n" "[1/2] Building a.o" "[2/2] Linking b"'
instead ctest 'echo "1/2 Test #1: A.Good .... Passed 0.01 sec"' \
    '[[ $* != *exclude* ]] || { echo "2/2 Test #2: A.Bad ....***Failed 0.01 sec"; echo "the line of the bad test"; }' \
    'echo "50% tests passed, $(grep -c exclude <<<"$*") tests failed out of 2"; [[ $* != *exclude* ]]'
if ((EUID == 0)); then
    ends 1 scripts/test debug
    has '^After this operation, 7 MB'
    [[ $(grep -c '^apt-get update' calls) == 2 ]] || fail "apt's lock is not waited for"
    grep -qxF "$install -o APT::Status-Fd=1" calls || fail "another line is printed than runs"
fi

# Progress in a log, the lines of the failing test alone, and the counts.
instead dpkg-query 'echo installed'
sed -i 's/^progress_seconds=.*/progress_seconds=0/' scripts/common.sh
ends 1 scripts/test debug
has '^Building debug: 1 of 2 steps, 0:.. min$'
has '^Testing debug, quick half: 2 of 2 tests, 1 failed, 0:.. min$'
has '^the line of the bad test$'
lacks 'A\.Good|Building a\.o'
last_line '3 passed, 1 failed'

# The same on a terminal: one line that is renewed.
ends 1 script -qec 'scripts/test debug' /dev/null
has $'\rBuilding debug: 1 of 2 steps, 0:.. min\e\\[K\rBuilding debug: 2 of 2'
tr '\r' '\n' <out | grep -E '.{80}'$'\e' && fail "a renewed line is wider than 79 columns"

# A build that fails.
instead cmake '[[ $1 != --build ]] || { printf "%s\n" "[1/2] Building a.o" "FAILED: a.o" "a.cpp:1: error"; exit 1; }'
ends 1 scripts/demo
has '^a\.cpp:1: error$'
has '^Building release failed; all its output is in build/release\.log$'
last_line 'scripts/demo: failed, 0:.. min'
