"""Clang's part of scripts/check: clang-tidy checks the given sources, those that the build compiles as one as one, and
the compiler checks each source alone, for warnings and for what it does not include itself. What was clean before, and
reads the same files as then, is left out."""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

BUILD = pathlib.Path("build/clang").resolve()
# A file for each check that found nothing, with the files that were read and what is in them, and the texts of several
# sources.
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


@functools.cache
def digest(name):
    """What is in a file, in short; None if it is gone."""
    file = pathlib.Path(name)
    return hashlib.sha256(file.read_bytes()).hexdigest() if file.is_file() else None


class Job:
    def __init__(self, source, words, is_tidied):
        self.source, self.words, self.is_tidied = source, words, is_tidied
        self.parts = parts_of(source)
        if is_tidied and source not in self.parts:
            # clang-tidy follows the paths through functions only in the source itself, not in what it includes.
            self.source = CLEAN / (source.parent.parent.name + ".cpp")
            self.source.write_text("".join(part.read_text() for part in self.parts))

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
        clean = CLEAN / hashlib.sha256(COMMON + shlex.join(check).encode()).hexdigest()
        if clean.exists() and all(digest(name) == known for name, known in json.loads(clean.read_text()).items()):
            return True
        read = clean.with_suffix(".d")
        done = subprocess.run(check if self.is_tidied else [*check, "-MD", "-MF", read], capture_output=True, text=True)
        if done.returncode == 0:
            if self.is_tidied:
                subprocess.run([*self.words, self.source, "-w", "-M", "-MF", read], check=True)
            names = shlex.split(read.read_text().partition(":")[2])
            clean.write_text(json.dumps({name: digest(name) for name in names}))
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
