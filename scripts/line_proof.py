"""The proof of scripts/line-proof: limits learned from good units find the units that do not hear."""

import argparse
import collections
import dataclasses
import itertools
import json
import os
import pathlib
import shutil
import subprocess
import sys

from line import LIMITS, PINGS, TANK
from runs import mixed, play
from written_part import table_text, write_part

BIN = pathlib.Path("build/release/bin").absolute()
SIMULATOR, PROGRAM, STATION = BIN / "sonarbench-sim", BIN / "sonarbench", BIN / "sonarbench-station"
DOCUMENT = "docs/limits.md"
SCHEMA = pathlib.Path("simulator/scene.schema.json")
WORK = pathlib.Path("build/line-proof")

SLICE_PRODUCTS = ["QL4K", "Varrow"]
# Five severities of each kind of defect, from the slightest to the worst.
SHARES = [0.05, 0.1, 0.25, 0.5, 1]
LOST = [0.25, 0.5, 0.75, 0.9, 1]
DECIBELS = [3, 6, 10, 20, 40]
BITS = [1, 4, 8, 12, 16]
SEVERITIES = {
    "deadZeros": SHARES,
    "deadConstant": SHARES,
    "deadNoise": SHARES,
    "deaf": DECIBELS,
    "noisy": DECIBELS,
    "clipping": DECIBELS,
    "stuckHigh": BITS,
    "stuckLow": BITS,
    "missingCodes": [0.05, 0.2, 0.5, 0.8, 0.95],
    "dropouts": [0.002, 0.01, 0.05, 0.2, 0.5],
    "interference": [20, 30, 40, 50, 60],
    "offset": [0.001, 0.01, 0.03, 0.1, 0.3],
    "weakTransmitter": DECIBELS,
    "longRinging": [0.1, 0.25, 0.5, 1, 3],
    "noTransducer": LOST,
    "wrongFrequency": [0.005, 0.01, 0.03, 0.1, 0.3],
    "swappedChannels": LOST,
    "staleSamples": SHARES,
    "wrongClock": [0.0005, 0.002, 0.01, 0.05, 0.2],
}

# Seeds of the units: those that are learned from, the other good ones, and the bad ones never overlap.
LEARN, GOOD, BAD = 1, 1_000_001, 2_000_001


@dataclasses.dataclass(frozen=True)
class Amount:
    """How many units are played."""

    learned: int
    good: int
    bad: int  # of each defect and severity


# The goal: of the good units at most this share is rejected, and no unit with a defect at its worst passes.
MOST_REJECTED = 0.01

WHOLE, SLICE = Amount(200, 1000, 50), Amount(50, 50, 2)
TO_LEARN = Amount(WHOLE.learned, 0, 0)


@dataclasses.dataclass(frozen=True)
class Unit:
    """A virtual unit on the line."""

    product: str
    group: str  # units that are judged together
    seed: int
    defects: dict = dataclasses.field(default_factory=dict, hash=False)

    @property
    def transcript(self):
        return WORK / self.product / self.group / f"{self.seed}.txt"

    def test(self):
        """Pings twice, because samples that are always the same show only in a second ping."""
        self.transcript.parent.mkdir(parents=True, exist_ok=True)
        scene = self.transcript.with_suffix(".json")
        scene.write_text(json.dumps(TANK | {"seed": self.seed, "unit": {"seed": self.seed, "defects": self.defects}}))
        twice = ["--program", "/bin/sh", "--", "-c", '"$@" && "$@"', "line"]
        words = [SIMULATOR, "--product", self.product, "--scene", scene, *twice, PROGRAM, *PINGS[self.product]]
        with open(self.transcript, "wb") as output:
            subprocess.run(words, check=True, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
        scene.unlink()


def station(*words):
    return subprocess.run([STATION, *words], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)


def learn(product, directory):
    """Returns the file in the directory with the limits that were learned from the product's good units."""
    limits = directory / f"{product}.json"
    learned = station("limits", "learn", "--product", product, "--output", limits, WORK / product / "learned")
    if learned.returncode != 0:
        sys.exit(f"no limits for {product}: {learned.stderr}")
    # The table file may be in any directory.
    limits.write_text(limits.read_text().replace('"setting":"examples/', '"setting":"*'))
    return limits


def passed(product, group, limits):
    """Returns how many of the units of a group pass: both pings of them, whatever the others are judged."""
    directory = WORK / product / group
    judged = station("report", "--product", product, "--limits", limits, "--summary", "-", directory)
    outcomes = collections.defaultdict(list)
    for line in judged.stdout.splitlines()[:-1]:
        if line.startswith(str(directory)):
            name, _, rest = line.partition(":")
            outcomes[name].append(rest.split(": ")[1])
    assert len(outcomes) == len(list(directory.iterdir())), judged.stderr
    return sum(runs == ["passed", "passed"] for runs in outcomes.values())


def name_of(kind, severity):
    return f"{kind}-{severity:g}"


def units_of(product, amount, severities):
    """Returns the product's units: those to learn from, and those to judge."""
    learned = [Unit(product, "learned", LEARN + number) for number in range(amount.learned)]
    judged = [Unit(product, "good", GOOD + number) for number in range(amount.good)]
    seeds = itertools.count(BAD)
    for kind, values in severities.items():
        for severity in values:
            group = name_of(kind, severity)
            judged += [Unit(product, group, next(seeds), {kind: severity}) for _ in range(amount.bad)]
    return learned + judged


def percent(part, whole):
    """A percentage for people. It shows 0 only for no unit, and 100 only for all of them."""
    text = f"{100 * part / whole:.1f}"
    return {"0.0": "0" if part == 0 else "< 0.1", "100.0": "100" if part == whole else "> 99.9"}.get(text, text)


def document(amount, products, rejected, found):
    """Returns the part of the document with the shares."""
    text = f"Learned from {amount.learned} good units of each product; {amount.good} other good units, and {amount.bad} units with\n"
    text += "each defect at each severity, of each product. Two pings of each unit.\n\n"
    rows = [[product, " ".join(PINGS[product]), percent(rejected[product], amount.good)] for product in products]
    text += table_text(["product", "test", "good units rejected, %"], rows)
    text += "Bad units found, % (severity), of all products:\n\n"
    rows = []
    for kind, severities in SEVERITIES.items():
        shares = [
            percent(sum(found[product, name_of(kind, value)] for product in products), amount.bad * len(products))
            for value in severities
        ]
        rows.append([f"`{kind}`", *(f"{share} ({value:g})" for share, value in zip(shares, severities))])
    text += table_text(["defect", *["slightest"], "", "", "", "worst"], rows)
    text += "The smallest of these severities from which on each unit is found, by product:\n\n"
    rows = [[f"`{kind}`", *(always_found(product, kind, amount, found) for product in products)] for kind in SEVERITIES]
    return text + table_text(["defect", *products], rows)


def always_found(product, kind, amount, found):
    """Returns the smallest severity from which on all units are found, as text."""
    smallest = "-"
    for severity in reversed(SEVERITIES[kind]):
        if found[product, name_of(kind, severity)] < amount.bad:
            break
        smallest = f"{severity:g}"
    return smallest


def main():
    options = argparse.ArgumentParser()
    part = options.add_mutually_exclusive_group()
    part.add_argument("--slice", action="store_true")
    part.add_argument("--learn", action="store_true")
    options.add_argument("--jobs", type=int, default=4 * os.cpu_count())
    chosen = options.parse_args()

    schema = json.loads(SCHEMA.read_text())["properties"]["unit"]["properties"]["defects"]["properties"]
    if missing := schema.keys() ^ SEVERITIES.keys():
        sys.exit(f"defects of {SCHEMA} and of this script differ: {', '.join(sorted(missing))}")
    amount = SLICE if chosen.slice else TO_LEARN if chosen.learn else WHOLE
    products = SLICE_PRODUCTS if chosen.slice else list(PINGS)
    severities = {kind: values[-1:] if chosen.slice else values for kind, values in SEVERITIES.items()}
    shutil.rmtree(WORK, ignore_errors=True)
    units = [unit for product in products for unit in units_of(product, amount, severities)]
    for _ in play(chosen.jobs, Unit.test, mixed(units)):
        pass
    if chosen.learn:
        for product in products:
            learn(product, LIMITS)
        return

    rejected, found, missed = {}, {}, []
    for product in products:
        limits = learn(product, WORK if chosen.slice else LIMITS)
        rejected[product] = amount.good - passed(product, "good", limits)
        for kind, values in severities.items():
            for severity in values:
                group = name_of(kind, severity)
                found[product, group] = amount.bad - passed(product, group, limits)
                if severity == SEVERITIES[kind][-1] and found[product, group] < amount.bad:
                    missed.append(f"{product}: {amount.bad - found[product, group]} units with {group} pass")
    good = sum(rejected.values())
    print(f"{good} of {amount.good * len(products)} good units rejected", flush=True)
    if missed:
        print("\n".join(missed), flush=True)
    if not chosen.slice:
        write_part(DOCUMENT, "scripts/line-proof", document(amount, products, rejected, found))
    sys.exit(1 if missed or good > MOST_REJECTED * amount.good * len(products) else 0)


main()
