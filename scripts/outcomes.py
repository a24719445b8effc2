"""The outcome of a run of the fault campaign, judged by what the program printed and by what sonarbench-station says of
that."""

import dataclasses
import functools
import pathlib
import re
import subprocess

READER = ("build/release/bin/sonarbench-station", "report")
READER_GOOD, READER_BAD, READER_NOT_JUDGED = 0, 1, 3

# The assertions that a failing device or file may end in; any other is a finding.
ALLOWED = pathlib.Path("fuzz/AllowedAssertions.h").read_text()
ASSERTIONS = set(re.findall(r'R"\((.*)\)"', ALLOWED) + re.findall(r'\{"(.*)", BrokenBy_T', ALLOWED))

SEPARATOR = "-" * 51 + "\n"
FAILED = "Test Result: Tests Failed."
PERFORMED = "Test Result: Operation Performed."
VERDICTS = [FAILED, "Test Result: Test Passed.", PERFORMED]
SANITIZER = re.compile(r"runtime error:|ERROR: \w*Sanitizer|WARNING: \w*Sanitizer")
ASSERTION = re.compile(r"Assertion `(.*)' failed\.")
# What the program says when it could not do all of its test, whatever the verdict below it.
COMPLAINT = re.compile(r"^(Out: )?(ERROR|No (valid )?[Pp]roduct ID|SetOutputDataToLog)", re.MULTILINE)

# Outcomes, in the table's order, and what they are.
OUTCOMES = {
    "failed": '"Tests Failed."; without the fault, the run passes or performs',
    "assertion": "the program ended in an assertion, with its text on standard error and without a verdict",
    "changed": "passed or performed, as without the fault, but with another text",
    "slight": "a ping that passed with other samples, and is good by the line's limits, too; one bit had changed",
    "unseen": "passed or performed, with the same output, byte for byte, as without the fault",
    "fails anyway": '"Tests Failed.", as without the fault: this product has no such test',
    "rescued": "passed or performed; without the fault, the run fails",
}
# Of a pair, one fault can keep the other's operation from coming; of a single fault that is a finding.
NOT_REACHED = "not reached"
# What must not come of any run.
FINDINGS = {
    "hang": "the run did not end within a time far above the longest waits",
    "sanitizer": "the address or undefined-behaviour sanitizer reported something",
    "signal": "a signal ended the run, without an expected assertion",
    "half a report": "a report without a verdict at its end",
    "no verdict": "neither a report nor an assertion",
    "refused": "the device did not understand what the program sent, and no fault explains it",
    "exit status": "an exit status other than 0 that no outcome above explains",
    "misread": "`sonarbench-station` did not recognise a line, or its exit status does not fit the outcome",
    "missed": "a ping that passed with another text, and the line's limits find it good",
    NOT_REACHED: "the fault was never triggered",
}
# What can change a single bit can change a sample, or a setting, by too little for any limit.
SLIGHT = "=bit"


@dataclasses.dataclass
class Run:
    """A run that came to its end; a status of None is one that did not."""

    status: int | None
    output: bytes
    errors: str

    @property
    def verdict(self):
        """The verdict line, or what is wrong with the report."""
        text = self.output.decode("latin-1")
        if SEPARATOR not in text:
            return "no verdict"
        last = text.rstrip("\n").rpartition("\n")[2]
        return last if last in VERDICTS else "half a report"


def classify(clean, run):
    """Returns the outcome compared with the run without a fault, and the text of an assertion."""
    if run.status is None:
        return "hang", ""
    if SANITIZER.search(run.errors):
        return "sanitizer", ""
    if found := ASSERTION.search(run.errors):
        expected = found[1] in ASSERTIONS and SEPARATOR not in run.output.decode("latin-1")
        return ("assertion" if expected else "signal"), found[1]
    if run.status >= 128 or run.status < 0:
        return "signal", ""
    if "the device refused" in run.errors:
        return "refused", ""
    if "was never triggered" in run.errors:
        return NOT_REACHED, ""
    if run.status != 0:
        return "exit status", ""
    if run.verdict not in VERDICTS:
        return run.verdict, ""
    if clean.verdict == FAILED:
        return ("fails anyway" if run.verdict == FAILED else "rescued"), ""
    if run.verdict == FAILED:
        return "failed", ""
    return ("unseen" if run.output == clean.output else "changed"), ""


def fitting_statuses(clean, run):
    """Returns the exit statuses of the reader that fit."""
    if run.verdict not in VERDICTS:
        return {READER_NOT_JUDGED}
    if run.verdict == FAILED:
        return {READER_BAD, READER_NOT_JUDGED}
    if COMPLAINT.search(run.output.decode("latin-1")):
        return {READER_NOT_JUDGED}
    # A command that shows a file of the unit: where that is damaged, it may not be a number any more.
    is_damaged = run.verdict == PERFORMED and run.output != clean.output
    return {READER_GOOD, READER_NOT_JUDGED} if is_damaged else {READER_GOOD}


@functools.lru_cache(maxsize=4096)  # Many faults leave the same text.
def read(text, options):
    return subprocess.run([*READER, *options], input=text, capture_output=True, check=False).returncode


def status_of(run, *options):
    """Returns how the reader judges what the program printed, followed by its own lines on standard error."""
    own = "".join(line for line in run.errors.splitlines(True) if line.startswith("sonarbench: "))
    return read(run.output + own.encode("latin-1"), options)


def is_misread(clean, run):
    """Returns whether the reader misjudges a run."""
    return status_of(run, "--strict") not in fitting_statuses(clean, run)


def outcome_of(clean, run, faults, limits):
    """Returns the outcome compared with the run without faults, and the text of an assertion.

    limits are the reader's options for a ping that has limits."""
    outcome, text = classify(clean, run)
    if outcome in FINDINGS and outcome != NOT_REACHED:
        return outcome, text
    if is_misread(clean, run):
        return "misread", ""
    if outcome == "changed" and limits and status_of(run, *limits) == READER_GOOD:
        return ("slight" if any(fault.endswith(SLIGHT) for fault in faults) else "missed"), ""
    return outcome, text
