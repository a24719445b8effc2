"""The campaign of scripts/fault-campaign: runs the sanitized program on virtual units, one run a fault."""

import argparse
import collections
import concurrent.futures
import itertools
import os
import random
import subprocess
import sys
import tempfile

from line import LIMITS, PINGS, TANK_FILE
from outcomes import FINDINGS, NOT_REACHED, OUTCOMES, READER_GOOD, is_misread, outcome_of, status_of
from runs import COMMANDS, Case, mixed, play, products, run
from written_part import table_text, write_part

# Only the program is sanitized here; scripts/soak runs a sanitized simulator.
SIMULATOR = "build/release/bin/sonarbench-sim"
TABLE = "docs/faults.md"

# A slow reply takes real time, minutes on a serial line, and otherwise the same course as a reply in pieces.
NOT_PLAYED = {"slow": []}
# The values of the kinds that take one.
VALUES = {"ERRNO": ["EIO", "EAGAIN", "EINTR", "ENODEV", "ENOSPC"], "VALUE": ["0", "255"]} | NOT_PLAYED
# For the slice: one product for each link and firmware behaviour.
SLICE_PRODUCTS = ["QL4K", "QL6M", "QL1A", "Varrow", "LumetV2", "HY05"]
SLICE_VALUES = {"ERRNO": ["EIO"], "VALUE": ["255"]} | NOT_PLAYED


def arguments_of(case, *options):
    return case.arguments(SIMULATOR, "--scene", TANK_FILE, *options)


def limits_of(case):
    """Returns the reader's options for a ping that the line has limits for."""
    if PINGS.get(case.product) != case.words():
        return ()
    return "--product", case.product, "--limits", LIMITS / f"{case.product}.json"


def clean_run(case):
    """Returns the run of a case without a fault, and how many operations of each kind it made."""
    with tempfile.NamedTemporaryFile("r") as calls:
        clean = run(arguments_of(case, "--calls", calls.name))
        counts = {operation: int(count) for operation, count in map(str.split, calls)}
    if clean.status != 0 or is_misread(clean, clean):
        sys.exit(f"{case} does not run without a fault, or is misread: status {clean.status}\n{clean.errors}")
    if limits_of(case) and status_of(clean, *limits_of(case)) != READER_GOOD:
        sys.exit(f"{case} is not good by the line's limits")
    return clean, counts


def kinds():
    """Returns the kinds of each operation, as the simulator lists them."""
    table = collections.defaultdict(list)
    listed = subprocess.run([SIMULATOR, "--list-faults"], check=True, capture_output=True, text=True)
    for operation, kind in map(str.split, listed.stdout.splitlines()):
        table[operation].append(kind)
    return table


def single_faults(counts, table, values, everywhere):
    """Yields (operation, kind, specification), everywhere or only at the first and the last of each operation."""
    for operation, count in sorted(counts.items()):
        numbers = range(1, count + 1) if everywhere else sorted({1, count} if count else {})
        for number, kind in itertools.product(numbers, table[operation]):
            for value in values.get(kind, [kind]):
                yield operation, value if kind in values else kind, f"{operation}:{number}={value}"


class Tally:
    """Counts outcomes by row, and prints and counts the findings."""

    def __init__(self, findings):
        self.kinds_of_findings = findings
        self.rows = collections.defaultdict(collections.Counter)
        self.assertions = collections.Counter()
        self.findings = 0

    def add(self, row, outcome, text, arguments):
        self.rows[row][outcome] += 1
        if text:
            self.assertions[text] += 1
        if outcome in self.kinds_of_findings:
            print(f"{outcome}{': ' if text else ''}{text}: {' '.join(arguments)}", flush=True)
            self.findings += 1

    def total(self):
        return sum(self.rows.values(), collections.Counter())


def play_faults(jobs, plays, tally):
    """Plays (row, case, clean, specifications) side by side."""

    def one(item):
        row, case, clean, specifications = item
        arguments = arguments_of(case, *itertools.chain(*(("--fault", text) for text in specifications)))
        return row, arguments, outcome_of(clean, run(arguments), specifications, limits_of(case))

    for row, arguments, (outcome, text) in play(jobs, one, mixed(plays)):
        tally.add(row, outcome, text, arguments)


def counts_of(counter, outcomes=tuple(OUTCOMES)):
    return [counter.total()] + [counter[outcome] or "" for outcome in outcomes]


def document(singles, pairs, seed):
    """Returns the generated part of the table's file."""
    total = singles.total() + pairs.total()
    text = f"{total.total()} runs: {singles.total().total()} with one fault, {pairs.total().total()} with a pair "
    text += f"(seed {seed}).\n\n"
    rows = [[name, meaning, total[name]] for name, meaning in (OUTCOMES | FINDINGS).items()]
    text += table_text(["outcome", "what it is", "runs"], rows)
    text += "### Assertions\n\n"
    assertions = sorted((singles.assertions + pairs.assertions).items())
    rows = [[f"`{name}`", count] for name, count in assertions] or [["none", ""]]
    text += table_text(["text", "runs"], rows)
    text += "### One fault, by command\n\n"
    by_command = collections.defaultdict(collections.Counter)
    for (command, *_), counter in singles.rows.items():
        by_command[command] += counter
    head = ["command", "runs", *OUTCOMES]
    text += table_text(head, [[command, *counts_of(counter)] for command, counter in sorted(by_command.items())])
    text += "### A pair of faults, by command\n\n"
    outcomes = (*OUTCOMES, NOT_REACHED)
    rows = [[row[0], *counts_of(counter, outcomes)] for row, counter in sorted(pairs.rows.items())]
    text += table_text(["command", "runs", *outcomes], rows)
    text += "### One fault, by command and kind\n\n"
    head = ["command", "operation", "kind", "runs", *OUTCOMES]
    return text + table_text(head, [[*row, *counts_of(counter)] for row, counter in sorted(singles.rows.items())])


def random_pairs(faults, number, seed):
    """Returns plays of two faults each, the same for the same seed."""
    chance = random.Random(seed)
    cases = sorted(faults, key=lambda case: (case.command, case.product))
    pairs = []
    while len(pairs) < number:
        case = chance.choice(cases)
        clean, specifications = faults[case]
        if len(specifications) > 1:
            pairs.append(((case.command,), case, clean, chance.sample(specifications, 2)))
    return pairs


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--slice", action="store_true")
    options.add_argument("--pairs", type=int, default=4000)
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--jobs", type=int, default=16 * os.cpu_count())
    chosen = options.parse_args()

    table = kinds()
    values = SLICE_VALUES if chosen.slice else VALUES
    names = SLICE_PRODUCTS if chosen.slice else products(SIMULATOR)
    cases = [Case(name, command) for name, command in itertools.product(names, COMMANDS)]
    with concurrent.futures.ThreadPoolExecutor(chosen.jobs) as pool:
        cleans = dict(zip(cases, pool.map(clean_run, cases)))

    plays, faults = [], {}
    for case, (clean, counts) in cleans.items():
        found = list(single_faults(counts, table, values, not chosen.slice))
        faults[case] = clean, [specification for *_, specification in found]
        plays += [((case.command, operation, kind), case, clean, [text]) for operation, kind, text in found]
    singles, pairs = Tally(set(FINDINGS)), Tally(set(FINDINGS) - {NOT_REACHED})
    play_faults(chosen.jobs, plays, singles)
    if not chosen.slice:
        play_faults(chosen.jobs, random_pairs(faults, chosen.pairs, chosen.seed), pairs)
        write_part(TABLE, "scripts/fault-campaign", document(singles, pairs, chosen.seed))

    findings = singles.findings + pairs.findings
    print("\n".join([f"{count} runs: {name}" for name, count in sorted(singles.total().items())]))
    print(f"{findings} findings", flush=True)
    sys.exit(1 if findings else 0)


main()
