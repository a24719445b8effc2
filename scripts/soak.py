"""The runs of scripts/soak: every command on every product, in turn, under load."""

import argparse
import hashlib
import itertools
import os
import pathlib
import sys
import tempfile

from outcomes import FINDINGS, NOT_REACHED, classify
from runs import COMMANDS, Case, mixed, play, products, run

SIMULATOR = "build/asan/bin/sonarbench-sim"
# The options of a run besides its product and command; FILE is one that the simulator writes.
FILE = "FILE"
OPTIONS = [
    [],
    ["--trace", FILE],
    ["--report", FILE],
    ["--calls", FILE],
    ["--truth", FILE],
    ["--fault", "write:2=EIO", "--trace", FILE],
    ["--fault", "read:1=EIO"],
]
# How many bad runs are shown with their standard error, and how much of it.
SHOWN_RUNS, SHOWN_LINES = 5, 60


def play_once(arguments):
    """Returns the run, and a hash of the file that it wrote."""
    with tempfile.TemporaryDirectory() as directory:
        file = pathlib.Path(directory, "file")
        result = run([str(file) if word == FILE else word for word in arguments])
        return arguments, result, hashlib.sha256(file.read_bytes()).digest() if file.exists() else b""


def what_is_bad(result, file, firsts, arguments):
    """Returns what is wrong with a run, or nothing. Runs of a command line must equal the first good one."""
    outcome, text = classify(result, result)
    if outcome in FINDINGS and outcome != NOT_REACHED:
        return f"{outcome}{': ' if text else ''}{text} (exit status {result.status})"
    first, first_file = firsts.setdefault(" ".join(arguments), (result, file))
    if result != first:
        return f"exit status {result.status}, output or standard error differ from an earlier run's"
    return "" if file == first_file else "the written file differs from an earlier run's"


def main():
    options = argparse.ArgumentParser()
    options.add_argument("runs", type=int)
    options.add_argument("--load", type=int, default=4)
    chosen = options.parse_args()

    lines = [
        Case(product, command).arguments(SIMULATOR, *extra)
        for product, command, extra in itertools.product(products(SIMULATOR), COMMANDS, OPTIONS)
    ]
    items = list(itertools.islice(itertools.cycle(mixed(lines)), chosen.runs))
    firsts, bad = {}, []
    for arguments, result, file in play(chosen.load * os.cpu_count(), play_once, items):
        if reason := what_is_bad(result, file, firsts, arguments):
            bad.append(reason)
            if len(bad) <= SHOWN_RUNS:
                shown = result.errors.splitlines()[:SHOWN_LINES]
                print("\n".join([f"{reason}: {' '.join(arguments)}", *shown]), flush=True)
    print(f"{len(items)} runs, {len(bad)} ended badly", flush=True)
    sys.exit(1 if bad else 0)


main()
