#!/usr/bin/python3
"""Runs the commands of README, docs and manuals as their readers would, and checks that the pages' links lead to files.

Usage: check_commands.py PROGRAMS BUILD, both directories; from the repository's root. BUILD is a complete build.

The commands of a Markdown page are its blocks of the language "sh", the lines "$ command" in its blocks of the language
"console" (the other lines are what the command prints; "[...]" is any text), and the table cells under the heading
"run this". Other fenced blocks need a language too, so that no command hides in them. The commands of a manual are its
EXAMPLES. One shell runs all commands of a page in order. The first one that fails is shown with its line.
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAMS, BUILD = (Path(argument).resolve() for argument in sys.argv[1:])
DOCUMENTATION = "/usr/share/doc/sonarbench"
SECONDS = 300

# Lines that are not run: page, line as a regular expression, reason.
NOT_RUN = [
    ("README.md", r"scripts/demo|scripts/test", "installs packages and runs for minutes"),
    ("README.md", r"\./sonarbench .*", "needs a real unit"),
    ("docs/architecture.md", r"(cmake|ctest) --preset .*", "builds for minutes"),
    ("README.md", r"man .*", "a small system has no man"),
    ("docs/station.md", r"UNITS=.* --lg-env .*", "needs benches; tests/station/check_benches.py runs it"),
]

# Pages that are read next to a unit, where "sonarbench" and "./sonarbench" are the program on the unit. In its place
# the test has a virtual unit of a product that the command is for. It fails if the unit does.
AT_A_UNIT = ["docs/station.md", "packaging/man/sonarbench.1", "packaging/man/sonarbench-station.1",
             "packaging/man/sonarbench-trace.1"]
UNIT = """#!/bin/bash
case ${1-} in
    ping) product=Varrow ;;
    lumetping | lowscanping) product=LumetV2 ;;
    *) product=QL4K ;;
esac
printed=$(sonarbench-sim --product "$product" "$@") || exit
printf '%s\\n' "$printed"
grep -qE '^Test Result: (Test Passed|Operation Performed)[.]$' <<<"$printed"
"""
# On a virtual unit, sonarbench-trace has to be started there.
RECORDER = f"""#!/bin/bash
exec sonarbench-sim --no-isolation --write . --program "${{0%/*}}/on-unit" "$@"
"""
ON_UNIT = f"""#!/bin/bash
PATH={PROGRAMS}:$PATH exec {PROGRAMS}/sonarbench-trace "$1" sonarbench "${{@:3}}"
"""
# Leaves out the host, and takes the program from PATH.
SSH = """#!/bin/bash
words=(${*:2})
exec "${words[0]##*/}" "${words[@]:1}"
"""

SHELL = """trap 'echo "$PAGE:$LINENO: this command ended with $?: $BASH_COMMAND"' ERR
exec 9>&1
BASH_XTRACEFD=9 PS4='+ $PAGE:$LINENO: '
set -eETx -o pipefail
. "$1"
"""

complaints = []


def complain(page, number, text):
    complaints.append(f"{page}:{number}: {text}")


def markdown_commands(page, text):
    """Returns {line number: (command, lines that it prints or None)}."""
    commands, expected, language, column = {}, None, None, None
    for number, line in enumerate(text.split("\n"), 1):
        if line.startswith("```"):
            language = line[3:] or "none" if language is None else None
            if language == "none":
                complain(page, number, "a block without a language; commands have sh or console")
        elif language == "sh":
            commands[number] = line, None
        elif language == "console" and line.startswith("$ "):
            expected = []
            commands[number] = line[2:], expected
        elif language == "console":
            expected.append(line)
        elif language is None and line.startswith("|"):
            cells = re.split(r"(?<!\\)\|", line)
            if column is None:
                column = [cell.strip() for cell in cells].index("run this") if "| run this |" in line else -1
            if codes := re.findall(r"`(.*?)`", cells[column]) if column > 0 else []:
                commands[number] = "; ".join(codes).replace(r"\|", "|"), None
        else:
            column = None
            if language is None and re.match(r" {4,}(\$ |\./|[\w/]*(scripts|bin)/|sonarbench|cmake |ctest )", line):
                complain(page, number, "a command in an indented block, which is not run; fence it")
    return commands


def manual_commands(text):
    examples, is_literal, commands = False, False, {}
    for number, line in enumerate(text.split("\n"), 1):
        plain = line.removeprefix(".Dl ").replace(r"\&", "").replace(r"\-", "-").replace(r"\e", "\\")
        if line.startswith(".Sh "):
            examples = line == ".Sh EXAMPLES"
        elif line.startswith((".Bd", ".Ed")):
            is_literal = line.startswith(".Bd -literal")
        elif examples and (is_literal or line.startswith(".Dl ")):
            commands[number] = plain, None
    return commands


def leave_out(page, commands):
    """Removes what is not run, and notes which rows of the table did so."""
    for row in NOT_RUN:
        matched = [number for number, (command, _) in commands.items() if re.fullmatch(row[1], command)]
        if row[0] == page:
            for number in matched:
                del commands[number]
            used.update([row] if matched else [])


def prints(expected, printed):
    pattern = re.escape("\n".join(line.rstrip() for line in expected).strip()).replace(r"\[\.\.\.\]", ".*")
    return re.fullmatch(pattern, "\n".join(line.rstrip() for line in printed.split("\n")).strip(), re.DOTALL)


def run(page, commands, place):
    """Runs the commands in a shell, each on the line that it has on the page."""
    lines = [""] * max(commands, default=0)
    for number, (command, expected) in commands.items():
        lines[number - 1] = command if expected is None else f"{{ {command}; }} 2>&1 | tee {place}/printed.{number}"
    (place / "script").write_text("\n".join(lines) + "\n")
    environment = {**os.environ, "PATH": f"{place}/bin:{os.environ['PATH']}", "PAGE": page, "LC_ALL": "C.UTF-8",
                   "COLUMNS": "80"}
    with open(place / "log", "w+") as log:
        shell = subprocess.Popen(["bash", "-c", SHELL, "bash", place / "script"], cwd=place / "home", env=environment,
                                 stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
        try:
            status = shell.wait(SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(shell.pid, signal.SIGKILL)
            status = "no end"
        log.seek(0)
        output = log.read()
    if status != 0:
        complaints.append(f"{page}: a command failed ({status}):\n" + "".join(output.splitlines(True)[-40:]))
        return
    for number, (command, expected) in commands.items():
        if expected is not None and not prints(expected, (place / f"printed.{number}").read_text(errors="replace")):
            complain(page, number, f"{command} prints something else:\n"
                     + (place / f"printed.{number}").read_text(errors="replace"))


def prepare(page, place):
    """Makes what the page's reader has: bin/ in front of PATH, and home/ to work in."""
    home, bin_ = place / "home", place / "bin"
    bin_.mkdir()
    if page.endswith(".md"):
        shutil.copytree(".", home, ignore=shutil.ignore_patterns(".git", "build", "fuzz", "tests"))
        (home / "build/release").mkdir(parents=True)
        (home / "build/release/bin").symlink_to(PROGRAMS)
    else:
        home.mkdir()
    if page != "README.md": # which starts without installed programs
        for program in ("sonarbench", "sonarbench-sim", "sonarbench-station"):
            (bin_ / program).symlink_to(PROGRAMS / program)
        for name, text in (("sonarbench-trace", RECORDER), ("on-unit", ON_UNIT)):
            (bin_ / name).write_text(text)
            (bin_ / name).chmod(0o755)
    if page in AT_A_UNIT:
        (bin_ / "sonarbench").unlink()
        shutil.copy("examples/short.txt", home) # as the pages say
        for name, text in ((bin_ / "sonarbench", UNIT), (bin_ / "ssh", SSH), (home / "sonarbench", UNIT)):
            name.write_text(text)
            name.chmod(0o755)


def check_links(page, text):
    for number, line in enumerate(text.split("\n"), 1):
        for link in re.findall(r'\]\(([^)#]+)|(?:src|srcset|href)="([^"#]+)', line):
            target = Path(page).parent / (link[0] or link[1])
            if "://" not in str(link) and not target.exists():
                complain(page, number, f"{target} does not exist")


used = set()
count = 0
with tempfile.TemporaryDirectory() as installed:
    subprocess.run(["cmake", "--install", BUILD, "--prefix", f"{installed}/usr", "--component", "tools"], check=True,
                   stdout=subprocess.DEVNULL)
    pages = ["README.md", *sorted(map(str, [*Path("docs").glob("*.md"), *Path("packaging/man").glob("*.1")]))]
    for name in pages:
        content = Path(name).read_text()
        found = markdown_commands(name, content) if name.endswith(".md") else manual_commands(content)
        check_links(name, content if name.endswith(".md") else "")
        leave_out(name, found)
        # What the packages install, in the place where this build installs it.
        found = {number: (command.replace(DOCUMENTATION, installed + DOCUMENTATION), expected)
                 for number, (command, expected) in found.items()}
        count += len(found)
        with tempfile.TemporaryDirectory() as scratch:
            prepare(name, Path(scratch))
            run(name, found, Path(scratch))
complaints += [f"{row[0]}: no line matches {row[1]}, which is not to be run" for row in NOT_RUN if row not in used]
print("\n".join(complaints) or f"{count} lines of {len(pages)} pages were run")
sys.exit(1 if complaints or count < 30 else 0)
