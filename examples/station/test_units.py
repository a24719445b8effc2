#!/usr/bin/env python3
"""Tests of many units over SSH, for a test runner such as unittest or pytest.

UNITS lists the hosts, separated by blanks. SSH, SONARBENCH and STATION replace the commands; SSH may be any command
that takes a host and a command line. PRODUCT is the product of all units, and LIMITS are the limits files. Each host is
a subtest of each test, so one bad unit does not hide the others.
"""
import json
import os
import pathlib
import shlex
import subprocess
import unittest

SSH = shlex.split(os.environ.get("SSH", "ssh -o BatchMode=yes -o ConnectTimeout=10 -l root"))
SONARBENCH = os.environ.get("SONARBENCH", "/corvane/Application/sonarbench")
STATION = os.environ.get("STATION", "sonarbench-station")
UNITS = os.environ.get("UNITS", "").split()
PRODUCT = os.environ.get("PRODUCT", "QL4K")
FOLDER = pathlib.Path(__file__).parent / "limits"
LIMITS = os.environ.get("LIMITS", f"{FOLDER / 'readings.json'} {FOLDER / PRODUCT}.json").split()


class Unit:
    """A unit, reached over SSH."""

    def __init__(self, host):
        self.host = host

    def run(self, *command):
        """Runs one test there; returns the JSON object that sonarbench-station writes for it."""
        words = " ".join(shlex.quote(word) for word in (SONARBENCH, *command))
        printed = subprocess.run([*SSH, self.host, words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                 timeout=60, check=False).stdout
        judge = [STATION, "report", "--product", PRODUCT, "--json", "-"]
        judge += [word for file in LIMITS for word in ("--limits", file)]
        read = subprocess.run(judge, input=printed, stdout=subprocess.PIPE, check=False).stdout
        runs = [json.loads(line) for line in read.splitlines()]
        assert len(runs) == 1, f"{len(runs)} runs where one was started"
        return runs[0]


class UnitTest(unittest.TestCase):
    def on_each_unit(self, *command):
        """A unit that could not be tested is an error, a bad one a failure."""
        self.assertTrue(UNITS, "UNITS names no host")
        for host in UNITS:
            with self.subTest(host=host):
                run = Unit(host).run(*command)
                if run["status"] != "COMPLETE":
                    raise RuntimeError(f"not tested: {run.get('reason')}")
                self.assertNotEqual(run["result"], "FAIL", run.get("reason"))

    def test_firmware(self):
        self.on_each_unit("loadfpgabinary")

    def test_battery(self):
        self.on_each_unit("batteryvoltage")


if __name__ == "__main__":
    unittest.main()
