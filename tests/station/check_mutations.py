#!/usr/bin/python3
"""Damages transcripts in many ways, and checks that no damaged run passes and that every output stays valid.

Usage: check_mutations.py DIRECTORY COUNT [SEED], of the programs; from the repository's root. Transcript N has the
seed SEED + N (default 1), so a finding can be had again alone.

What may pass is decided here, from the text alone: a run passes only if all its lines are there as the program prints
them, with numbers that it can print and as many as the command line asks for, and if no line between it and the next
run contradicts its verdict.
"""
import random
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from formats import Schema, check_junit, check_page, csv_rows

PROGRAMS, COUNT = Path(sys.argv[1]), int(sys.argv[2])
SEED = int(sys.argv[3]) if len(sys.argv) > 3 else 1
BATCH = 500
COMMANDS = ["--product QL6M xkping examples/short.txt 1 128", "--product QL4K xkping examples/short.txt 0 64",
            "--product QL4K xkping examples/short.txt 0 1", "--product QL1A ping 200000 210000 27 45 0 low",
            "--product LumetV6 lumetping 200long", "--product LumetV2 lumetping 200long",
            "--product QL4K loadfpgabinary", "--product QL4K speed 1", "--product Varrow batteryvoltage",
            "--product Varrow sensepin", "--product HZ02 lumetping 200long", "--product HY05 sensepin"]
WEIGHTS = [8, 8, 1, 1, 1, 1, 8, 8, 8, 8, 4, 4]  # long transcripts are slow to check
DENIALS = [b"Test Result: Tests Failed.", b"Test Result: Test Passed.", b"Test Result: Operation Performed.",
           b"Test Result: ", b"NO VALID RETURN VALUE", b"ERROR: Ping failed.", b"Aborted (core dumped)",
           b"Segmentation fault", b"ERROR: Get ping failed with error code: -109."]
NUMBERS = [b"-1", b"65536", b"99999", b"256", b"007", b"1.99999", b"4294967297", b"", b"1e3", b"nan", b"+5", b" 5"]

# The text of whole runs.
NOTICE = rb"If unit segfaults below \(CFPGAIF constructor\), [^\n]*GetSounderType\(\)\n"
IMAGE = rb"cat /corvane/Application/[^\n]* > /dev/LSfpga\d+\n"
LOADING = rb"Loading FPGA\.\.\.\n" + NOTICE
NUMBER = rb"(?:0|[1-9]\d*)"
VERSION = rb"Firmware Version: (?P<major>" + NUMBER + rb")\.(?P<minor>" + NUMBER + rb")\n"
PASSED = rb"Test Result: Test Passed\.(?:\n|$)"
THREE_DIGITS = rb"\n<SonarFPGAData>(?P<digits>\d*)<EndSonarFPGAData>\n"
# Any lines of the sounder's script, except what a run prints elsewhere.
SCRIPT = rb"(?:(?:(?!-{51}$|.*<Sonar|.*Test |Parameters|.*/dev/LSfpga|If unit)[^\n]*\n)*?)"
STOP = rb"Command = [^\n]*\nOut: " + SCRIPT + rb"(?:[^\n]*3)\n"
# The header may follow a line that another run left without its end.
KINDS = {command: re.compile((rb"^" + before if before else b"") + rb"-{51}\n(?P<line>[^\n]+) \n\nTest Output: \n" + report, re.MULTILINE)
         for command, before, report in (
    (b"loadfpgabinary", IMAGE, LOADING + VERSION + PASSED),
    (b"speed", IMAGE, LOADING + rb"(?P<ticks>(?:Speed ticks: \d+\n)+)" + PASSED),
    (b"xkping", IMAGE + rb"\n<SonarFPGAData>(?P<values>[\d,]*)<EndSonarFPGAData>\n(?:Channel: (?P<channel>" + NUMBER +
     rb") )?Element: (?P<element>" + NUMBER + rb") Centre Freq: " + NUMBER +
     rb" & RxBand: [^\n]*\n\nSamples: (?P<taken>" + NUMBER + rb") Buffer Bytes: (?P<bytes>" + NUMBER + rb")\n",
     LOADING + PASSED),
    (b"ping", STOP + NOTICE + rb"\nParameters:\nCh0Period = \d+; Ch1Period = \d+ ; Start freq = [\d.]+; "
     rb"End freq = [\d.]+; Decimation rate = \d+ ; Samples = 993\n" + THREE_DIGITS, VERSION + PASSED),
    (b"lumetping", rb"(?:" + IMAGE + rb")?" + THREE_DIGITS, NOTICE + VERSION +
     rb"Attempting ping on channel (?:0 \(Sonar\)|1 \(Lowscan\)) at start frequency of: -?" + NUMBER + rb"\n" + PASSED),
    (b"batteryvoltage|sensepin", b"", rb"(?P<reading>-?\d+(?:\.\d*)?(?:[eE][-+]?\d+)?)\n\n?"
     rb"Test Result: Operation Performed\.(?:\n|$)"))}
# On standard error, so anywhere.
ASIDE = re.compile(rb"^(?:sh|cat): [^\n]*\n", re.MULTILINE)
# Printed before the report: the unit was not identified, and nothing was tested.
NOT_IDENTIFIED = re.compile(rb"(?:^|\n)(?:ERROR: Unknown Product type|ERROR: No Sonar|No valid product|No Product|ERROR: PRODUCT_ID)[^\n]*\n$")
DENIED = re.compile(rb"Test Result:|NO VALID RETURN VALUE|^ERROR: |Aborted|Segmentation fault", re.MULTILINE)
NEXT_RUN = re.compile(rb"^(?:-{51}|cat /corvane|Command = |Out: |<Sonar|Parameters:|If unit|Element: |Channel: |"
                      rb"Samples: |Ch0Period |ERROR: (?:No|Unknown Product|PRODUCT_ID|Failed to open file:)|No )", re.MULTILINE)


def argument(text):
    """As the program reads one: 32 bits; a text that is not a number is 0."""
    number = re.match(rb"\s*\+?(-?\d+)", text)
    return (int(number[1]) + 2**31) % 2**32 - 2**31 if number else 0


def is_right(command, run):
    """Whether the numbers of a run with the right lines are right."""
    found = {name: text for name, text in run.groupdict().items() if text is not None}
    words = found["line"].split(b" ")
    if len(words) < 2 or not re.fullmatch(command, words[1]):
        return False
    arguments = words[2:]
    if "major" in found and not (0 < int(found["major"]) < 255 and int(found["minor"]) <= 255):
        return False
    if command == b"speed":
        ticks = re.findall(rb": (\d+)\n", found["ticks"])
        return (all(str(int(tick)).encode() == tick and int(tick) <= 255 for tick in ticks) and
                argument(b" ".join(arguments)) in (0, len(ticks) - 1))
    if command == b"xkping":
        taken = int(found["taken"])
        step = min(max(argument(arguments[-1]), 1), max(taken, 1))
        while taken % step:
            step -= 1
        values = found["values"].removesuffix(b",").split(b",")
        return (len(arguments) >= 3 and 0 < taken <= 1048560 and int(found["bytes"]) == 2 * taken and
                all(value and str(int(value)).encode() == value and int(value) <= 65535 for value in values) and
                found["values"].endswith(b",") == (step > 1) and len(values) == taken // step and
                int(found["element"]) <= 1 and int(found.get("channel", 0)) <= 255)
    if "digits" in found:
        digits = found["digits"]
        return (len(digits) == 3 * (993 if command == b"ping" else 1024) and
                len(arguments) >= (6 if command == b"ping" else 1) and
                all(int(digits[at:at + 3]) <= 255 for at in range(0, len(digits), 3)))
    return "reading" not in found or float(found["reading"]) < float("inf")


def good_runs(text):
    """Places of the runs that may pass: offset of the first and of the last byte."""
    text = text.replace(b"\r\n", b"\n")
    text = ASIDE.sub(lambda line: b"\0" * (len(line[0]) - 1) + b"\n", text)  # unknown lines, so that offsets stay
    text = re.sub(rb"\0+\n", b"", text)
    good = 0
    for command, kind in KINDS.items():
        for run in kind.finditer(text):
            rest = text[run.end():]
            after = NEXT_RUN.search(rest)
            between = rest[:after.start()] if after else rest
            before = text[max(run.start() - 200, 0):run.start()]
            good += is_right(command, run) and not DENIED.search(between) and not NOT_IDENTIFIED.search(before)
    return good


def lines_of(text):
    return text.splitlines(keepends=True)


def mutate(text, others, rng):
    """The text with one change."""
    lines = lines_of(text)
    at = rng.randrange(len(lines)) if lines else 0
    where = rng.randrange(len(text) + 1)
    kind = rng.randrange(18)
    if kind == 0:
        del lines[at:at + rng.randint(1, 3)]
    elif kind == 1:
        lines[at:at] = lines[at:at + rng.randint(1, 3)]
    elif kind == 2:
        lines.insert(rng.randrange(len(lines) + 1), lines.pop(at) if lines else b"")
    elif kind == 3:
        return text[:where]
    elif kind == 4:
        return text[where:]
    elif kind == 5:
        return text[:where] + text[where + rng.randint(1, 40):]
    elif kind == 6:
        return text[:where] + bytes([rng.randrange(256)]) + text[where + 1:]
    elif kind == 7:
        numbers = list(re.finditer(rb"\d+", text))
        if numbers:
            number = rng.choice(numbers)
            return text[:number.start()] + rng.choice(NUMBERS) + text[number.end():]
    elif kind == 8:
        lines.insert(at, rng.choice(lines_of(rng.choice(others))))
    elif kind == 9:
        lines.insert(rng.randrange(len(lines) + 1), rng.choice(DENIALS) + b"\n")
    elif kind == 10:
        return text + rng.choice([b"", b"\n", b"$ exit\n"]) + rng.choice(DENIALS) + b"\n"
    elif kind == 11:
        return text + rng.choice(others)
    elif kind == 12:
        return rng.choice(others)[:rng.randrange(400)] + text
    elif kind == 13:
        lines = [line.rstrip(b"\n") if number == at else line for number, line in enumerate(lines)]
    elif kind == 14:
        return text.replace(b"\n", b"\r\n")
    elif kind == 15:
        return text[:where] + rng.choice([b"\0", b"\xef\xbb\xbf", b"\xff", b"\x1b[31m", b"\r", b"\n"]) + text[where:]
    elif kind == 16:
        other = lines_of(rng.choice(others))
        lines = lines[:at] + other[rng.randrange(len(other)):]
    else:
        lines = [re.sub(rb"Test Result: .*", rng.choice(DENIALS), line) for line in lines]
    return b"".join(lines)


def check_batch(place, first, originals, schema):
    files = []
    for number in range(first, min(first + BATCH, COUNT)):
        rng = random.Random(SEED + number)
        text = rng.choices(originals, WEIGHTS)[0]
        if rng.random() < 0.2:
            text += rng.choices(originals, WEIGHTS)[0]
        for _ in range(rng.choice([1, 1, 2, 3])):
            text = mutate(text, originals, rng)
        files.append(place / str(SEED + number))
        files[-1].write_bytes(text)
    outputs = {name: place / name for name in ("json", "junit", "csv", "samples", "html", "summary")}
    run = subprocess.run([PROGRAMS / "sonarbench-station", "report",
                          *(word for name, file in outputs.items() for word in ("--" + name, file)), *files],
                         capture_output=True, text=True, check=False)
    assert run.returncode in (0, 1, 3) and not run.stderr, (run.returncode, run.stderr)
    runs = schema.runs(outputs["json"].read_text())
    assert len(list(check_junit(outputs["junit"].read_text()))) == len(runs)
    for name in ("csv", "samples"):
        csv_rows(outputs[name].read_text())
    check_page(outputs["html"].read_text())
    passes, wrong = 0, []
    for file in files:
        found = sum(run["status"] == "COMPLETE" and run["result"] != "FAIL" for run in runs
                    if run["transcript"] == str(file))
        passes += found
        if found > good_runs(file.read_bytes()):
            wrong.append(f"seed {file.name}: {found} runs pass:\n{file.read_bytes()[:3000]!r}")
        file.unlink()
    return passes, wrong


def main():
    originals = [subprocess.run([PROGRAMS / "sonarbench-sim", *command.split()], capture_output=True,
                                check=False).stdout for command in COMMANDS]
    known = [good_runs(text) for text in originals]
    assert known == [1] * 10 + [0] * 2, f"the check itself does not know a whole run: {known}"
    schema = Schema(Path("station/report.schema.json").read_text())
    passes, wrong = 0, []
    with tempfile.TemporaryDirectory() as place:
        for first in range(0, COUNT, BATCH):
            more = check_batch(Path(place), first, originals, schema)
            passes, wrong = passes + more[0], wrong + more[1]
            print(f"[{min(first + BATCH, COUNT)}/{COUNT}]", flush=True)
    print("\n".join(wrong[:5]))
    print(f"{COUNT} damaged transcripts, {passes} runs pass, {len(wrong)} transcripts with a wrong pass")
    assert passes, "nothing passes, so nothing was checked"
    sys.exit(1 if wrong else 0)


main()
