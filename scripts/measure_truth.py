"""The scenes of scripts/measure-truth: what sonarbench-station measures in random good scenes, and what the virtual unit
put into their samples.

Usage: measure_truth.py DIRECTORY SCENES [SEED], of the programs; from the repository's root.
"""
import concurrent.futures
import csv
import dataclasses
import io
import json
import math
import os
import random
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAMS, SCENES = Path(sys.argv[1]), int(sys.argv[2])
SEED = int(sys.argv[3]) if len(sys.argv) > 3 else 1
# Transcripts that are read at once.
BATCH = 250

SETTINGS = {
    "xkping": ["examples/short.txt 0 1", "examples/full.txt 0 1"],
    "ping": ["200000 210000 27 45 0 low", "200000 210000 27 45 0 high"],
    "lumetping": ["200long", "350long"],
    "lowscanping": ["200long", "350long"],
}
METRES_A_SECOND = 1500 / 2
# What a sample unit is of full scale, by bits; the end of the ring-down is at this amplitude.
RING_DOWN_END = {16: 0.1, 8: 0.3 ** 2}
# Of the bottom over the noise, dB. Below it, noise alone can move the level of one sample by more than 1 dB.
STRONG = 30
# Of strong bottoms, and of all scenes.
MOST_MISSED, MOST_ABSENT = 0.02, 0.3


@dataclasses.dataclass
class Figure:
    """Errors of a measurement."""

    limit: float
    unit: str
    errors: list = dataclasses.field(default_factory=list)

    def row(self, name):
        worst = max(map(abs, self.errors), default=0)
        beyond = sum(abs(error) > self.limit for error in self.errors)
        mean = sum(self.errors) / max(len(self.errors), 1)
        print(f"{name:<44}{len(self.errors):>8,}{beyond:>10,}{mean:>10.3f}{worst:>10.3f}  at most {self.limit:g} {self.unit}")
        return beyond == 0 and self.errors


def run(*arguments):
    words = [str(part) for part in arguments]
    return subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False).stdout


def simulate(product, command, *options):
    return run(PROGRAMS / "sonarbench-sim", "--product", product, *options, *command.split())


def set_ups(place):
    """Each product's pings, the nearest good bottom, and the metres that their samples reach."""
    for line in run(PROGRAMS / "sonarbench-sim", "--list-products").splitlines():
        code, product, *words = line.split() + [""]
        for command in (set(words) & set(SETTINGS)) if code.isdigit() else ():
            for setting in SETTINGS[command]:
                truth = place / "truth"
                simulate(product, f"{command} {setting}", "--truth", truth)
                # A product without a channel for the setting does not ping.
                for ping in map(json.loads, truth.read_text().splitlines()):
                    metres = ping["interval"] * METRES_A_SECOND
                    nearest = max(6, 2 * ping["ringDown"]["end"] * metres)
                    yield product, f"{command} {setting}", nearest, ping["samples"] * metres


def scene_of(generator, nearest, reach):
    """A good unit, in water with or without a bottom."""
    depth = math.exp(generator.uniform(math.log(nearest), math.log(0.9 * min(reach, 120))))
    has_bottom = generator.random() < 0.7
    lowest_fish = depth - 0.5 if has_bottom else 60
    return {
        "bottom": {"depth": depth, "strength": generator.uniform(-30, -2)} if has_bottom else None,
        "fish": [{"depth": generator.uniform(2, lowest_fish), "strength": generator.uniform(-60, -30),
                  "offset": generator.uniform(-2, 2)} for _ in range(generator.randrange(5))],
        "noise": math.exp(generator.uniform(math.log(10), math.log(150))),
        "seed": generator.randrange(2**32),
        "unit": {"seed": generator.randrange(2**32)},
    }


def make(job):
    """Writes the transcript of a scene, and returns its truth."""
    file, product, command, scene = job
    scene_file, truth_file = file.with_suffix(".scene"), file.with_suffix(".truth")
    scene_file.write_text(json.dumps(scene))
    file.write_text(simulate(product, command, "--scene", scene_file, "--truth", truth_file))
    (truth,) = map(json.loads, truth_file.read_text().splitlines())
    scene_file.unlink()
    truth_file.unlink()
    return file, truth


def measured_in(directory):
    """Values by transcript and name."""
    text = run(PROGRAMS / "sonarbench-station", "report", "--measurements", "-", directory)
    values = {}
    for row in csv.DictReader(io.StringIO(text)):
        values.setdefault(row["transcript"], {})[row["measurement"]] = float(row["value"])
    return values


class Comparison:
    def __init__(self):
        self.figures = {
            "bottom: position": Figure(2, "samples"),
            f"bottom: level, {STRONG} dB over the noise or more": Figure(1, "dB"),
            "noise floor": Figure(1, "dB"),
            "ring-down: length": Figure(0.05, "of it"),
        }
        self.without = self.false = self.strong = self.missed = self.faint = self.faint_found = 0
        self.scenes = 0
        self.worst = []

    def add(self, name, scene, truth, values):
        position, level, noise, ring_down = self.figures.values()
        self.scenes += 1
        decibels = 40 if truth["bits"] == 8 else 20

        def note(figure, error):
            figure.errors.append(error)
            if abs(error) > figure.limit:
                self.worst.append((name, error, scene))

        if "noiseFloor" in values:
            note(noise, decibels * math.log10(values["noiseFloor"] / truth["noise"]["value"]))
        if "ringDownLength" in values:
            peak = 10 ** (truth["ringDown"]["level"] / 20)
            end = truth["ringDown"]["pulse"] + truth["ringDown"]["decay"] * math.log(peak / RING_DOWN_END[truth["bits"]])
            note(ring_down, values["ringDownLength"] / end - 1)
        bottom = truth["bottom"]
        is_found = "bottomPosition" in values
        if bottom is None:
            self.without += 1
            self.false += is_found
            if is_found:
                self.worst.append((name, values["bottomPosition"], scene))
            return
        is_strong = bottom["level"] - truth["noise"]["level"] >= STRONG
        if is_found:
            note(position, values["bottomPosition"] - bottom["front"])
            if is_strong:
                note(level, decibels * math.log10(values["bottomLevel"] / bottom["value"]))
        self.strong += is_strong
        self.missed += is_strong and not is_found
        self.faint += not is_strong
        self.faint_found += is_found and not is_strong

    def report(self):
        print(f"{'':<44}{'scenes':>8}{'beyond':>10}{'mean':>10}{'largest':>10}")
        good = [figure.row(name) for name, figure in self.figures.items()]
        rows = [
            ("scenes without a bottom: a bottom is found", self.without, self.false, 0),
            ("strong bottoms: not certain", self.strong, self.missed, MOST_MISSED),
            ("noise floor: not certain", self.scenes, self.scenes - len(self.figures["noise floor"].errors), MOST_ABSENT),
            ("ring-down: not certain", self.scenes, self.scenes - len(self.figures["ring-down: length"].errors), MOST_ABSENT),
        ]
        for name, scenes, beyond, most in rows:
            print(f"{name:<44}{scenes:>8,}{beyond:>10,}{'':>20}  at most {most:.0%}")
            good.append(beyond <= most * scenes and scenes > 0)
        print(f"{'fainter bottoms: found':<44}{self.faint:>8,}{self.faint_found:>10,}")
        for name, error, scene in self.worst[:20]:
            print(f"{name}: {error:.3f}: {json.dumps(scene)}")
        return all(good)


def main():
    generator = random.Random(SEED)
    comparison = Comparison()
    with tempfile.TemporaryDirectory() as place, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        place = Path(place)
        known = list(set_ups(place))
        for first in range(0, SCENES, BATCH):
            directory = place / f"batch{first}"
            directory.mkdir()
            jobs = []
            for number in range(first, min(first + BATCH, SCENES)):
                product, command, nearest, reach = generator.choice(known)
                jobs.append((directory / f"{number}", product, command, scene_of(generator, nearest, reach)))
            truths = dict(pool.map(make, jobs))
            values = measured_in(directory)
            for file, product, command, scene in jobs:
                comparison.add(f"{product} {command}", scene, truths[file], values[str(file)])
                file.unlink()
            print(f"[{min(first + BATCH, SCENES)}/{SCENES}]", flush=True)
    sys.exit(0 if comparison.report() else 1)


main()
