#!/usr/bin/env python3
"""Breaks each assumption of docs/first-unit.md in traces of each link: --check-trace must name it, and nothing else.

Usage: check_first_unit.py SIMULATOR, from the repository's root.
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

SIMULATOR = sys.argv[1]
TRACES = ["QL4K xkping examples/short.txt 0 1", "QL6M xkping examples/full.txt 1 4", "LumetV2 lumetping 200long",
          "LumetV2 watertemperature", "QL2A ping 200000 210000 27 45 1 low", "Varrow ping 200000 210000 27 45 0 low",
          "QL1A loadfpgabinary"]
BLOCK = 132  # bytes of 128 samples and two values
TIMED = [("link-time", "xkping"), ("link-time", "loadfpgabinary")]
ENTRY = re.compile(r"(?P<begin>\S+ \S+) (?P<kind>[a-z]+) (?P<count>\d+) (?P<bytes>\S+)(?P<rest>.*)")


def entry(kind, at=0):
    """A change of the first entry of a kind, or of the last one (-1), to what a function makes of its bytes."""
    def decorate(change):
        def edit(lines):
            places = [i for i, line in enumerate(lines) if f" {kind} " in line]
            if places:
                place = places[at]
                match = ENTRY.fullmatch(lines[place])
                data = bytes.fromhex(match["bytes"]) if kind in ("fill", "reply", "unasked") else match["bytes"]
                data, *marks = change(data)
                text = data.hex() if isinstance(data, bytes) else data
                mark = "".join(f" {mark}" for mark in marks if not mark.startswith("\n"))
                more = "".join(mark for mark in marks if mark.startswith("\n")).replace("DEVICE", match["begin"].split()[1])
                lines[place] = f"{match['begin']} {kind} - {text}{mark}{more}"
            return bool(places)
        return edit
    return decorate


def longest(lines):
    """The place of the longest write among the writes; the last one of several."""
    writes = [len(line.partition(" # ")[0]) for line in lines if " write " in line]
    return max(range(len(writes)), key=lambda i: (writes[i], i))


def swapped(data):
    return b"".join(data[i : i + 2][::-1] for i in range(0, len(data), 2))


def reversed_pairs(data):
    return b"".join(data[i : i + 2] for i in range(len(data) - 2, -1, -2))


def reversed_blocks(data):
    blocks = [data[i : i + BLOCK] for i in range(2, len(data) - BLOCK, BLOCK)]
    return data[:2] + b"".join(reversed(blocks)) + data[2 + BLOCK * len(blocks) :]


def with_sum(data):
    return data[:-1] + bytes([sum(data[:-1]) % 256])


# A row of the table: what a unit would do instead. The first edit that finds its entry is made.
EDITS = {
    "image": [entry("image")(lambda data: (data, "!EIO"))],
    "requests": [entry("ioctl")(lambda data: (data, "!ENOTTY"))],
    "request-result": [entry("ioctl")(lambda data: (data, "=1"))],
    "whole-writes": [entry("write")(lambda data: (data, f"={len(data) // 2 - 1}"))],
    "buffer-kept": [entry("write")(lambda data: (data, "\n- DEVICE fill - 00"))],
    "ping-read": [entry("fill")(lambda data: (data[: len(data) * 3 // 4] + bytes(len(data) // 4),))],
    "reply": [entry("reply")(lambda data: (data[:-1],)), entry("unasked")(lambda data: (data[:-1],))],
    "no-reply": [entry(kind, 0 if kind != "write" else 1)(lambda data: (data, "\n- DEVICE reply - 00"))
                 for kind in ("ioctl", "image", "write")],
    "one-piece": [entry("reply")(lambda data: (data, "bytewise"))],
    "reply-time": [entry("reply")(lambda data: (data, "+1000ms"))],
    "reply-checksum": [entry("reply")(lambda data: (data[:-1] + bytes([data[-1] ^ 1]),))],
    "fifo-status": [entry("reply", -1)(lambda data: (with_sum(bytes([data[0] | 1]) + data[1:]),))],
    "own-line": [entry("unasked")(lambda data: (data[:-1],))],
    "block-values": [entry(kind, -1)(lambda data: (data[:131] + b"\x01" + data[132:],)) for kind in ("unasked", "reply")],
    "sample-order": [entry("fill")(lambda data: (reversed_pairs(data),)),
                     *(entry(kind, -1)(lambda data: (reversed_blocks(data),)) for kind in ("unasked", "reply"))],
    "sample-bytes": [entry("fill")(lambda data: (swapped(data),))],
    "link-time": [lambda lines: entry("write", longest(lines))(
        lambda data: (data, "@0.000001000-0.000002000"))(lines)],
}


def simulate(*words):
    return subprocess.run([SIMULATOR, *map(str, words)], capture_output=True, text=True, check=False)


def check(trace, status):
    """The findings of --check-trace, by assumption."""
    run = simulate("--check-trace", trace)
    assert run.returncode == status, (run.returncode, run.stdout, run.stderr)
    rows = [re.fullmatch(r"(held|broken|not seen) +(\S+).*", line) for line in run.stdout.splitlines()]
    return {row[2]: row[1] for row in rows}


described = re.findall(r"^\| `([a-z-]+)` \|", Path("docs/first-unit.md").read_text(), re.M)
broken = set()
with tempfile.TemporaryDirectory() as place:
    trace, edited = Path(place) / "trace", Path(place) / "edited"
    for product, *command in map(str.split, TRACES):
        assert simulate("--product", product, "--trace", trace, *command).returncode == 0, command
        findings = check(trace, 0)
        assert list(findings) == described == list(EDITS), (list(findings), described)
        for name, edits in EDITS.items():
            lines = trace.read_text().splitlines()
            # Times are seen only in traces of real units.
            if findings[name] == "not seen" and (name, command[0]) not in TIMED:
                continue
            if not any(edit(lines) for edit in edits):
                continue
            edited.write_text("\n".join(lines) + "\n")
            found = check(edited, 1)
            assert [row for row, finding in found.items() if finding == "broken"] == [name], (product, name, found)
            broken.add(name)
assert broken == set(EDITS), f"no trace shows {set(EDITS) - broken}"
