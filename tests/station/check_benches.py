#!/usr/bin/python3
"""Runs the example for labgrid on benches with virtual units, which an SSH server on this machine leads to.

Usage: check_benches.py PROGRAMS, from the repository's root. Ends with 77 if labgrid or the server is not installed.
"""
import collections
import contextlib
import fcntl
import getpass
import importlib.util
import json
import os
import re
import socket
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ET
from pathlib import Path

PROGRAMS = Path(sys.argv[1]).resolve()
EXAMPLE = Path("examples/station/labgrid").resolve()
UNIT = EXAMPLE.parent / "virtual_unit.sh"
SERVER = Path("/usr/sbin/sshd")
# Benches: product, what is wrong with the unit, and the program there.
BENCHES = {"good": ("QL4K", "", UNIT), "lumet": ("LumetV2", "", UNIT), "deaf": ("QL4K", '"deaf": 20', UNIT),
           "swapped": ("QL4K", "", UNIT), "empty": ("QL4K", "", "/nowhere/sonarbench")}
ENVIRONMENT = {**os.environ, "PATH": f"{PROGRAMS}:{os.environ['PATH']}", "PYTHONDONTWRITEBYTECODE": "1"}


def skip(reason):
    print(f"not tested: {reason}")
    sys.exit(77)


def make_key(file):
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", file], check=True)


def free_ports(count):
    with contextlib.ExitStack() as sockets:
        opened = [sockets.enter_context(socket.create_server(("127.0.0.1", 0))) for _ in range(count)]
        return [one.getsockname()[1] for one in opened]


@contextlib.contextmanager
def server(place, account):
    """An SSH server of a user. It runs the commands for a port on the virtual unit of its bench. Yields the ports."""
    make_key(place / "host")
    make_key(place / "key")
    ports = dict(zip(BENCHES, free_ports(len(BENCHES))))
    lines = ["ListenAddress 127.0.0.1", f"HostKey {place}/host", f"AuthorizedKeysFile {place}/key.pub", "PidFile none",
             "UsePAM no", "StrictModes no", "PasswordAuthentication no", *(f"Port {port}" for port in ports.values())]
    for name, (product, defects, _) in BENCHES.items():
        unit = place / f"unit.{name}"
        (place / f"serial.{name}").write_text("QSother" if name == "swapped" else f"QS{name}\n")
        unit.write_text(f"#!/bin/sh\nexport PATH={PROGRAMS}:$PATH PRODUCT={product} UNIT={len(name)} DEFECTS='{defects}'"
                        f" STARTS={place}/starts.{account}.{name}\nexec sh -c \"$SSH_ORIGINAL_COMMAND\"\n")
        unit.chmod(0o755)
        lines += [f"Match LocalPort {ports[name]}", f"ForceCommand {unit}"]
    (place / "sshd_config").write_text("\n".join(lines) + "\n")
    as_account = []
    if os.geteuid() == 0 and account == "root":
        Path("/run/sshd").mkdir(exist_ok=True) # as the service does
    elif account != getpass.getuser():
        as_account = ["setpriv", f"--reuid={account}", f"--regid={account}", "--clear-groups"]
        for file in ("host", "host.pub"):
            subprocess.run(["chown", account, place / file], check=True)
    with open(place / "log", "w") as log, subprocess.Popen([*as_account, SERVER, "-D", "-e", "-f", place / "sshd_config"],
                                                           stdin=subprocess.DEVNULL, stderr=log) as process:
        try:
            while "Server listening" not in (place / "log").read_text():
                assert process.poll() is None, (place / "log").read_text()
                time.sleep(0.05)
            yield ports
        finally:
            process.terminate()


def write_environment(place, ports, account, database):
    targets = "".join(f"""
  {name}:
    resources: {{NetworkService: {{address: 127.0.0.1, port: {ports[name]}, username: {account}}}}}
    drivers: {{SSHDriver: {{keyfile: key}}}}
    options: {{product: {product}, serial-file: {place}/serial.{name}, sonarbench: {program}}}"""
                      for name, (product, _, program) in BENCHES.items())
    options = {"database": database, "table": Path("examples/short.txt").resolve(),
               "limits": EXAMPLE.parent / "limits"}
    text = re.sub("(?s)(?<=targets:).*(?=\noptions:)", targets, (EXAMPLE / "benches.yaml").read_text())
    for name, value in options.items():
        text = re.sub(f"  {name}: .*", f"  {name}: {value}", text)
    (place / "benches.yaml").write_text(text)


def suite(place, units):
    """Runs the suite; returns its exit status, the cases of each bench by their first letters, and its text."""
    (place / "junit.xml").write_text("<none/>")
    command = ["/usr/bin/python3", "-m", "pytest", "-p", "no:cacheprovider", "--lg-env", place / "benches.yaml",
               f"--junitxml={place}/junit.xml", EXAMPLE / "test_line.py"]
    done = subprocess.run(command, cwd=place, env={**ENVIRONMENT, "UNITS": units}, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, check=False)
    letters = collections.defaultdict(str)
    for case in ET.parse(place / "junit.xml").iter("testcase"):
        kinds = [child.tag[0] for child in case if child.tag in ("failure", "error", "skipped")]
        letters[re.search(r"\[(\w+)-|$", case.get("name"))[1]] += (kinds or ["."])[0]
    return done.returncode, letters, done.stdout + done.stderr


def station(*words):
    return subprocess.run([PROGRAMS / "sonarbench-station", *words], capture_output=True, text=True, check=False).stdout


def expect(found, *wanted):
    assert found[:2] == wanted, found


def check_all(place, ports, account):
    """Good units, bad ones and such that could not be tested; their run files, and the database."""
    database, results = place / "results.db", place / "results"
    write_environment(place, ports, account, "/nowhere/results.db")
    found = suite(place, " ".join(f"{name}=QS{name}" for name in BENCHES))
    expect(found, 1, {"good": "......", "lumet": ".....", "deaf": ".....f", "swapped": "esssss", "empty": "esssss"})
    assert "the unit's serial number is QSother, not QSswapped" in found[2] and "deafness" not in found[2], found
    # The server was away. The next import takes the run files.
    assert found[2].count("is not in the database") >= 3, found
    limits = [f"--limits={EXAMPLE.parent}/limits/{name}.json" for name in ("readings", "QL4K", "LumetV2")]
    assert station("import", "--database", database, *limits, results).startswith("19 added, 0 there before"), results
    shown = station("report", "--database", database, *limits)
    assert "failed: xkping, unit QSdeaf" in shown and "0 failed" not in shown and ", 2 not judged" in shown, shown
    # A retest leaves more run files, and they are in the database.
    write_environment(place, ports, account, database)
    with open(results / ".good", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        found = suite(place, "lumet=QSlumet good=QSgood")
    expect(found, 1, {"lumet": ".....", "good": "eeeeee"})
    assert "good is in use" in found[2], found
    assert station("import", "--database", database, results).startswith("0 added, 24 there before"), results
    assert json.loads(station("yield", "--database", database, "--json", "-"))["units"] == 3
    for units in ("", "nobody=QS1", "good"):
        status, letters, text = suite(place, units)
        assert status == 2 and letters == {None: "e"}, (units, status, text)


if importlib.util.find_spec("labgrid") is None:
    skip("labgrid is not installed; its Debian package is python3-labgrid")
if not SERVER.exists():
    skip("there is no SSH server; its Debian package is openssh-server")
with tempfile.TemporaryDirectory() as scratch:
    scratch = Path(scratch)
    scratch.chmod(0o755)
    with server(scratch, getpass.getuser()) as listening:
        check_all(scratch, listening, getpass.getuser())
if os.geteuid() == 0:
    # An ordinary user with a shell, whom the tests of the database need, too.
    with tempfile.TemporaryDirectory() as scratch:
        scratch = Path(scratch)
        scratch.chmod(0o777)
        with server(scratch, "postgres") as listening:
            write_environment(scratch, listening, "postgres", scratch / "results.db")
            expect(suite(scratch, "deaf=QSdeaf swapped=QSswapped"), 1, {"deaf": ".....f", "swapped": "esssss"})
