# What the scripts share; source it from the repository's root, with -euo pipefail.

# Tests and tools hand paths on in shells' command lines, as they are. Letters beyond ASCII do no harm there.
plain=${PWD//[^[:ascii:]]/}
if [[ $(printf %q "$plain") != "$plain" ]]; then
    echo "This directory's path has blanks or other characters that a shell would not take as they are: $PWD" >&2
    exit 1
fi

# packages_for PURPOSE...: the Debian packages for these purposes, one a line.
packages_for() {
    local purposes=" $* "
    while read -r purpose package; do
        [[ $purpose == \#* || $purposes != *" $purpose "* ]] || echo "$package"
    done <packages.txt
}

# need PURPOSE...: installs the packages that are missing, or says what is missing and ends.
need() {
    local package missing=()
    for package in $(packages_for "$@"); do
        dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    if ((EUID != 0)); then
        echo "These packages are missing, and only root can install them:" >&2
        echo "  sudo apt-get install ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# quietly LOG COMMAND...: what the command says goes into a file; when it fails, everything is shown and the script ends.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        exit 1
    fi
}

# build PRESET TESTS [TARGET...]: configures and builds quietly, with the tests (ON) or without (OFF), which need
# packages of their own.
build() {
    local preset=$1 tests=$2
    shift 2
    echo "Building $preset"
    quietly "build/$preset.log" cmake --preset "$preset" -DSONARBENCH_TESTS="$tests"
    quietly "build/$preset.log" cmake --build --preset "$preset" ${@:+--target "$@"}
}

passed=0 failed=0
# run_tests PRESET [OPTION...]: runs the tests that ctest's options choose, all without, and counts them; the log is
# shown when one fails.
run_tests() {
    local preset=$1 log=build/$1/test.log summary
    shift
    echo "Testing $preset"
    ctest --preset "$preset" --parallel "$(nproc)" --output-junit test.xml "$@" >"$log" 2>&1 || true
    summary=$(grep -E '^[0-9]+% tests passed' "$log") || { cat "$log" >&2; exit 1; }
    [[ $summary =~ ,\ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
    ((BASH_REMATCH[1] == 0)) || cat "$log"
}

# report_tests: says how many tests there were, and fails if one did.
report_tests() {
    echo "$passed passed, $failed failed"
    ((failed == 0))
}

# debian_release: sets release and mirror, this machine's and where apt gets it from.
debian_release() {
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(REPO_URI)' "Created-By: Packages" "Release: $release" "Component: main" |
        head -n 1)
    if [[ -z $mirror ]]; then
        echo "apt knows no mirror of $release/main, from which the packages would come" >&2
        exit 1
    fi
}
