#!/usr/bin/python3
"""Checks what sonarbench-station reads: directories, compressed files, pipes and files that grow.

Usage: check_reading.py DIRECTORY, of the programs; from the repository's root.
"""
import gzip
import json
import os
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAMS = Path(sys.argv[1])
STATION = PROGRAMS / "sonarbench-station"


def simulate(*arguments):
    return subprocess.run([PROGRAMS / "sonarbench-sim", *arguments], capture_output=True, check=False).stdout


def report(*arguments, text=None, status=0):
    """The objects of the runs, and the messages."""
    run = subprocess.run([STATION, "report", "--json", "-", *arguments], input=text, capture_output=True, check=False)
    assert run.returncode == status, (arguments, run)
    return [json.loads(line) for line in run.stdout.splitlines()], run.stderr.decode()


def outcomes(runs):
    return [(Path(run["transcript"]).name, run["status"]) for run in runs]


PING = simulate("xkping", "examples/short.txt", "0", "1")
SENSOR = simulate("sensepin")


def zstd(text):
    return subprocess.run(["zstd", "-q"], input=text, capture_output=True, check=True).stdout


def check_directories(place):
    # What examples/station/end_of_line.sh leaves, a run that printed nothing, and files of others.
    unit = place / "QS1"
    (unit / ".hidden").mkdir(parents=True)
    (unit / ".hidden/a.txt").write_bytes(PING)
    for name, text in {"QS1/xkping.txt": PING, "QS1/xkping.txt.complaints": b"", "QS1/xkping.txt.summary": b"passed\n",
                       "QS1.result": b"PASS\n", "notes.md": b"buy fish\n", "b.txt.gz": gzip.compress(SENSOR),
                       "c.zst": zstd(PING), "silent.txt": b"", "x.part": b"sonarbench-run: 1\n",
                       "report.json": b'{"verdict": "Test Passed."}\n'}.items():
        (place / name).write_bytes(text)
    (place / "loop").symlink_to(place)
    runs, messages = report(str(place), status=3)
    assert outcomes(runs) == [("xkping.txt", "COMPLETE"), ("b.txt.gz", "COMPLETE"), ("c.zst", "COMPLETE"),
                              ("silent.txt", "ERROR"), ("x.part", "ERROR")], messages
    skipped = {Path(line.split(": ")[1]).name for line in messages.splitlines()}
    assert skipped == {"xkping.txt.complaints", "xkping.txt.summary", "QS1.result", "notes.md", "report.json"}, messages
    assert messages.count("\n") == len(skipped), messages
    # Named, any file is read.
    assert outcomes(report(str(place / "notes.md"), status=3)[0]) == [("notes.md", "ERROR")]


def check_compressed():
    many = PING * 200
    for pack in (gzip.compress, zstd):
        packed = pack(many)
        assert len(report(text=packed)[0]) == 200
        assert len(report(text=packed + pack(SENSOR))[0]) == 201
        for damaged in (packed[:-9], packed + pack(SENSOR)[:7], packed[:300] + b"\0" * 40 + packed[340:]):
            messages = report(text=damaged, status=2)[1]
            assert "compressed" in messages, messages
    # Expanding it would need a window of 128 MiB.
    window = subprocess.run(["zstd", "-q", "--long=27"], input=b"x" * 2**25, capture_output=True, check=True).stdout
    assert "memory" in report(text=window, status=2)[1]
    assert outcomes(report(text=b"\xef\xbb\xbf" + PING)[0]) == [("-", "COMPLETE")]
    assert outcomes(report(text=PING.replace(b"\n", b"\r\n"))[0]) == [("-", "COMPLETE")]


def check_live(place):
    # The run arrives while the pipe is open. Lines after it are no run, unless they contradict it.
    for rest, status, more in ((b"$ exit\n\n", 0, 0), (b"Test Result: Tests Failed.\n", 3, 1),
                               (b"ERROR: Ping failed.\n", 3, 1), (SENSOR, 0, 1), (b"$ exit\n" + SENSOR, 0, 1)):
        with subprocess.Popen([STATION, "report", "--json", "-"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as station:
            station.stdin.write(PING)
            station.stdin.flush()
            assert json.loads(station.stdout.readline())["result"] == "PASS"
            station.stdin.write(rest)
            station.stdin.close()
            assert len(station.stdout.readlines()) == more, rest
            assert station.wait() == status, rest
    grown = place / "grown"
    grown.write_bytes(PING)
    with subprocess.Popen([STATION, "report", "--follow", "--json", "-", grown], stdout=subprocess.PIPE) as station:
        assert json.loads(station.stdout.readline())["lastLine"] == PING.count(b"\n")
        for _ in range(2):
            with open(grown, "ab") as file:
                file.write(SENSOR)
            assert json.loads(station.stdout.readline())["result"] == "NOT_APPLICABLE"
        station.send_signal(signal.SIGTERM)
        assert (station.stdout.read(), station.wait()) == (b"", 0)
    report("--follow", str(grown), str(grown), status=2)
    report("--follow", str(place), status=2)


with tempfile.TemporaryDirectory() as directory:
    os.mkdir(Path(directory, "results"))
    check_directories(Path(directory, "results"))
    check_compressed()
    check_live(Path(directory))
