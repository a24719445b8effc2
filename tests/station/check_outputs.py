#!/usr/bin/python3
"""Checks the outputs of sonarbench-station against the schema and the rules of JUnit, and its exit statuses.

Usage: check_outputs.py PROGRAM SIMULATOR SCHEMA, from the repository's root.
"""
import json
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml
from pathlib import Path

from formats import Schema, check_junit, csv_rows

PROGRAM, SIMULATOR, SCHEMA = sys.argv[1:]
RUNS = {  # name of the transcript: what the virtual unit is, and runs
    "failed": "--product HZ02 lumetping 200long",
    "not-judged": "--product HY05 xkping examples/short.txt 0 1",
    "passed": "--product QL6M xkping examples/short.txt 1 4",
    "performed": "--product Varrow sensepin",
    "three-digits": "--product Varrow ping 200000 210000 27 45 0 low",
    "usage": "nonsense <&\"> \x01",
}

def station(*arguments, text=None, status=0, complaint="", shell='exec "$0" "$@"'):
    run = subprocess.run(["sh", "-c", shell, PROGRAM, *arguments], input=text, capture_output=True, text=True,
                         check=False)
    assert run.returncode == status, (arguments, run)
    assert bool(run.stderr) == (status == 2), (arguments, run.stderr)
    assert complaint in run.stderr, (arguments, run.stderr)
    return run.stdout


def report(*arguments, **expected):
    return station("report", *arguments, **expected)


def options(text, pattern):
    return set(re.findall(r"^" + pattern + "-([a-z-]+)", text, re.MULTILINE))


def offered(*words):
    script = """. packaging/completion/sonarbench; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _sonarbench_station
echo "${COMPREPLY[@]}" """
    return sorted(subprocess.run(["bash", "-c", script, "bash", PROGRAM, *words], capture_output=True, text=True,
                                 check=True).stdout.split())


# Each subcommand is in the help, in the manual with its options, and in the completion.
manual = Path("packaging/man/sonarbench-station.1").read_text()
subcommands = re.findall(r"^  ([a-z]+) ", station("--help").split("Subcommands:")[1], re.MULTILINE)
assert "report" in subcommands, station("--help")
for subcommand in subcommands:
    shown = station("help", subcommand)
    assert station(subcommand, "--help") == shown
    section = re.search(rf"^\.Ss The subcommand {subcommand}$(.*?)^\.S[sh] ", manual, re.MULTILINE | re.DOTALL)
    assert section, f"the manual has no section for {subcommand}"
    differing = options(section[1], r"\.It Fl ") ^ options(shown, r"  (?:-h, )?-")
    assert differing == {"help", "version"}, f"manual and help of {subcommand} have different options: {differing}"
assert station("help") == station("--help")
assert re.fullmatch(r"sonarbench-station \d+\.\d+\.\d+\n", station("--version"))
assert offered("") == sorted(["--help", "--version", "help", *subcommands])
assert offered("help", "") == subcommands
assert offered("report", "--j") == ["--json", "--junit"]
assert offered("limits", "") == sorted(re.findall(r"^  ([a-z]+) ", station("help", "limits").split("Actions:")[1],
                                                  re.MULTILINE))
assert offered("report", "--receiver-law", "") == ["linear", "square-root"]
assert offered("report", "--color", "") == ["always", "auto", "never"]
for wrong, complaint in (
        ([], "subcommand is missing"), (["reprot"], "subcommand reprot; did you mean report?"),
        (["help", "rep"], "unknown subcommand rep"), (["--hepl"], "option --hepl; did you mean --help?"),
        (["report", "-json", "x"], "option -json; did you mean --json?"), (["report", "--help-all"], "unknown option"),
        (["report", "--width", "50", "--width", "60"], "--width can be given only once"),
        (["limits"], "an action is missing"), (["limits", "chek", "x"], "action chek; did you mean check?"),
        (["limits", "show", "x", "QL4K"], "takes FILE PRODUCT COMMAND"),
        (["limits", "check", "/nowhere"], "/nowhere: No such file"),
        (["report", "--product", "QL4K"], "--product needs --limits")):
    station(*wrong, status=2, complaint=complaint)
for stream, complaint in ((">/dev/full", "standard output: No space left"), (">&-", "standard output: Bad file")):
    station("--help", status=2, complaint=complaint, shell='exec "$0" "$@" ' + stream)

with tempfile.TemporaryDirectory() as place:
    batch = Path(place, "batch")
    batch.mkdir()
    for name, command in RUNS.items():
        (batch / name).write_bytes(subprocess.run([SIMULATOR, *command.split(" ")], capture_output=True).stdout)
    outputs = {name: str(Path(place, name)) for name in ("json", "junit", "csv", "samples", "measurements")}
    report(*(word for name, file in outputs.items() for word in ("--" + name, file)), str(batch), status=3)

    schema = Schema(Path(SCHEMA).read_text())
    runs = schema.runs(Path(outputs["json"]).read_text())
    for run in runs:
        assert not schema.validator.is_valid({**run, "status": "OTHER"})
        assert run["unrecognisedLines"] == 0, run
    endings = {Path(run["transcript"]).name: (run["status"], run["result"]) for run in runs}
    not_made = ("ERROR", "NOT_APPLICABLE")
    assert endings == {"failed": ("COMPLETE", "FAIL"), "not-judged": not_made, "passed": ("COMPLETE", "PASS"),
                       "performed": ("COMPLETE", "NOT_APPLICABLE"), "three-digits": ("COMPLETE", "PASS"),
                       "usage": not_made}, endings
    assert runs[0]["dutInfo"]["serialNumber"], runs[0]
    assert runs[3]["measurements"][0]["name"] == "sensePin", runs[3]

    assert {suite.get("name"): troubles for suite, troubles in check_junit(Path(outputs["junit"]).read_text())} == {
        "failed": [("failure", "failed")], "not-judged": [("error", "not judged")], "passed": [], "performed": [],
        "three-digits": [], "usage": [("error", "not judged")]}
    # The names of cases are the same wherever a run is read; a run file has the host and the times.
    subprocess.run([PROGRAM, "run", "--unit", "Q.1", "--station", "A", "--to", f"{place}/runs", "--", "cat",
                    batch / "passed"], capture_output=True, check=True)
    twice = ("report", "--junit", "-", str(batch / "passed"), str(batch / "passed"), f"{place}/runs")
    cases = [(suite.get("name"), suite[1].get("name")) for suite, _ in check_junit(station(*twice))]
    test = "xkping examples/short.txt 1 4, attempt "
    assert cases == [("passed", test + "1"), ("passed", test + "2"), ("Q_1", test + "1")], cases
    run, = Path(place, "runs").iterdir()
    header = dict(re.findall(r"^([a-z]+): (.*)$", run.read_text(), re.MULTILINE))
    suite, = xml.fromstring(station("report", "--junit", "-", str(run)))
    assert suite.get("hostname") == header["host"] and header["start"].startswith(suite.get("timestamp"))
    assert float(suite.get("time")) == float(header["seconds"])

    rows = csv_rows(Path(outputs["samples"]).read_bytes().decode())
    printed = [run["samples"]["values"] for run in runs if run.get("samples", {"values": []})["values"]]
    assert [int(row["value"]) for row in rows] == [value for values in printed for value in values]
    pings = csv_rows(Path(outputs["csv"]).read_bytes().decode())
    assert [[int(value) for value in row["samples"].split(" ")] for row in pings] == printed
    assert len(rows) > 1000, len(rows)
    rows = csv_rows(Path(outputs["measurements"]).read_bytes().decode())
    assert [(row["measurement"], float(row["value"]), row["unit"]) for row in rows] == \
        [(value["name"], float(f"{value['value']:.8g}"), value.get("unit", ""))
         for run in runs for value in run["measurements"]]
    assert {row["receiver law"] for row in rows} == {"", "square-root"}
    linear = report("--receiver-law", "linear", "--measurements", "-", str(batch / "three-digits"))
    assert linear.count(",dBFS,linear") == linear.count(",dBFS,") > 0, linear

    # The schema and the program agree on limits files; the exit status and the outputs follow the limits.
    limits_schema = Schema(Path(SCHEMA).with_name("limits.schema.json").read_text())
    rule = {"product": "Var*", "command": "sensepin", "measurement": "sensePin", "least": 0, "most": 4095,
            "note": "wire"}
    envelope = {"envelope": {"samples": 2, "low": [0, 0], "high": [9, 9], "outside": 0.5}}
    limits = Path(place, "limits.json")
    for rules, is_valid in (([rule], True), ([envelope, rule], True), ([], False), ([{**rule, "least": "0"}], False),
                            ([{**rule, **envelope}], False), ([{"measurement": "mean"}], False),
                            ([{**envelope, "most": 1}], False), ([{**rule, "unit": "V"}], False),
                            ([{**rule, "margin": -1}], False), ([{**rule, "product": ""}], False)):
        content = {"schemaVersion": {"major": 1, "minor": 0}, "rules": rules}
        limits.write_text(json.dumps(content))
        assert limits_schema.validator.is_valid(content) == is_valid, content
        station("limits", "check", str(limits), **({} if is_valid else {"status": 2, "complaint": "limits.json:1:"}))
    for product, least, status, fit in (("Varrow", 0, 0, "GOOD"), ("Varrow", 4095, 1, "BAD"), (None, 0, 3, None)):
        limits.write_text(json.dumps({"schemaVersion": {"major": 1, "minor": 0}, "rules": [{**rule, "least": least}]}))
        chosen = ["--product", product] if product else []
        run = json.loads(report("--limits", str(limits), *chosen, "--json", "-", str(batch / "performed"),
                                status=status))
        schema.validator.validate(run)
        assert [result["fit"] for result in run.get("limits", [])] == ([fit] if fit else []), run
    report("--limits", str(limits), "--product", "QL4K", status=2, complaint='no limit is for the product "QL4K"')
    assert "sensePin from 0 to 4095: wire" in station("limits", "show", str(limits), "VarrowX", "sensepin")
    # Limits that were learned from good units pass these and refuse another one.
    good = Path(place, "good")
    good.mkdir()
    reading = (batch / "performed").read_text()
    value = re.search(r"^Test Output: \n(.*)$", reading, re.MULTILINE)[1]
    for unit in range(20):
        (good / f"unit{unit}.txt").write_text(reading.replace(f"\n{value}\n", f"\n{1000 + unit % 7}\n"))
    learned = Path(place, "learned.json")
    shown = station("limits", "learn", "--product", "Varrow", "--output", str(learned), str(good))
    assert "sensepin: 1 limit from 20 runs of 20 units" in shown, shown
    assert limits_schema.validator.is_valid(json.loads(learned.read_text())), learned.read_text()
    again = Path(place, "again.json")
    station("limits", "learn", "--product", "Varrow", "--output", str(again), str(good))
    assert again.read_bytes() == learned.read_bytes()
    judged = ["--limits", str(learned), "--product", "Varrow"]
    report(*judged, str(good))
    report(*judged, text=reading.replace(f"\n{value}\n", "\n1100\n"), status=1)
    for wrong, complaint in (
            ([str(batch)], "failed:1: failed:"), ([str(good / "unit1.txt")], "at least 20 units"),
            (["--reject-rate", "0", str(good)], "--reject-rate takes"), ([str(good), "/nowhere"], "No such file")):
        again.unlink(missing_ok=True)
        station("limits", "learn", "--output", str(again), *wrong, status=2, complaint=complaint)
        assert not again.exists(), wrong
    station("limits", "learn", str(good), status=2, complaint="needs --output FILE")
    station("limits", "check", "--product", "Varrow", str(learned), status=2, complaint="takes no options")
    assert "no limit" in station("limits", "show", str(limits), "QL4K", "sensepin")

    passed, failed = ((batch / name).read_text() for name in ("passed", "failed"))
    report(str(batch / "passed"), str(batch / "performed"))
    for words, banner in ((["passed"], "PASS   1 run"), (["passed", "failed"], "FAIL   2 runs"),
                          (["failed", "not-judged"], "NOT TESTED   2 runs"), (["passed", "/nowhere"], "NOT TESTED   1 run")):
        shown = subprocess.run([PROGRAM, "report", "--verdict", *words], cwd=batch, capture_output=True, text=True,
                               check=False).stderr
        assert re.search(rf"^={{60}}\n  {banner} +\n={{60}}\n", shown, re.MULTILINE), shown
    # A terminal gets colours, unless they are unwanted.
    for unwanted, option, is_coloured in (("", "auto", True), ("1", "auto", False), ("1", "always", True),
                                          ("", "never", False)):
        master, terminal = os.openpty()
        subprocess.run([PROGRAM, "report", "--color", option, batch / "passed"], stdout=terminal, check=True,
                       env={**os.environ, "NO_COLOR": unwanted})
        assert (b"\x1b[32mpassed" in os.read(master, 1000)) == is_coloured, (unwanted, option)
        os.close(master)
        os.close(terminal)
    assert "\x1b" not in report(str(batch / "passed"))
    report(text=passed + failed, status=1)
    report(str(batch / "failed"), "-", text=passed[:-9], status=3)
    report("--strict", text=passed)
    report("--strict", text="$\n" + passed, status=4)
    report(text="$\n" + passed)
    report(text="", status=3)
    # If a file cannot be read, a message names it, and the others are read.
    bad = Path(place, "bad")
    bad.mkdir()
    (bad / "circle").symlink_to("circle")
    read = report(str(bad), str(batch / "none"), str(batch / "passed"), status=2,
                  complaint="circle: Too many levels of symbolic links")
    assert "1 run, 1 passed" in read, read
    # The output in that directory is not read, and a byte order mark is skipped.
    named, linked = bad / "json", bad / "linked"
    named.write_text(passed)
    linked.symlink_to(named)
    (bad / "circle").unlink()
    (bad / "passed.txt").write_text("\ufeff\n" + passed)
    report("--csv", str(bad / "csv"), str(bad), "--summary", "-", shell='exec "$0" "$@" >"$4/out"')
    read = (bad / "out").read_text()
    assert "3 runs, 3 passed" in read and ", 0 unrecognised" in read, read
    same = "two outputs cannot go to"
    report("--json", str(named), "--csv", str(linked), status=2, complaint=same)
    assert named.read_text() == passed
    report("--json", "/dev/null", "--csv", "/dev/null", text=passed)
    report(status=2, complaint="standard input: Bad file descriptor", shell='exec "$0" "$@" <&-')
    for wrong, complaint in (
            (["--none"], "none"), (["--json", ""], "name"), (["--json", "-", "--csv", "-"], same), (["-", "-"], "once"),
            (["--json", str(batch / "passed"), str(batch / "passed")], "at the same time"),
            (["--json", "/dev/full", str(batch)], "No space left"), (["--width", "99.5"], "whole number"),
            (["--sample-clock", "nan"], "from 1 to"), (["--receiver-law", "log"], "square-root or linear"),
            (["--color", "red"], "auto, always or never")):
        report(*wrong, status=2, complaint=complaint)
    assert (batch / "passed").read_text() == passed
