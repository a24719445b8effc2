"""Clang's part of scripts/check: clang-tidy checks the given sources, those that the build compiles as one as one, and
the compiler checks each source alone, for warnings and for what it does not include itself. What was clean before is left
out."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

BUILD = pathlib.Path("build/clang").resolve()
# An empty file for each text that was clean, named by what the result depends on, and the texts of several sources.
CLEAN = BUILD / "tidy"
COMMON = pathlib.Path(".clang-tidy").read_bytes() + subprocess.check_output(["clang-tidy", "--version"])


def commands():
    """Yields each source that the build compiles, and the compiler's command line without it and its output."""
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        words = shlex.split(entry["command"])
        at = words.index("-o")
        first = next(at for at, word in enumerate(words) if "clang" in pathlib.Path(word).name)
        yield pathlib.Path(entry["file"]), words[first:at]


def parts_of(source):
    """Returns the sources that a source of the unity build includes, or itself."""
    if source.suffix != ".cxx":
        return [source]
    return [pathlib.Path(name) for name in re.findall(r'^#include "(.*)"$', source.read_text(), re.M)]


class Job:
    def __init__(self, source, words, is_tidied):
        self.source, self.words, self.is_tidied = source, words, is_tidied
        self.parts = parts_of(source)
        if is_tidied and source not in self.parts:
            # clang-tidy follows the paths through functions only in the source itself, not in what it includes.
            self.source = CLEAN / (source.parent.parent.name + ".cpp")
            self.source.write_text("".join(part.read_text() for part in self.parts))

    def key(self, check):
        """Names the check, the source's text and that of all its headers, comments and macros included."""
        text = subprocess.run([*self.words, str(self.source), "-w", "-E", "-frewrite-includes"], capture_output=True)
        return hashlib.sha256(COMMON + shlex.join(check).encode() + text.stdout).hexdigest()

    def place(self, match):
        """A line of the joined sources, as a line of one of them."""
        line = int(match[1])
        for part in self.parts:
            lines = part.read_text().count("\n")
            if line <= lines:
                return f"{part}:{line}:"
            line -= lines
        return match[0]

    def is_clean(self):
        check = (["clang-tidy", "--quiet", str(self.source), "--", *self.words[1:]] if self.is_tidied
                 else [*self.words, "-fsyntax-only", str(self.source)])
        clean = CLEAN / self.key(check)
        if clean.exists():
            return True
        done = subprocess.run(check, capture_output=True, text=True)
        if done.returncode == 0:
            clean.touch()
            return True
        # Without its counts of hidden warnings.
        errors = [line for line in done.stderr.splitlines() if not line.endswith(" generated.")]
        text = done.stdout + "\n".join(errors)
        print(re.sub(re.escape(str(self.source)) + r":(\d+):", self.place, text), flush=True)
        return False


def main():
    CLEAN.mkdir(exist_ok=True)
    tidied = {pathlib.Path(source).resolve() for source in sys.argv[1:]}
    jobs, seen = [], set()
    for source, words in commands():
        parts = set(parts_of(source)) - seen
        seen |= parts
        if parts and parts <= tidied:
            jobs.append(Job(source, words, True))
            parts.discard(source) # clang-tidy shows the compiler's warnings, too
        jobs += [Job(part, words, False) for part in parts]
    if unbuilt := tidied - seen:
        sys.exit(f"No target is built from {' '.join(map(str, sorted(unbuilt)))}")
    # The longest first, each job when another ends.
    jobs.sort(key=lambda job: sum(part.stat().st_size for part in job.parts), reverse=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = [pool.submit(job.is_clean) for job in jobs]
        for number, _ in enumerate(concurrent.futures.as_completed(results), 1):
            print(f"[{number}/{len(results)}]", flush=True)
    sys.exit(0 if all(result.result() for result in results) else 1)


main()
