#!/usr/bin/python3
"""Checks what sonarbench-station run leaves, whatever happens to it.

Usage: check_runs.py PROGRAM SIMULATOR PROBE, from the repository's root. PROBE is the library of write_probe.cpp.
"""
import json
import os
import resource
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import jsonschema

PROGRAM, SIMULATOR, PROBE = sys.argv[1:]
KILLED = 99
WORDS = ["run", "--unit", "QS1000123", "--station", "A"]


def run(directory, *command, options=(), **settings):
    return subprocess.run([PROGRAM, *WORDS, "--to", str(directory), *options, "--", *command], capture_output=True,
                          check=False, stdin=subprocess.DEVNULL, **settings)


def report(directory, *options):
    return subprocess.run([PROGRAM, "report", *options, str(directory)], capture_output=True, text=True, check=False)


def only(directory):
    files = list(directory.iterdir())
    assert len(files) == 1, files
    return files[0]


def output_of(file):
    return file.read_bytes().split(b"\n\n", 1)[1]


def check_probed(place, text):
    """At each call that changes the disk, the process is killed, or the disk gets full."""
    transcript = place / "transcript"
    transcript.write_bytes(text)
    for how in ("kill", "half", "full"):
        whole = broken = 0
        for call in range(1, 100):
            directory = place / f"{how}{call}"
            environment = {**os.environ, "LD_PRELOAD": PROBE, "SONARBENCH_PROBE_CALL": str(call),
                           "SONARBENCH_PROBE_HOW": how,
                           "ASAN_OPTIONS": "verify_asan_link_order=0:" + os.environ.get("ASAN_OPTIONS", "")}
            done = run(directory, "cat", str(transcript), env=environment)
            if done.returncode == 0:
                break
            if how == "full":
                assert done.returncode == 2 and b"No space left on device" in done.stderr, (call, done)
            else:
                assert done.returncode == KILLED, (call, done)
            shown = [file for file in directory.iterdir() if file.name[0] != "."] if directory.exists() else []
            assert len(shown) <= 1, (how, call, shown)
            if shown and report(directory).returncode == 0:
                assert output_of(shown[0]) == text, (how, call)
                whole += 1
            elif shown:
                assert shown[0].suffix == ".part" and report(directory).returncode == 3, (how, call, shown)
                broken += 1
        assert done.returncode == 0, (how, done)
        # Killed before the file, in it, and after its last byte was safe.
        assert call > 8 and whole >= 1 and broken >= 3, (how, call, whole, broken)
        print(f"{how}: {call - 1} calls, {whole} left a whole file, {broken} a part that reads as broken off")


def check_ends(place, text):
    """The command's end, its time and signals decide whether the run can be judged."""
    transcript = place / "passed"
    transcript.write_bytes(text)
    for name, status, command, said in (
            ("status", 3, f"cat {transcript}; exit 5", b"the command ended with status 5"),
            ("signal", 3, f"cat {transcript}; kill -9 $$", b"the command ended with status 137"),
            ("time", 3, f"cat {transcript}; sleep 60", b"the command did not end within 3 s"),
            ("apart", 0, f"cat {transcript}; echo complaint >&2", b"complaint\n")):
        directory = place / name
        done = run(directory, "sh", "-c", command, options=("--timeout", "3" if name == "time" else "600"))
        assert done.returncode == status and said in done.stderr and done.stdout == text, (name, done)
        assert output_of(only(directory)) == text, name
    assert b"\nerror: complaint\n" in only(place / "apart").read_bytes()
    # A request to end reaches the command, and the run is kept. A shell that starts a program can miss an interrupt, so it
    # becomes the program.
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        directory = place / number.name
        process = subprocess.Popen(
            [PROGRAM, *WORDS, "--to", str(directory), "--", "sh", "-c", "echo begun; exec sleep 60"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        assert process.stdout.readline() == b"begun\n"
        process.send_signal(number)
        output, errors = process.communicate(timeout=20)
        assert (process.returncode, output) == (3, b""), (number, process.returncode, output, errors)
        assert f"status: {128 + number}\n".encode() in only(directory).read_bytes(), number
    # A command that leaves a process behind does not hold the station up.
    assert run(place / "left", "sh", "-c", f"cat {transcript}; sleep 20 &").returncode == 0
    # Nobody reads standard output any more: the run is kept, and the status says that it was not shown.
    directory = place / "closed"
    with open("/dev/full", "wb") as full:
        done = subprocess.run([PROGRAM, *WORDS, "--to", str(directory), "--", "cat", str(transcript)], stdout=full,
                              stderr=subprocess.PIPE, check=False)
    assert done.returncode == 2 and b"standard output: No space left" in done.stderr, done
    assert output_of(only(directory)) == text
    # The largest size of a file.
    done = run(place / "large", "sh", "-c", "head -c 100000 /dev/zero",
               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (50000, 50000)))
    assert done.returncode == 2 and b"File too large" in done.stderr and len(done.stdout) == 100000, done


def check_units(place):
    """The unit on the bench must be the one on the order."""
    battery = [SIMULATOR, "batteryvoltage"]
    for command, status, said in (("echo QS1000123", 0, "verified: yes"), ("echo QS7", 3, "is QS7, not QS1000123"),
                                  ("false", 3, "could not be read"), ("sleep 60", 3, "could not be read")):
        directory = place / command.replace(" ", "")
        timeout = "1" if "sleep" in command else "600"
        done = run(directory, *battery, options=("--serial-command", command, "--timeout", timeout))
        assert done.returncode == status, (command, done)
        assert said in only(directory).read_text() and bool(done.stdout) == (status == 0), (command, done)
    # A unit that fails prints its serial number.
    failing = [SIMULATOR, "--product", "HZ02", "lumetping", "200long"]
    assert run(place / "same", *failing).returncode == 1
    done = run(place / "other", *failing, options=("--unit", "QS2"))
    assert done.returncode == 2 and b"only once" in done.stderr, done
    done = subprocess.run([PROGRAM, "run", "--unit", "QS2", "--station", "A", "--to", str(place / "other"), "--",
                           *failing], capture_output=True, check=False)
    assert done.returncode == 3 and b"is QS1000123, not QS2" in done.stderr, done


def check_many(place, text):
    """Runs of one unit in the same second are all kept, whatever its serial number is."""
    (place / "text").write_bytes(text)
    serials = ["QS1000123", "../../x", "a b'\"\\", "\n\nstatus: 0", "\udcff\udcfe", ".hidden", "x" * 200, "CON/é"]
    processes = [subprocess.Popen([PROGRAM, "run", "--unit", serial, "--station", "/", "--to", str(place / "many"),
                                   "--", "cat", str(place / "text")],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                 for serial in serials * 3]
    assert [process.wait() for process in processes] == [0] * len(processes)
    names = sorted(file.name for file in (place / "many").iterdir())
    assert len(names) == len(processes), names
    assert all(name.endswith(".run") and len(name) < 200 and not name.startswith(".") for name in names), names
    assert {file.name for file in place.iterdir()} == {"many", "text"}
    shown = report(place / "many")
    assert shown.returncode == 0 and "24 runs, 0 passed, 24 performed" in shown.stdout, shown
    schema = json.loads(Path("station/report.schema.json").read_text())
    for line in report(place / "many", "--json", "-").stdout.splitlines():
        shown = json.loads(line)
        jsonschema.validate(shown, schema)
        assert (shown["runFile"]["station"], shown["runFile"]["exitStatus"]) == ("/", 0), shown
    for wrong in (["--unit", "x" * 201], ["--unit", ""], ["--timeout", "0"], ["--timeout", "1.5"]):
        done = subprocess.run([PROGRAM, "run", "--unit=a", "--station=b", *wrong, "--", "true"], capture_output=True,
                              check=False)
        assert done.returncode == 2, (wrong, done)


with tempfile.TemporaryDirectory() as scratch:
    performed = subprocess.run([SIMULATOR, "batteryvoltage"], capture_output=True, check=True).stdout
    for number, check in enumerate((check_probed, check_ends, check_units, check_many)):
        where = Path(scratch, str(number))
        where.mkdir()
        start = time.monotonic()
        check(where, *([] if check is check_units else [performed]))
        print(f"{check.__name__}: {time.monotonic() - start:.1f} s")
