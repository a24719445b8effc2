"""Runs of the sanitized program on virtual units, for the scripts that make many of them."""

import concurrent.futures
import dataclasses
import os
import pathlib
import random
import signal
import subprocess
import time

from outcomes import Run

PROGRAM = "build/asan/bin/sonarbench"
# The arguments of each command.
LINES = [line.split() for line in pathlib.Path("scripts/commands.txt").read_text().splitlines() if line[0] != "#"]
COMMANDS = {command: arguments for command, *arguments in LINES}
# Far above the longest waits of one run: a second a reply that does not come.
HANG_SECONDS = 60
# How often the shell script is shown the progress.
PROGRESS_SECONDS = 1


@dataclasses.dataclass(frozen=True)
class Case:
    """A command on a product."""

    product: str
    command: str

    def words(self):
        return [self.command, *COMMANDS[self.command]]

    def arguments(self, simulator, *options):
        return [simulator, "--program", PROGRAM, "--product", self.product, *options, "--", *self.words()]


def products(simulator):
    listed = subprocess.run([simulator, "--list-products"], check=True, capture_output=True, text=True)
    return [line.split()[1] for line in listed.stdout.splitlines()[1:] if line[:4].strip().isdigit()]


def run(arguments):
    process = subprocess.Popen(
        arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True
    )
    try:
        output, errors = process.communicate(timeout=HANG_SECONDS)
        return Run(process.returncode, output, errors.decode("latin-1"))
    except subprocess.TimeoutExpired:
        # At SIGTERM the simulator ends its program; SIGKILL would leave the program running.
        process.send_signal(signal.SIGTERM)
        try:
            process.communicate(timeout=5)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
        return Run(None, b"", "")


def mixed(items):
    """Returns the items shuffled, always in the same way, so that slow runs are spread evenly."""
    return random.Random(0).sample(items, len(items))


def play(jobs, one, items):
    """Yields one(item) of each item, played side by side, and prints the progress."""
    printed = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for number, result in enumerate(pool.map(one, items), 1):
            yield result
            if time.monotonic() - printed >= PROGRESS_SECONDS or number == len(items):
                printed = time.monotonic()
                print(f"[{number}/{len(items)}]", flush=True)
