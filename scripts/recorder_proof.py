"""Records runs on virtual units with sonarbench-trace, and compares each recording with the simulator's own trace and with
its replay.

Usage: recorder_proof.py SIMULATOR "RECORDER" PROGRAMS [--slice] [--jobs N]: how to start sonarbench-sim and
sonarbench-trace, and the directory of sonarbench; from the repository's root.
"""

import argparse
import itertools
import os
import pathlib
import re
import sys
import tempfile

from runs import COMMANDS, Case, mixed, play, products, run

# A product for each link and firmware behaviour, with commands that use it.
SLICE = [("QL4K", "xkping"), ("QL6M", "speed"), ("LumetV2", "lumetping"), ("QL1A", "ping"), ("Varrow", "loadfpgabinary"),
         ("VarrowX", "batteryvoltage"), ("none", "sensepin")]
# What can happen on a unit, too: devices that fail, are silent or send something else, and calls that fail.
FAULTS = ["write:1=EIO", "write:2=short", "write:3=zero", "ioctl:1=ENOTTY", "ioctl:2=ETIMEDOUT", "reply:1=silent", "reply:1=short",
          "reply:1=bit", "fill:1=short", "fill:1=bit", "interrupt:1=never", "open:1=ENOENT", "read:1=EIO", "read:1=zero",
          "poll:1=EIO", "tcsetattr:1=EIO", "file-open:2=EACCES", "file-read:1=EIO", "file-write:1=EIO"]
SLICE_FAULTS = ["write:2=short", "reply:1=silent", "read:1=zero", "file-open:2=EACCES"]
# Lines of a trace that only one side can know: refusals are the simulator's.
ENTRY = re.compile(r"(?P<time>\S+) (?P<device>\S+) (?P<direction>\S+) (?P<rest>[^#]*?)(?P<real> @\S+)?(?P<meaning> # .*)?\n")


def entries(text):
    """The entries of a trace without times and meanings, and its faults; pieces of replies are put together."""
    found, faults = [], []
    for line in text.splitlines(keepends=True):
        if line.startswith("fault "):
            faults.append(line)
        if not (match := ENTRY.fullmatch(line)) or line.startswith(("about ", "file ", "recording ", "fault ")):
            continue
        device, direction, rest = match["device"], match["direction"], match["rest"].split()
        if direction == "more":
            rest[1] = found[-1][2][1] + rest[1]
            rest[0] = str(int(rest[0]) + int(found[-1][2][0]))
            direction = found.pop()[1]
        is_unseen = False
        if direction == "fill":  # The recorder sees all bytes of the write, which can be the same as before.
            before = found[-1][2][1]
            rest = [found[-1][2][0], rest[1] + before[len(rest[1]):]]
            is_unseen = rest[1] == before
        if direction not in ("refused", "excused") and not is_unseen:
            found.append((device, direction, [word for word in rest if word[0] not in "~+" and word not in ("bytewise", "slow")]))
    return found, sorted(faults)


def differences(own, recorded, is_faulted):
    """What is different between the simulator's trace and the recording of one run."""
    (own, own_faults), (recorded, recorded_faults) = entries(own), entries(recorded)
    if is_faulted:
        # The recorder cannot see what the program did not read.
        own = [entry for entry in own if entry[1] not in ("reply", "unasked")]
        recorded = [entry for entry in recorded if entry[1] not in ("reply", "unasked")]
    elif own_faults != recorded_faults:
        return f"faults {recorded_faults} instead of {own_faults}"
    for number, (one, other) in enumerate(itertools.zip_longest(own, recorded), 1):
        if one != other:
            return f"entry {number}: {str(other)[:120]} instead of {str(one)[:120]}"
    return ""


class Proof:
    def __init__(self, simulator, recorder, programs):
        self.simulator, self.recorder, self.programs = simulator, recorder, programs

    def script(self, directory):
        path = directory / "recorded"
        path.write_text(f"#!/bin/sh\nPATH={self.programs}:$PATH exec {self.recorder} {directory}/trace sonarbench \"$@\"\n")
        path.chmod(0o755)
        return path

    def check(self, item):
        """Returns what is wrong with the recording of a case, or nothing."""
        case, faults = item
        options = list(itertools.chain.from_iterable(("--fault", fault) for fault in faults))
        with tempfile.TemporaryDirectory() as name:
            directory = pathlib.Path(name)
            own, trace, again = (directory / name for name in ("own", "trace", "again"))
            unit = [self.simulator, "--product", case.product, *options]
            plain = run([*unit, "--trace", own, "--", *case.words()])
            recorded = run([*unit, "--no-isolation", "--write", directory, "--program", self.script(directory), "--",
                            *case.words()])
            if (plain.status, plain.output) != (recorded.status, recorded.output):
                return f"the recorder changed the run, which ended with {recorded.status}: {recorded.errors[-300:]}"
            if not trace.exists() or "recording complete" not in trace.read_text():
                return f"there is no complete recording: {recorded.errors[-300:]}"
            if wrong := differences(own.read_text(), trace.read_text(), bool(faults)):
                return wrong
            checked = run([self.simulator, "--check-trace", trace]).output.decode().splitlines()
            # The virtual unit's links need no time.
            broken = [line for line in checked if line.startswith("broken") and line.split()[1] != "link-time"]
            if not checked or broken and not faults:
                return f"an assumption is broken: {broken}"
            replayed = run([self.simulator, "--replay", trace, "--trace", again, "--", *case.words()])
            if replayed.output != plain.output:
                return f"the replay printed something else and ended with {replayed.status}: {replayed.errors[-300:]}"
            if not faults and plain.status == 0 and (replayed.status != 0 or again.read_text() != own.read_text()):
                return f"the replay ended with {replayed.status}, or has another trace: {replayed.errors[-300:]}"
        return ""


def reached(proof, case, faults):
    """The faults that the run can meet."""
    with tempfile.TemporaryDirectory() as directory:
        counts = pathlib.Path(directory, "counts")
        run([proof.simulator, "--product", case.product, "--calls", counts, "--", *case.words()])
        most = dict(line.split() for line in counts.read_text().splitlines())
    return [fault for fault in faults if int(fault.split(":")[1].split("=")[0]) <= int(most.get(fault.split(":")[0], 0))]


def main():
    options = argparse.ArgumentParser()
    options.add_argument("simulator")
    options.add_argument("recorder")
    options.add_argument("programs", type=pathlib.Path)
    options.add_argument("--slice", action="store_true")
    options.add_argument("--jobs", type=int, default=2 * os.cpu_count())
    chosen = options.parse_args()

    proof = Proof(chosen.simulator, chosen.recorder, chosen.programs.resolve())
    slice_cases = [Case(*words) for words in SLICE]
    cases = slice_cases if chosen.slice else [
        Case(product, command) for product, command in itertools.product(products(chosen.simulator), COMMANDS)]
    items = [(case, []) for case in cases]
    for case in slice_cases:
        faults = reached(proof, case, SLICE_FAULTS if chosen.slice else FAULTS)
        items += [(case, [fault]) for fault in faults]
    items, wrong = mixed(items), 0
    for (case, faults), difference in zip(items, play(chosen.jobs, proof.check, items)):
        if difference:
            wrong += 1
            print(f"{case.product} {' '.join(case.words())} {' '.join(faults)}: {difference}", flush=True)
    print(f"{len(items)} recordings, {wrong} wrong", flush=True)
    sys.exit(1 if wrong else 0)


main()
