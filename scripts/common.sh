# What the scripts share. Each sources it first; it goes to the repository's root.
# shellcheck shell=bash

unset CDPATH
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." || exit
script=scripts/${0##*/}
# How often a log gets a line of progress.
progress_seconds=10
# The last line of a script that has a better one than "done" or "failed".
verdict=

# Tests and tools pass paths to shells unquoted. Letters beyond ASCII do no harm there.
plain=${PWD//[^[:ascii:]]/}
if [[ $(printf %q "$plain") != "$plain" ]]; then
    echo "The path of this directory has blanks or other characters that a shell would not take literally: $PWD" >&2
    exit 1
fi

# arguments PATTERN ARGUMENT...: checks the script's arguments, joined by blanks, against an extended regular expression.
# --help prints the comment at the top of the script, and choices.
choices=
arguments() {
    local pattern=$1 usage
    shift
    usage=$(sed -n '2,/^[^#]/s/^# \?//p' "$script")${choices:+$'\n'$choices}
    case $* in
    -h | --help) echo "$usage" && exit ;;
    esac
    [[ $* =~ ^($pattern)$ ]] && return
    printf '%s: wrong arguments: %s\n%s\n' "$script" "${*:-none}" "$usage" >&2
    exit 2
}

# begin COST PURPOSE...: starts the script's work. It says what the script takes, installs what is missing, and makes
# sure that the last line is a verdict.
begin() {
    echo "$script takes $1"
    shift
    trap finish EXIT
    need "$@"
}

finish() {
    local status=$? word="done"
    ((status == 0)) || word=failed
    [[ ! -t 1 ]] || printf '\r\e[K'
    echo "${verdict:-$script: $word, $(elapsed)}"
}

elapsed() { printf '%d:%02d min' $((SECONDS / 60)) $((SECONDS % 60)); }

# packages_for PURPOSE...: the Debian packages for these purposes, one a line.
packages_for() { awk -v purposes=" $* " 'index(purposes, " " $1 " ") && !seen[$2]++ { print $2 }' packages.txt; }

# need PURPOSE...: installs the packages that are missing. Ends the script if only root can do that.
need() {
    local package missing=() install
    for package in $(packages_for "$@"); do
        dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    install=(-o DPkg::Lock::Timeout=600 install -y --no-install-recommends "${missing[@]}")
    if ((EUID != 0)); then
        echo "Packages are missing, and only root can install them:" >&2
        printf '  sudo apt-get %s\n' update "${install[*]}" >&2
        exit 1
    fi
    echo "Packages are missing: apt-get ${install[*]}"
    quietly build/apt.log "Fetching the package lists" "" apt_get update
    LC_ALL=C apt-get "${install[@]}" --assume-no -o Debug::NoLocking=1 2>/dev/null |
        grep -E '^(Need to get|After this operation)' || true
    DEBIAN_FRONTEND=noninteractive quietly build/apt.log "Installing" percent apt_get "${install[@]}" -o APT::Status-Fd=1
}

# apt_get ARGUMENT...: apt-get, again while another one runs. Its own DPkg::Lock::Timeout ignores the locks of the
# package lists and the downloads.
apt_get() {
    local seconds=600
    until LC_ALL=C apt-get "$@" 2>&1 | tee build/apt-get.log; do
        grep -q 'Could not get lock' build/apt-get.log && ((seconds -= 5)) || return 1
        sleep 5
    done
}

# show_progress: where show_lines is, in the same line again on a terminal, else in a line of its own.
show_progress() {
    local line
    line="$what: ${all:+$count of $all $unit, }${failures:+$failures failed, }$(elapsed)"
    if [[ -t 1 ]]; then
        printf '\r%s\e[K' "${line:0:79}"
    else
        echo "$line"
    fi
    shown=$SECONDS
}

# show_progress_when_due: always on a terminal, every few seconds in a log.
show_progress_when_due() {
    if [[ -t 1 ]] || ((SECONDS - shown >= progress_seconds)); then
        show_progress
    fi
}

# show_lines WHAT UNIT: reads what a command prints, shows its progress, and passes on the lines that matter, such as
# those of a failing test. Knows the progress of ninja, ctest, cppcheck, apt, and "[N/M]" of this project's scripts.
show_lines() {
    local what=$1 unit=$2 count all='' failures='' shown=$SECONDS line='' part blank='' status
    local step='^ *\[?([0-9]+)/([0-9]+)(\]| Test | files checked)' apt='^[dp][lm]status:.*:([0-9]+)\.[0-9]+:()'
    local noise='^(-- |Checking | +Start +[0-9]+: |Test project |ninja: no work|[0-9]+% tests passed|Total Test time)'
    show_progress_when_due
    while :; do
        status=0
        IFS= read -r -t 1 part || status=$?
        line+=$part
        if ((status > 128)); then
            show_progress_when_due # Nothing came for a second.
            continue
        fi
        ((status == 0)) || [[ $line ]] || break
        if [[ $line =~ $step || $line =~ $apt ]]; then
            count=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]:-100}
            [[ ! $line =~ \*\*\*(Failed|Exception|Timeout|Not Run) ]] || ((++failures))
            [[ $line == *'***'* ]] || line=
        elif [[ ${quiet:-} || $line =~ $noise ]]; then
            line= blank=
        elif [[ -z $line ]]; then
            blank=$'\n'
        fi
        if [[ $line ]]; then
            [[ ! -t 1 ]] || printf '\r\e[K'
            printf '%s%s\n' "$blank" "$line"
            line='' blank='' shown=$SECONDS
        else
            show_progress_when_due
        fi
    done
    show_progress
    [[ ! -t 1 ]] || echo
}

# watched LOG WHAT UNIT COMMAND...: runs a command with show_lines; the log gets all that it prints.
watched() {
    local log=$1 what=$2 unit=$3
    shift 3
    mkdir -p "$(dirname -- "$log")"
    "$@" 2>&1 | tee "$log" | show_lines "$what" "$unit" && return
    echo "$what failed; all its output is in $log"
    return 1
}

# quietly LOG WHAT UNIT COMMAND...: the same, but shows only progress, and the end of the output if the command fails.
quietly() {
    quiet=yes watched "$@" && return
    tail -n 50 "$1"
    return 1
}

# build PRESET TESTS [TARGET...]: configures and builds, with the tests (ON) or without (OFF), which need packages of
# their own.
build() {
    local preset=$1 tests=$2
    shift 2
    quietly "build/$preset.log" "Configuring $preset" "" cmake --preset "$preset" -DSONARBENCH_TESTS="$tests"
    NINJA_STATUS='[%f/%t] ' watched "build/$preset.log" "Building $preset" steps \
        cmake --build --preset "$preset" ${@:+--target "$@"}
}

passed=0 failed=0
# run_tests PRESET HALF [OPTION...]: runs the quick or the slow half of the tests, less what ctest's options leave out,
# and counts them. Tests wait for half of their time, so two for each core run at once.
run_tests() {
    local preset=$1 half=$2 log=build/$1/$2-tests.log chosen=--label-exclude summary
    [[ $half == quick ]] || chosen=--label-regex
    shift 2
    watched "$log" "Testing $preset, $half half" tests \
        ctest --preset "$preset" --parallel $((2 * $(nproc))) --no-label-summary "$chosen" "^slow\$" "$@" || true
    summary=$(grep -E '^[0-9]+% tests passed' "$log")
    [[ $summary =~ ,\ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
}

# report_tests: makes the counts the verdict, and fails if a test did.
report_tests() {
    verdict="$passed passed, $failed failed"
    ((failed == 0))
}

# debian_release: sets release and mirror: this machine's release, and where apt gets it from.
debian_release() {
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(REPO_URI)' "Created-By: Packages" "Release: $release" "Component: main" |
        head -n 1)
    if [[ -z $mirror ]]; then
        echo "apt knows no mirror of $release/main to fetch the packages from" >&2
        exit 1
    fi
}
