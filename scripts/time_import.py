"""Makes run files as a line leaves them, and times their import; scripts/time-import runs it."""

import argparse
import concurrent.futures
import json
import pathlib
import resource
import subprocess
import tempfile

from line import TANK, XKPING

# What a unit is tested by. Two pings are one run file.
LINE = [["batteryvoltage"], ["lcdtemperature"], ["sensepin"], ["loadfpgabinary"], ["speed", "1"], XKPING]
KINDS = {"six tests of each unit": LINE, "a reading and two pings of each unit": [["sensepin"], XKPING]}
# So many units differ; the others print what one of these did.
UNITS = 12


def outputs(simulator, tests):
    """What the tests of each unit print, with the command."""

    def unit(seed):
        printed = []
        with tempfile.NamedTemporaryFile("w") as scene:
            for words in tests:
                text = b""
                for start in range(2 if words == XKPING else 1):
                    pathlib.Path(scene.name).write_text(json.dumps(TANK | {"seed": 2 * seed + start, "unit": {"seed": seed}}))
                    text += subprocess.run([simulator, "--scene", scene.name, *words], check=True, capture_output=True).stdout
                printed.append((" ".join(words), text))
        return printed

    with concurrent.futures.ThreadPoolExecutor() as pool:  # A test waits for most of its time.
        return list(pool.map(unit, range(1, UNITS + 1)))


def write_runs(directory, printed, most_bytes):
    """Writes so many bytes of run files, a thousand units in a directory; returns the number of files."""
    size = files = unit = 0
    while size < most_bytes:
        place = directory / f"{unit // 1000}"
        place.mkdir(parents=True, exist_ok=True)
        serial, station = f"QS{unit:07}", "ABCD"[unit % 4]
        day, hour, minute, second = 1 + unit // 5000 % 28, unit // 3600 % 24, unit // 60 % 60, unit % 60
        for number, (command, output) in enumerate(printed[unit % UNITS]):
            header = (f"sonarbench-run: 1\nunit: {serial}\nserial-number-verified: yes\nproduct: QL4K\nstation: {station}\n"
                      f"operator: Zoe\nhost: line\ncommand: ./sonarbench {command}\n"
                      f"start: 2026-11-{day:02}T{hour:02}:{minute:02}:{second:02}.{number:03}+00:00\nseconds: 0.5\n"
                      f"status: 0\noutput-bytes: {len(output)}\n\n").encode()
            (place / f"{serial}.{number}.{station}.run").write_bytes(header + output)
            size += len(header) + len(output)
            files += 1
        unit += 1
    return files


def timed(*command):
    """User seconds of a command, and what it prints."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    printed = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before, printed.split(",")[0]


def main():
    options = argparse.ArgumentParser()
    options.add_argument("programs", type=pathlib.Path)
    options.add_argument("megabytes", type=int)
    chosen = options.parse_args()
    for kind, tests in KINDS.items():
        with tempfile.TemporaryDirectory() as place:
            runs, database = pathlib.Path(place, "runs"), pathlib.Path(place, "results.db")
            files = write_runs(runs, outputs(chosen.programs / "sonarbench-sim", tests), chosen.megabytes * 1e6)
            print(f"{kind}: {files:,} run files, {chosen.megabytes} MB", flush=True)
            for _ in range(2):
                seconds, added = timed(chosen.programs / "sonarbench-station", "import", "--database", database, runs)
                print(f"  {added:<20} {seconds:6.2f} s of user time, {seconds * 1000 / chosen.megabytes:6.2f} s a GB", flush=True)


if __name__ == "__main__":
    main()
