"""Clang's part of scripts/check: clang-tidy checks the given sources, and the compiler all others for its warnings,
except those whose text was clean before."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

BUILD = pathlib.Path("build/clang")
# An empty file for each text that was clean, named by what the result depends on.
CLEAN = BUILD / "tidy"
COMMON = pathlib.Path(".clang-tidy").read_bytes() + subprocess.check_output(["clang-tidy", "--version"])


def commands():
    """Returns the compiler's command line of each source, without what names its output."""
    found = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        words = shlex.split(entry["command"])
        del words[words.index("-o") : words.index("-o") + 2]
        words = words[next(at for at, word in enumerate(words) if "clang" in pathlib.Path(word).name) :]
        found.setdefault(os.path.realpath(entry["file"]), (words, entry["directory"]))
    return found


def key(words, directory, check):
    """Names the check, the source's text and that of all its headers, comments and macros included."""
    text = subprocess.run([*words, "-w", "-E", "-frewrite-includes"], cwd=directory, capture_output=True, check=False)
    return hashlib.sha256(COMMON + shlex.join([*words, *check]).encode() + text.stdout).hexdigest()


def is_clean(source, command, is_tidied):
    words, directory = command
    # clang-tidy shows the compiler's warnings, too.
    check = ["clang-tidy", "--quiet", "-p", str(BUILD.resolve()), source] if is_tidied else [*words, "-fsyntax-only"]
    clean = CLEAN / key(words, directory, check)
    if clean.exists():
        return True
    done = subprocess.run(check, cwd=directory, capture_output=True, text=True, check=False)
    if done.returncode == 0:
        clean.touch()
        return True
    # Without its counts of hidden warnings.
    errors = [line for line in done.stderr.splitlines() if not line.endswith(" generated.")]
    print(done.stdout + "\n".join(errors), flush=True)
    return False


def main():
    CLEAN.mkdir(exist_ok=True)
    known = commands()
    tidied = {os.path.realpath(source) for source in sys.argv[1:]}
    if unbuilt := tidied - known.keys():
        sys.exit(f"No target is built from {' '.join(sorted(unbuilt))}")
    # Each job takes the next source, because sources differ much in size.
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = [pool.submit(is_clean, source, command, source in tidied) for source, command in known.items()]
        for number, _ in enumerate(concurrent.futures.as_completed(jobs), 1):
            print(f"[{number}/{len(jobs)}]", flush=True)
    sys.exit(0 if all(job.result() for job in jobs) else 1)


main()
