"""The end-of-line tests on several benches, over SSH: pytest --lg-env benches.yaml test_line.py

UNITS names the benches that have a unit, with its serial number: UNITS="bench1=QS1000123 bench2=QS1000124". All else is
in the environment file. Each line of ../end_of_line.txt is a test case of each bench with such a product. After a test
that is not good, the others of its bench are skipped. A bad unit is a failure, one that could not be tested an error.
"""
import fcntl
import fnmatch
import os
import pathlib
import shlex
import subprocess
import time

import pytest
from labgrid.config import Config

TESTS = pathlib.Path(__file__).parent.parent / "end_of_line.txt"


def pytest_generate_tests(metafunc):
    units = [word.partition("=") for word in os.environ.get("UNITS", "").split()]
    if not units or not all(serial for _, _, serial in units) or not metafunc.config.getoption("lg_env"):
        raise pytest.UsageError("--lg-env is missing, or UNITS, which is to be like bench1=QS1000123 bench2=QS1000124")
    config = Config(metafunc.config.getoption("lg_env"))
    rows = [line.split(" ", 1) for line in TESTS.read_text().splitlines() if not line.startswith("#")]
    cases = []
    for name, _, serial in units:
        product = config.get_target_option(name, "product")
        unit = (name, product, serial)
        cases += [pytest.param(unit, test, id=f"{name}-{test}")
                  for products, test in rows if fnmatch.fnmatchcase(product, products)]
    metafunc.parametrize("bench, test", cases, indirect=["bench"], scope="session")


class Bench:
    """A bench with a unit."""

    def __init__(self, config, ssh, product, serial):
        self.config, self.bench, self.product, self.serial = config, ssh.target.name, product, serial
        self.bad = None  # the first test that was not good
        service = ssh.networkservice
        self.ssh = ["ssh", "-x", "-o", "BatchMode=yes", *ssh.ssh_prefix, "-p", str(service.port), "-l",
                    service.username, service.address]

    def option(self, name):
        """The bench's own, otherwise that of all."""
        return self.config.get_target_option(self.bench, name, "") or self.config.get_option(name, "")

    def run(self, test):
        """Returns the exit status of sonarbench-station: 0 good, 1 bad, otherwise not tested."""
        test = test.replace("TABLE", self.option("table"))
        command = [*self.ssh, f"{self.option('sonarbench')} {test}"]
        # Only a second ping shows whether samples are always the same.
        if "ping" in test.split()[0]:
            command = ["sh", "-c", '"$@" && "$@"', "twice", *command]
        words = ["sonarbench-station", "run", "--unit", self.serial, "--station", self.option("station"),
                 "--to", self.option("results"), "--database", self.option("database"),
                 "--timeout", self.option("timeout"), "--product", self.product]
        for name in ("readings", self.product):
            words += ["--limits", f"{self.option('limits')}/{name}.json"]
        if self.option("serial-file"):
            words += ["--serial-command", shlex.join([*self.ssh, f"cat {self.option('serial-file')}"])]
        return subprocess.run([*words, "--", *command], cwd=self.config.base, stdin=subprocess.DEVNULL,
                              check=False).returncode


def disconnect(control):
    """Ends the connection of this socket. labgrid fails if it removes the socket's directory while ssh does so."""
    subprocess.run(["ssh", "-o", f"ControlPath={control}", "-O", "exit", "unit"], capture_output=True, check=False)
    for _ in range(500):
        if not os.path.exists(control):
            break
        time.sleep(0.01)


@pytest.fixture(scope="session")
def bench(env, request):
    """A bench that nobody else uses, with a connection to its unit."""
    name, product, serial = request.param
    results = pathlib.Path(env.config.base, env.config.get_option("results"))
    results.mkdir(parents=True, exist_ok=True)
    with open(results / f".{name}", "w", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            pytest.fail(f"{name} is in use", pytrace=False)
        target = env.get_target(name)
        ssh = target.get_driver("SSHDriver")
        yield Bench(env.config, ssh, product, serial)
        disconnect(ssh.control)
        target.deactivate(ssh)


@pytest.fixture
def status(bench, test):
    """The exit status of a test. A fixture, because what fails here is an error."""
    if bench.bad:
        pytest.skip(f"{bench.bad} was not good")
    bench.bad = test
    result = bench.run(test)
    if result not in (0, 1):
        pytest.fail("the unit could not be tested", pytrace=False)
    bench.bad = test if result else None
    return result


def test_unit(bench, status):
    if status:
        pytest.fail(f"the unit {bench.serial} is bad", pytrace=False)
