"""The measurements of scripts/budgets; docs/budgets.md explains them."""

import concurrent.futures
import contextlib
import functools
import io
import itertools
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

from line import LIMITS, TANK, XKPING
from time_import import LINE, outputs, write_runs

BUILD = pathlib.Path("build/release").resolve()
BIN = BUILD / "bin"
OUT = BUILD / "budgets"
SIMULATOR, PROGRAM, PROBE = BIN / "sonarbench-sim", BIN / "sonarbench", BIN / "sonarbench-probe"
RECORDER = BIN / "sonarbench-trace"
STATION, TRANSCRIPTS = BIN / "sonarbench-station", BIN / "sonarbench-transcripts"
FULL, SHORT = pathlib.Path("examples/full.txt"), pathlib.Path("examples/short.txt")
BATTERY = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw"
# Instructions depend on how much environment there is to search.
ENVIRONMENT = {"PATH": "/usr/bin:/bin"}

# The library by which the simulator gives devices is left out.
BARE = "unset LD_PRELOAD UMOCKDEV_DIR"

FEW, SOME, MOST = 1024, 65536, 1048560
SAMPLE_BYTES = 2
KIB = 1024
# Sorts of calls that sonarbench-sim --calls counts; "device" is the sum of some, others are not calls.
CALLS = ("write", "ioctl", "open", "read", "poll", "tcsetattr", "close", "file-open", "file-read", "file-write",
         "file-close")

# Commands on the links that there are: the program's own calls on devices and files, and its instructions beyond
# those of a start. Budgets are what was measured and a tenth more.
COMMANDS = {
    ("QL4K", "batteryvoltage"): (34, 0),
    ("QL4K", "loadfpgabinary"): (54, 62_000),
    ("QL4K", "watertemperature"): (36, 26_000),
    ("QL4K", "xkping examples/short.txt 0 1"): (70, 420_000),
    ("QL4K", "xkping examples/full.txt 0 1"): (76, 6_700_000),
    ("LumetV2", "lumetping 200long"): (44, 139_000),
    ("LumetV2", "watertemperature"): (41, 52_000),
    ("QL1A", "ping 200000 210000 27 45 0 medium"): (54, 135_000),
    ("QL1A", "loadfpgabinary"): (40, 55_000),
}

failures = 0


def row(what, figure, budget, unit="", digits=0):
    """Prints a row of the table; a figure above its budget makes the run fail."""
    global failures
    over = figure > budget
    failures += over
    print(f"{what:<58}{figure:>11,.{digits}f}{budget:>11,.{digits}f}  {'OVER' if over else 'ok':<5}{unit}".rstrip(), flush=True)


def run(*command, statuses=(0,), **options):
    done = subprocess.run([str(part) for part in command], env=ENVIRONMENT, capture_output=True, text=True, **options)
    if done.returncode not in statuses:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stderr}")
    return done


def script(name, *lines):
    path = OUT / name
    path.write_text("\n".join(("#!/bin/sh", *lines, "")))
    path.chmod(0o755)
    return path


def on_unit(product, wrapper, *arguments, options=(), statuses=(0,)):
    return run(SIMULATOR, "--product", product, *options, "--write", OUT, "--program", wrapper, *arguments, statuses=statuses)


def counted(program):
    """The words that run the program under callgrind."""
    return ["valgrind", "--tool=callgrind", f"--callgrind-out-file={OUT}/callgrind.out", str(program)]


def weighed(program):
    """The words that run the program under massif."""
    return ["valgrind", "--tool=massif", "--peak-inaccuracy=0.0", f"--massif-out-file={OUT}/massif.out", str(program)]


def shell(words):
    """A line of a script that becomes these words' program, with the script's arguments."""
    return f'exec {shlex.join(words)} "$@"'


def total():
    return int(re.search(r"^totals: (\d+)", (OUT / "callgrind.out").read_text(), re.M)[1])


@functools.cache
def start(program, *arguments):
    """Instructions on the files of a virtual unit alone, without the library by which the simulator gives devices."""
    bare = script("bare", BARE, shell(counted(program)))
    on_unit("QL4K", bare, *arguments)
    return total()


@functools.cache
def command(product, *arguments):
    on_unit(product, script("counted", shell(counted(PROGRAM))), *arguments)
    return total()


def recorded(product, *arguments, before=""):
    """Instructions of a recorded run: of the program with the library, and of sonarbench-trace."""
    for file in OUT.glob("recorded.*"):
        file.unlink()
    # The program has the process of sonarbench-trace, and so its file; the shells have others.
    words = ["valgrind", "--trace-children=yes", "--tool=callgrind", f"--callgrind-out-file={OUT}/recorded.%p.callgrind"]
    trace = OUT / "recorded.trace"
    on_unit(product, script("recorded", before, shell([*words, str(RECORDER), str(trace), str(PROGRAM)])), *arguments)
    if "recording complete" not in trace.read_text():
        sys.exit(f"the recorder did not record {arguments}")
    files = [file.read_text() for file in OUT.glob("recorded.*.callgrind")]
    program, = (text for text in files if re.search(rf"^cmd: +{PROGRAM} ", text, re.M))
    # It ends with 127 because there is no such command.
    starter = script("starter", BARE, shell([*counted(RECORDER), str(trace), "/nonexistent"]))
    on_unit(product, starter, *arguments, statuses=(127,))
    return int(re.search(r"^totals: (\d+)", program, re.M)[1]) + total()


@functools.cache
def probe(job, argument):
    run(*counted(PROBE), job, argument)
    return total()


def slope(cost, fewer=FEW, more=SOME):
    return (cost(more) - cost(fewer)) / (more - fewer)


def heap(*arguments):
    """Peak of the bytes that the program had allocated."""
    on_unit("QL4K", script("massif", shell(weighed(PROGRAM))), *arguments)
    return peak()


def peak():
    return max(map(int, re.findall(r"^mem_heap_B=(\d+)", (OUT / "massif.out").read_text(), re.M)))


@functools.cache
def table_of(samples):
    """The short ping's table file, but for so many samples."""
    path = OUT / f"samples-{samples}.txt"
    path.write_text(SHORT.read_text().replace("SamplesToReceive( 1024)", f"SamplesToReceive( {samples})"))
    return path


def half_table():
    """The full table file with every other entry of its tables."""
    lines, entries = [], 0
    for line in FULL.read_text().splitlines():
        entries = entries + 1 if re.match(r"[-0-9]", line) else 0
        if size := re.search(r"(?:size |size: )(\d+)$", line):
            line = line[: size.start(1)] + str(int(size[1]) // 2)
        if entries % 2 == 0:
            lines.append(line)
    path = OUT / "half.txt"
    path.write_text("\n".join(lines) + "\n")
    return path


# Links and packets. The packets are those of docs/protocols.md.
SPI_HERTZ, BAUD, BITS_UART = 24e6, 3e6, 10
HEADER, CHECKSUM, BOUND = 7, 1, 5057
SENT_AT_ONCE = {24, 67, 81, 96}
COMMAND, START_PING = 0, 1


def packets_of(transfer):
    """Address, whether it reads, and payload of each packet."""
    packets = []
    while transfer:
        length = int.from_bytes(transfer[5:7], "little") + 1
        packets.append((int.from_bytes(transfer[2:4], "little"), transfer[4] & 1, transfer[HEADER : HEADER + length]))
        transfer = transfer[HEADER + length + CHECKSUM :]
    return packets


def is_ping(packet):
    return packet[0] == COMMAND and packet[2][0] & START_PING


def could_join(earlier, later):
    """Whether two transfers could have been one."""
    last, first = packets_of(earlier)[-1], packets_of(later)[0]
    alone = last[1] or last[0] in SENT_AT_ONCE or is_ping(last) or is_ping(first)
    return not alone and len(earlier) + len(first[2]) < BOUND


def trace(product, arguments):
    """Writes to devices, how many of them could have joined the one before, and seconds of the bytes on the link."""
    on_unit(product, PROGRAM, *arguments, options=["--trace", OUT / "trace"])
    lines = [line.split() for line in (OUT / "trace").read_text().splitlines() if re.match(r"\d+\.\d{9} ", line)]
    # A ping is read by a write that comes back filled: one transfer.
    lines = [line for line, after in zip(lines, lines[1:] + [[""] * 3]) if after[2] != "fill"]
    writes = [line for line in lines if line[2] == "write"]
    transfers = [bytes.fromhex(line[4]) for line in writes if line[1].startswith("LSfpga")]
    seconds = 0.0
    for _, device, direction, count, *_ in lines:
        if device.startswith("tty") and direction in ("write", "reply"):
            seconds += int(count) * BITS_UART / BAUD
        # On SPI a request clocks its own reply out.
        if device.startswith("LSfpga") and direction in ("write", "fill"):
            seconds += int(count) * 8 / SPI_HERTZ
    written = len(writes) + sum(line[2] == "fill" for line in lines)
    return written, sum(map(could_join, transfers, transfers[1:])), seconds


def calls(product, arguments):
    """The program's own calls on devices and files."""
    on_unit(product, PROGRAM, *arguments, options=["--calls", OUT / "calls"])
    counts = dict(line.split() for line in (OUT / "calls").read_text().splitlines())
    return sum(int(counts[kind]) for kind in CALLS)


def time_ratio(measured, reference):
    """Of processor times in one run, the quickest of several repetitions each."""
    told = run(BIN / "sonarbench-bench", f"--benchmark_filter=^({measured}|{reference})$", "--benchmark_format=json",
               "--benchmark_repetitions=9", "--benchmark_min_time=0.05")
    quickest = {}
    for result in json.loads(told.stdout)["benchmarks"]:
        if result["run_type"] == "iteration":
            quickest[result["name"]] = min(result["cpu_time"], quickest.get(result["name"], result["cpu_time"]))
    return quickest[measured] / quickest[reference]


def stripped_size(program):
    run("strip", "-o", OUT / "stripped", program)
    return (OUT / "stripped").stat().st_size


def measure_time():
    row("table file: time, over a memchr pass from line to line", time_ratio("ReadTable", "PassOverTable"), 10, "", 1)


def measure_start():
    if subprocess.run(["bwrap", "--dev-bind", "/", "/", "true"], capture_output=True).returncode != 0:
        print("batteryvoltage: not measured, because this system refuses namespaces")
        return
    floor = start(BIN / "sonarbench-floor", BATTERY)
    row("batteryvoltage: instructions", start(PROGRAM, "batteryvoltage"), 1.05 * floor, f"1.05 x {floor:,}")


def measure_blocks():
    for kind in ("shorts", "floats"):
        made = slope(lambda samples: probe(f"make-{kind}", samples))
        bare = slope(lambda samples: probe(f"bare-{kind}", samples)) - made
        block = slope(lambda samples: probe(kind, samples)) - made
        row(f"block of {kind}: instructions a sample", block, 1.2 * bare, f"1.2 x {bare:.1f}", 1)


def measure_table():
    whole, half = (probe("table", file) - probe("nothing", file) for file in (FULL, half_table()))
    row("table file: instructions, full over half its size", whole / half, 2.1, "linear", 2)


def measure_samples():
    def instructions(samples):
        return command("QL4K", "xkping", table_of(samples), "0", "1")

    few = slope(instructions)
    row("xkping: instructions a sample, 1,024 to 65,536", few, 60, "", 1)
    row("xkping: instructions a sample, 65,536 to 1,048,560", slope(instructions, SOME, MOST), 1.05 * few, "linear", 1)
    for samples in (FEW, SOME, MOST):
        peak = heap("xkping", table_of(samples), "0", "1")
        row(f"xkping: peak heap in KiB at {samples:,} samples", peak / KIB, 4 * SAMPLE_BYTES * samples / KIB + 256,
            "4 x samples + 256")


def measure_commands():
    for (product, words), (most_calls, most_instructions) in COMMANDS.items():
        arguments = words.split()
        name = f"{arguments[0]} on {product}" + (" (full)" if str(FULL) in arguments else "")
        written, surplus, seconds = trace(product, arguments)
        row(f"{name}: device writes", written, written - surplus, "the least")
        row(f"{name}: system calls on devices and files", calls(product, arguments), most_calls)
        beyond = command(product, *arguments) - command(product, "batteryvoltage")
        row(f"{name}: instructions beyond a start", beyond, most_instructions)
        if seconds:
            print(f"    at one a nanosecond {beyond * 1e-9 / seconds:.1%} of the {seconds * 1e3:.3f} ms that its bytes need")


def measure_recorder():
    plain = start(PROGRAM, "batteryvoltage")
    row("sonarbench-trace: instructions, batteryvoltage", recorded("QL4K", "batteryvoltage", before=BARE) / plain, 1.1, "", 3)
    for words in (f"xkping {SHORT} 0 1", f"xkping {FULL} 0 1"):
        ratio = recorded("QL4K", *words.split()) / command("QL4K", *words.split())
        row(f"sonarbench-trace: instructions, {words}", ratio, 1.1, "over those of the run itself", 3)


@functools.cache
def line_of(units):
    """A transcript of so many units: two pings, as the shipped limits are for, and two readings of each."""
    path = OUT / f"line-{units}.txt"
    text = ""
    for seed in range(1, 5):
        scene = OUT / "scene.json"
        scene.write_text(json.dumps(TANK | {"seed": seed, "unit": {"seed": seed}}))
        for words in (XKPING, ["sensepin"], XKPING, ["batteryvoltage"]):
            text += on_unit("QL4K", PROGRAM, *words, options=["--scene", scene]).stdout
    path.write_text(text * (units // 4))
    return path


@functools.cache
def every_command():
    """What every command prints on products of each kind."""
    lines = [line for line in pathlib.Path("scripts/commands.txt").read_text().splitlines() if line[0] != "#"]

    def printed(product, line):
        # Not every product can run every command.
        return run(SIMULATOR, "--product", product, "--program", PROGRAM, *line.split(), statuses=range(256)).stdout

    cases = itertools.product(("QL4K", "Varrow", "LumetV2", "QL1A", "HY05"), lines)
    with concurrent.futures.ThreadPoolExecutor() as pool:  # Some commands wait for most of their time.
        return "".join(pool.map(printed, *zip(*cases)))


def commands_of(times):
    """A transcript of every command, so many times. Most of these runs are short."""
    path = OUT / f"commands-{times}.txt"
    path.write_text(every_command() * times)
    return path


def station_cost(transcript, fewer, more, *command):
    """Instructions of a command that reads transcripts, for each part of them."""
    def instructions(parts):
        # A unit of a transcript may be bad: each ping is the first of a virtual unit, so a second is the same.
        run(*counted(command[0]), *command[1:], transcript(parts), statuses=(0, 1, 3))
        return total()

    return slope(instructions, fewer, more)


def measure_station():
    outputs = {"summary": ["--summary", "-"], "json": ["--json", "-"], "csv": ["--csv", "-"], "html": ["--html", "-"]}
    limits = ["--product", "QL4K", "--limits", LIMITS / "QL4K.json"]
    for transcript, parts, kind, budgets in (
            (line_of, (20, 100), "pings", {"summary": 0.7, "json": 1.8, "csv": 0.85}),
            (commands_of, (2, 8), "all commands", {"summary": 1.1, "json": 1.65, "csv": 1.2})):
        floors = {form: station_cost(transcript, *parts, TRANSCRIPTS, form) for form in ("json", "csv")}
        for output, most in budgets.items():
            cost = station_cost(transcript, *parts, STATION, "report", *outputs[output])
            row(f"report --{output} of {kind}: instructions, over plain", cost / floors.get(output, floors["csv"]), most,
                "", 2)
    judged = station_cost(line_of, 20, 100, STATION, "report", *outputs["summary"], *limits)
    floor = station_cost(line_of, 20, 100, TRANSCRIPTS, "csv")
    row("report --summary with limits: instructions, over plain", judged / floor, 2, "", 2)
    for output in ("json", "html"):
        cost, judged = (station_cost(line_of, 20, 100, STATION, "report", *outputs[output], *options)
                        for options in ([], limits))
        row(f"report --{output}: instructions, with limits over without", judged / cost, 1.5, "", 2)
    files = [word for form in ("json", "csv", "junit", "samples") for word in ("--" + form, OUT / f"out.{form}")]
    for name, words, most in (("--summary", outputs["summary"], 640), ("to four files", files, 1536)):
        run(*weighed(STATION), "report", *words, line_of(1000), statuses=(0, 1))
        row(f"report {name}: peak heap in KiB at 2 MB of text", peak() / KIB, most)


def measure_import():
    printed = outputs(SIMULATOR, LINE)

    def cost(command, size):
        runs = OUT / f"runs-{size}"
        if not runs.exists():
            write_runs(runs, printed, size)
        command(runs)
        return total()

    def import_runs(runs):
        run(*counted(STATION), "import", "--database", runs.with_suffix(".db"), runs)

    def read_plainly(runs):
        text = runs.with_suffix(".txt")
        text.write_bytes(b"".join(file.read_bytes() for file in sorted(runs.rglob("*.run"))))
        run(*counted(TRANSCRIPTS), "json", text)

    for old in OUT.glob("runs-*"):
        shutil.rmtree(old) if old.is_dir() else old.unlink()
    few, many = 400_000, 2_000_000
    once, again, plain = (slope(functools.partial(cost, command), few, many)
                          for command in (import_runs, import_runs, read_plainly))
    row("import: instructions, over a plain program", once / plain, 5.5, "", 1)
    row("import again: instructions, over a plain program", again / plain, 1.5, "", 1)


# The longest first.
MEASUREMENTS = (measure_station, measure_import, measure_commands, measure_blocks, measure_samples, measure_recorder,
                measure_table, measure_start)


def apart(measure):
    """Measures in another process, with files of its own: returns what is to be printed, and how many figures are over."""
    global OUT, failures
    OUT, failures = BUILD / "budgets" / measure.__name__, 0
    OUT.mkdir(exist_ok=True)
    with contextlib.redirect_stdout(io.StringIO()) as rows:
        measure()
    return rows.getvalue(), failures


def main():
    global failures
    OUT.mkdir(exist_ok=True)
    print(f"{'':<58}{'figure':>11}{'budget':>11}")
    measure_time()
    # Instructions and bytes are the same however busy the machine is.
    with concurrent.futures.ProcessPoolExecutor(os.cpu_count()) as pool:
        for rows, over in pool.map(apart, MEASUREMENTS):
            print(rows, end="", flush=True)
            failures += over
    row("sonarbench: bytes when stripped", stripped_size(PROGRAM), 320 * KIB)
    row("sonarbench-sim: bytes when stripped", stripped_size(SIMULATOR), 700 * KIB)


if __name__ == "__main__":
    main()
    sys.exit(1 if failures else 0)
