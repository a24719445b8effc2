#!/usr/bin/python3
"""Holds what sonarbench-report writes against the schema, the rules of JUnit and its exit statuses.

Usage: check_outputs.py PROGRAM SIMULATOR SCHEMA, from the repository's root.
"""
import csv
import json
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml
from pathlib import Path

import jsonschema

PROGRAM, SIMULATOR, SCHEMA = sys.argv[1:]
RUNS = {  # name of the transcript: what the virtual unit is, and runs
    "failed": "--product HZ02 lumetping 200long",
    "not-judged": "--product HY05 xkping examples/short.txt 0 1",
    "passed": "--product QL6M xkping examples/short.txt 1 4",
    "performed": "--product Varrow sensepin",
    "three-digits": "--product Varrow ping 200000 210000 27 45 0 low",
    "usage": "nonsense <&\"> \x01",
}
# Of a suite, as the strictest of the common schemas has it: its attributes, and its children in their order.
ATTRIBUTES = {"package", "id", "name", "timestamp", "hostname", "tests", "failures", "errors", "time"}
CHILDREN = ["properties", "testcase", "system-out", "system-err"]


def report(*arguments, text=None, status=0, complaint="", shell='exec "$0" "$@"'):
    run = subprocess.run(["sh", "-c", shell, PROGRAM, *arguments], input=text, capture_output=True, text=True,
                         check=False)
    assert run.returncode == status, (arguments, run)
    assert bool(run.stderr) == (status == 2) and complaint in run.stderr, (arguments, run.stderr)
    return run.stdout


def check_junit(text):
    suites = xml.fromstring(text)
    assert suites.tag == "testsuites" and not suites.attrib
    for number, suite in enumerate(suites):
        assert suite.tag == "testsuite" and set(suite.attrib) == ATTRIBUTES
        assert suite.get("id") == str(number) and [child.tag for child in suite] == CHILDREN
        assert all(item.tag == "property" and set(item.attrib) == {"name", "value"} and all(item.attrib.values())
                   for item in suite[0])
        assert set(suite[1].attrib) == {"name", "classname", "time"} and len(suite[1]) <= 1
        troubles = [trouble.tag for trouble in suite[1]]
        assert all(set(trouble.attrib) == {"message", "type"} for trouble in suite[1])
        assert (suite.get("failures"), suite.get("errors")) == \
            (str(troubles.count("failure")), str(troubles.count("error")))
        name = Path(suite.get("name")).name.split(":")[0]
        assert suite[1].get("classname") == "sonarbench." + name.removesuffix(".txt")
        yield name.removesuffix(".txt"), troubles


assert report("--help-all") == report("--help")
shown = set(re.findall(r"^  (?:-h, )?--([a-z-]+)", report("--help"), re.MULTILINE))
manual = Path("packaging/man/sonarbench-report.1").read_text()
assert shown == set(re.findall(r"^\.It (?:Fl h , )?Fl -([a-z-]+)", manual, re.MULTILINE)) | {"help-all"}, shown
offered = subprocess.run(["bash", "-c", """. packaging/completion/sonarbench; COMP_WORDS=("$0" --j); COMP_CWORD=1
_sonarbench_report; echo "${COMPREPLY[@]}" """, PROGRAM], capture_output=True, text=True).stdout.split()
assert sorted(offered) == ["--json", "--junit"], offered

with tempfile.TemporaryDirectory() as place:
    batch = Path(place, "batch")
    batch.mkdir()
    for name, command in RUNS.items():
        (batch / name).write_bytes(subprocess.run([SIMULATOR, *command.split(" ")], capture_output=True).stdout)
    outputs = {name: str(Path(place, name)) for name in ("json", "junit", "csv")}
    report(*(word for name, file in outputs.items() for word in ("--" + name, file)), str(batch), status=3)

    schema = json.loads(Path(SCHEMA).read_text())
    validator = jsonschema.Draft202012Validator(schema)
    validator.check_schema(schema)
    runs = [json.loads(line) for line in Path(outputs["json"]).read_text().splitlines()]
    for run in runs:
        validator.validate(run)
        assert not validator.is_valid({**run, "status": "OTHER"})
        assert run["unrecognisedLines"] == 0, run
    endings = {Path(run["transcript"]).name: (run["status"], run["result"]) for run in runs}
    not_made = ("ERROR", "NOT_APPLICABLE")
    assert endings == {"failed": ("COMPLETE", "FAIL"), "not-judged": not_made, "passed": ("COMPLETE", "PASS"),
                       "performed": ("COMPLETE", "NOT_APPLICABLE"), "three-digits": ("COMPLETE", "PASS"),
                       "usage": not_made}, endings
    assert runs[0]["dutInfo"]["serialNumber"] and runs[3]["measurements"][0]["name"] == "sensePin"

    assert dict(check_junit(Path(outputs["junit"]).read_text())) == {
        "failed": ["failure"], "not-judged": ["error"], "passed": [], "performed": [], "three-digits": [],
        "usage": ["error"]}

    with open(outputs["csv"], newline="") as file:
        rows = list(csv.DictReader(file))
    assert [int(row["value"]) for row in rows] == \
        [value for run in runs for value in run.get("samples", {"values": []})["values"]] and len(rows) > 1000

    passed, failed = ((batch / name).read_text() for name in ("passed", "failed"))
    report(str(batch / "passed"), str(batch / "performed"))
    report(text=passed + failed, status=1)
    report(str(batch / "failed"), "-", text=passed[:-9], status=3)
    report("--strict", text=passed)
    report("--strict", text="$\n" + passed, status=4)
    report(text="$\n" + passed)
    report(text="", status=3)
    # What is bad beside good ones is told, and they are read.
    bad = Path(place, "bad")
    bad.mkdir()
    (bad / "circle").symlink_to("circle")
    read = report(str(bad), str(batch / "none"), str(batch / "passed"), status=2, complaint="symbolic links")
    assert "1 runs, 1 passed" in read, read
    # Neither what is written there nor a mark of the byte order is a run, or lost.
    named, linked = bad / "json", bad / "linked"
    named.write_text(passed)
    linked.symlink_to(named)
    (bad / "circle").unlink()
    (bad / "passed.txt").write_text("\ufeff\n" + passed)
    report("--csv", str(bad / "csv"), str(bad), "--summary", "-", shell='exec "$0" "$@" >"$3/out"')
    assert "\\xef\\xbb\\xbf" in (bad / "out").read_text()
    same = "two outputs cannot go to"
    report("--json", str(named), "--csv", str(linked), status=2, complaint=same)
    assert named.read_text() == passed
    report("--json", "/dev/null", "--csv", "/dev/null", text=passed)
    report(status=2, complaint="-: Bad file descriptor", shell='exec "$0" <&-')
    for wrong, complaint in (
            (["--none"], "none"), (["--json", ""], "name"), (["--json", "-", "--csv", "-"], same), (["-", "-"], "once"),
            (["--json", str(batch / "passed"), str(batch / "passed")], "at once"),
            (["--json", "/dev/full", str(batch)], "No space left"), (["--width", "99.5"], "whole number"),
            (["--sample-clock", "nan"], "from 1 to")):
        report(*wrong, status=2, complaint=complaint)
    assert (batch / "passed").read_text() == passed
