#!/usr/bin/python3
"""Checks the figures of sonarbench-station yield against others that this script computes.

Usage: check_yield.py PROGRAM SIMULATOR, from the repository's root. Uses an SQLite file, and a PostgreSQL server that
it starts in a directory of its own.
For another machine: check_yield.py PROGRAM SIMULATOR write|compare DIRECTORY RUNS. The first writes run files and limits
of so many runs into the directory, the second compares the figures in its file yield.json with those of these runs.
"""
import collections
import json
import math
import random
import re
import statistics
import subprocess
import sys
import tempfile
from datetime import datetime, timedelta
from html.parser import HTMLParser
from pathlib import Path

from databases import databases, write
from formats import check_page

PROGRAM, SIMULATOR = (Path(argument).resolve() for argument in sys.argv[1:3])
RUNS = int(sys.argv[5]) if len(sys.argv) > 5 else 2000
Z = statistics.NormalDist().inv_cdf(0.975)
# What commands print, with places for values.
READING = "-" * 51 + "\nsonarbench {} \n\nTest Output: \n{}\n\nTest Result: Operation Performed."
SPEED = re.sub("ticks: [0-9]+", "ticks: {}", subprocess.run([SIMULATOR, "speed", "1"], capture_output=True, text=True,
                                                           check=True).stdout.rstrip("\n"))
NAMES = {"batteryvoltage": "batteryVoltage", "sensepin": "sensePin", "lcdtemperature": "lcdTemperature"}
LIMITS = [{"batteryVoltage": (2820, 2940), "sensePin": (3000, None), "lcdTemperature": (None, 520)},
          {"batteryVoltage": (2825, 2940), "sensePin": (3000, None), "lcdTemperature": (None, 520)}]
# Values, and the number of the last one that violates each rule. The moving ranges of the first 20 values are 2.
BASE = [0, 2] * 10
PATTERNS = [(BASE, {}), ([7] * 30, {}), (BASE + [12], {"beyond-3-sigma": 21, "moving-range": 21}),
            (BASE + [7, 2, 7], {"two-of-three": 23}), (BASE + [4] * 4, {"four-of-five": 24}),
            (BASE + [2] * 7, {"eight-in-a-row": 27})]
HOSTILE = ["<script>alert(1)</script>", "\"'><img src=x onerror=alert(1)>", "'; DROP TABLE runs; --", "%1 %n {0}",
           "</svg></title><style>*{display:none}</style>", "&lt;b&gt;", "é\u202e\x1b[31m"]


def station(*arguments, status=0):
    done = subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, check=False)
    assert done.returncode == status, (arguments, done.returncode, done.stderr[:500])
    return done


def figures(database, *options, status=0):
    return json.loads(station("yield", "--database", database.url, "--json", "-", *options, status=status).stdout)


def write_limits(file, limits):
    rules = [{"command": command, "measurement": name,
              **{key: bound for key, bound in zip(("least", "most"), limits[name]) if bound is not None}}
             for command, name in NAMES.items()]
    file.write_text(json.dumps({"schemaVersion": {"major": 1, "minor": 0}, "rules": rules}))
    return file


class Attempt:
    """A simulated run with one test."""
    def __init__(self, number, unit, test, attempt, limits):
        self.unit, self.command, self.limits = unit, test, limits
        self.start = (datetime(2026, 11, 1) + timedelta(minutes=13 * number)).isoformat(timespec="milliseconds")
        self.station = random.choice("ABC")
        self.operator = random.choice(["Ada", "Zoë", None])
        self.product = ["P", "Q", None][unit % 3]
        shift = 25 if self.station == "C" else 0
        value = round(random.gauss({"sensepin": 3050, "lcdtemperature": 480}.get(test, 2873) + shift, 25)) + attempt
        self.setting, self.values, self.outcome, self.reason = "", {}, "performed", ""
        if test == "speed":
            ticks = random.randint(40, 60), random.randint(100, 120)
            self.setting, self.output, self.outcome = "1", SPEED.format(*ticks), "passed"
            self.values = {("speedTicks", ""): sum(ticks) / 2, ("speedTickRate", "1/s"): ticks[1] - ticks[0]}
        else:
            self.output = READING.format(test, value)
            self.values = {(NAMES[test], ""): value}
            least, most = limits[NAMES[test]]
            bounds = f"at least {least}" if most is None else f"at most {most}" if least is None else \
                f"from {least} to {most}"
            if value < (least or 0) or value > (most or 9999):
                self.outcome, self.reason = "failed", f"{NAMES[test]} (limit: {bounds})"
        if random.random() < 0.04:
            self.outcome, self.output = "not judged", self.output.removesuffix(".")

    def is_judged(self):
        return self.outcome != "not judged"

    def group(self, by):
        return self.start[:10] if by == "day" else getattr(self, by) or ""


def simulate():
    """Units in the order of their first run, tested until they are good or were tested three times."""
    attempts, waiting, unit = [], [], 0
    while len(attempts) < RUNS:
        if not waiting or random.random() < 0.3:
            waiting += [(unit, test, 0) for test in (*NAMES, "speed")]
            unit += 1
        number, test, tried = waiting.pop(random.randrange(len(waiting)))
        attempts.append(Attempt(len(attempts), number, test, tried, LIMITS[len(attempts) > RUNS * 3 // 4]))
        if tried < 2 and (attempts[-1].outcome in ("failed", "not judged") or random.random() < 0.05):
            waiting.append((number, test, tried + 1))
    return attempts


def share(good, count):
    """Wilson's interval as the solutions of a quadratic equation."""
    a, b, c = count + Z**2, -(2 * good + Z**2), good**2 / count
    root = math.sqrt(b**2 - 4 * a * c)
    return {"good": good, "share": good / count, "low": (-b - root) / (2 * a), "high": (-b + root) / (2 * a)}


def yields(units):
    """Of lists of judged attempts, one for each unit."""
    def good(which):
        return sum(all(tests[which].outcome != "failed" for tests in by_test(attempts)) for attempts in units)

    def by_test(attempts):
        tests = collections.defaultdict(list)
        for attempt in attempts:
            tests[attempt.command].append(attempt)
        return tests.values()

    retests = sum(len(tests) - 1 for attempts in units for tests in by_test(attempts))
    return {"units": len(units), "firstPass": share(good(0), len(units)), "final": share(good(-1), len(units)),
            "attempts": sum(map(len, units)), "retests": retests}


def violations(values, mean, sigma, ranges):
    """Rule and number of each violation, found by the letters of a text: the zone of each value."""
    zones = "".join("-" if value == mean else "abcd"[min(int(abs(value - mean) / sigma), 3)] for value in values)
    above = "".join(zone.upper() if value > mean else zone for zone, value in zip(zones, values))
    for number in range(1, len(values) + 1):
        own = str.isupper if above[number - 1].isupper() else str.islower
        last = ["".join(zone.lower() for zone in above[max(number - count, 0):number] if own(zone))
                for count in (1, 3, 5, 8)]
        if last[0] == "d":
            yield "beyond-3-sigma", number
        if last[0] in "cd" and last[0] and len(re.findall("[cd]", last[1])) >= 2:
            yield "two-of-three", number
        if last[0] in "bcd" and last[0] and len(re.findall("[bcd]", last[2])) >= 4:
            yield "four-of-five", number
        if len(last[3]) == 8:
            yield "eight-in-a-row", number
        if number > 1 and ranges[number - 2] > 3.267 * statistics.mean(ranges):
            yield "moving-range", number


def spread(values):
    return {"count": len(values), "mean": statistics.mean(values), "deviation": statistics.stdev(values)}


def stations(attempts, key):
    by_station = collections.defaultdict(list)
    for attempt in attempts:
        by_station[attempt.station].append(attempt.values[key])
    for name in sorted(by_station):
        others = [value for other, values in by_station.items() if other != name for value in values]
        own = by_station[name]
        error = math.sqrt(statistics.variance(own) / len(own) + statistics.variance(others) / len(others))
        difference = statistics.mean(own) - statistics.mean(others)
        yield {"name": name, **spread(own), "difference": difference, "drift": difference / error}


def measurement(attempts, key):
    values = [attempt.values[key] for attempt in attempts]
    first = attempts[0]
    result = {"command": first.command, "name": key[0], **spread(values), "limitsChanged": False,
              "stations": list(stations(attempts, key))}
    result.update({name: text for name, text in (("product", first.product), ("setting", first.setting),
                                                 ("unit", key[1])) if text})
    mean, deviation = result["mean"], result["deviation"]
    if key[0] in LIMITS[0]:
        bounds = attempts[-1].limits[key[0]]
        result["limitsChanged"] = bounds != first.limits[key[0]]
        result.update({name: bound for name, bound in zip(("least", "most"), bounds) if bound is not None})
        if None not in bounds:
            result["cp"] = (bounds[1] - bounds[0]) / (6 * deviation)
        result["cpk"] = min(abs(mean - bound) for bound in bounds if bound is not None) / (3 * deviation)
    ranges = [abs(one - other) for one, other in zip(values, values[1:])]
    sigma = statistics.mean(ranges) / 1.128
    result["chart"] = {"sigma": sigma, "low": mean - 3 * sigma, "high": mean + 3 * sigma,
                       "meanRange": statistics.mean(ranges), "highRange": 3.267 * statistics.mean(ranges)}
    result["signals"] = [{"rule": rule, "number": number, "value": values[number - 1],
                          "unit": str(attempts[number - 1].unit), "station": attempts[number - 1].station,
                          "start": attempts[number - 1].start + "+00:00"}
                         for rule, number in violations(values, mean, sigma, ranges)]
    return result


def expected(attempts, by, is_chosen=lambda _: True):
    judged = [attempt for attempt in attempts if attempt.is_judged()]
    units = collections.defaultdict(list)
    for attempt in judged:
        units[attempt.unit].append(attempt)
    groups = collections.defaultdict(list)
    for tested in units.values():
        if is_chosen(tested[0]):
            groups[tested[0].group(by) if by else ""].append(tested)
    chosen = [attempt for attempt in attempts if is_chosen(attempt)]
    failures = collections.Counter((attempt.command, attempt.reason) for attempt in chosen
                                   if attempt.outcome == "failed")
    reasons, total = [], 0
    for (command, reason), count in sorted(failures.items(), key=lambda item: (-item[1], item[0])):
        total += count
        reasons.append({"command": command, "reason": reason, "count": count, "cumulative": total})
    series = collections.defaultdict(list)
    for attempt in filter(is_chosen, judged):
        for key in attempt.values:
            series[attempt.product or "", attempt.command, attempt.setting, key].append(attempt)
    return {"confidence": 0.95, **yields([unit for group in groups.values() for unit in group]),
            "notJudged": sum(not attempt.is_judged() for attempt in chosen), **({"by": by} if by else {}),
            "groups": [{"name": name, **yields(groups[name])} for name in sorted(groups) if by],
            "reasons": reasons, "measurements": [measurement(series[key], key[3]) for key in sorted(series)],
            "alarms": []}


def expect_same(found, wanted, place="yield"):
    """Numbers agree to nine digits, all else is the same."""
    if isinstance(wanted, dict):
        assert found.keys() == wanted.keys(), (place, found.keys() ^ wanted.keys())
        for key, value in wanted.items():
            expect_same(found[key], value, f"{place}.{key}")
    elif isinstance(wanted, list):
        assert len(found) == len(wanted), (place, len(found), len(wanted))
        for number, value in enumerate(wanted):
            expect_same(found[number], value, f"{place}[{number}]")
    elif isinstance(wanted, float):
        assert math.isclose(found, wanted, rel_tol=1e-9, abs_tol=1e-12), (place, found, wanted)
    else:
        assert found == wanted, (place, found, wanted)


def write_all(place, attempts):
    """The run files and the limits, which changed once."""
    for number, limits in enumerate(LIMITS):
        write_limits(place / f"limits{number}.json", limits)
        (place / f"runs{number}").mkdir()
    for number, one in enumerate(attempts):
        write(place / f"runs{LIMITS.index(one.limits)}" / f"{number:04}.run", one.output.encode(), unit=one.unit,
              station=one.station, product=one.product, operator=one.operator, start=one.start)


def check_figures(database, place, attempts):
    database.clear()
    for number in range(len(LIMITS)):
        runs = (place / f"runs{number}").iterdir()
        station("import", "--database", database.url, "--limits", place / f"limits{number}.json",
                *sorted(runs, reverse=True))
    answers = []
    for by in (None, "product", "station", "day", "operator"):
        found = figures(database, *(["--by", by] if by else []))
        expect_same(found, expected(attempts, by))
        answers.append(found)
    assert answers[0]["retests"] > 100 and answers[0]["notJudged"] > 50 and len(answers[3]["groups"]) > 15
    rules = {signal["rule"] for series in answers[0]["measurements"] for signal in series["signals"]}
    assert len(rules) >= 4, rules
    # The attempts before the first day that is chosen count: what comes after them is a retest.
    found = figures(database, "--since", "2026-11-05", "--until", "2026-11-12T10:00")
    expect_same(found, expected(attempts, None, lambda one: "2026-11-05" <= one.start < "2026-11-12T10:00"))
    found = figures(database, "--command", "sensepin", "--product", "P")
    expect_same(found, expected([attempt for attempt in attempts if attempt.command == "sensepin"], None,
                                lambda attempt: attempt.product == "P"))
    text = station("yield", "--database", database.url, "--by", "day").stdout
    return answers, text


def check_patterns(database, place):
    place.mkdir()
    for number, (values, _) in enumerate(PATTERNS):
        for sign in (1, -1):
            for index, value in enumerate(values):
                write(place / f"{number}{sign}.{index}.run", READING.format("sensepin", 2000 + sign * value).encode(),
                      product=f"{number} {sign}", start=f"2026-11-22T10:41:{index:02}.000")
    database.clear()
    station("import", "--database", database.url, place)
    for series in figures(database)["measurements"]:
        wanted = PATTERNS[int(series["product"].split()[0])][1]
        assert {signal["rule"]: signal["number"] for signal in series["signals"]} == wanted, series
        assert len(series["signals"]) == len(wanted), series


class Page(HTMLParser):
    """The elements of a page, their attributes, and the text."""
    def __init__(self, text):
        super().__init__()
        self.tags, self.names, self.shown = set(), set(), ""
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.tags.add(tag)
        self.names.update(name for name, _ in attrs)

    def handle_data(self, data):
        self.shown += data


def check_hostile(database, place):
    """Whatever names and reasons hold, the page shows it as text."""
    place.mkdir()
    for number in range(9 * len(HOSTILE)):
        text = HOSTILE[number % len(HOSTILE)]
        write(place / f"{number:03}.run", READING.format("sensepin", 2000 + number % 9 + number // 60 * 900).encode(),
              unit=f"{text} {number}", station=text, operator=text, product=text,
              start=f"2026-11-22T10:{number:02}:00.000")
    database.clear()
    station("import", "--database", database.url, place)
    quoted = [text.replace("'", "''") for text in HOSTILE]
    database.execute("".join(f"UPDATE attempts SET outcome = 'failed', reason = '{text}', setting = '{text}' "
                             f"WHERE id % {len(HOSTILE)} = {number};" for number, text in enumerate(quoted)))
    shown = [text.replace("\u202e\x1b", "\\xe2\\x80\\xae\\x1b") for text in HOSTILE]
    for by in ("station", "operator", "product"):
        text = station("yield", "--database", database.url, "--by", by, "--html", "-", "--check", "final:1",
                       status=1).stdout
        check_page(text)
        page = Page(text)
        assert page.tags <= {"html", "head", "meta", "title", "style", "body", "h1", "h2", "h3", "ul", "li", "b", "p",
                             "div", "table", "thead", "tbody", "tr", "th", "td", "code", "span", "figure",
                             "figcaption", "svg", "line", "path", "text", "circle"}, page.tags
        assert page.names <= {"lang", "charset", "http-equiv", "content", "name", "class", "viewbox", "role",
                              "aria-label", "x", "y", "x1", "x2", "y1", "y2", "text-anchor", "transform", "d", "cx",
                              "cy", "r"}, page.names
        assert text.count("""Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">""") == 1
        assert "circle" in page.tags and all(page.shown.count(name) > 3 for name in shown), page.shown[-2000:]
        assert sorted(group["name"] for group in figures(database, "--by", by)["groups"]) == sorted(shown)
    assert "\x1b" not in station("yield", "--database", database.url).stdout


def check_rules(database):
    """Of the simulated runs."""
    def alarms(rules, status=1):
        found = figures(database, "--check", rules, status=status)["alarms"]
        return [(alarm["rule"], alarm["of"]) for alarm in found]

    whole = figures(database)
    assert alarms(f"first-pass:{whole['firstPass']['share']},final:{whole['final']['share']},cpk:0.1", 0) == []
    assert alarms(f"first-pass:{whole['firstPass']['share'] + 1e-9}") == [("first-pass", "all units")]
    least = min(series.get("cpk", 9) for series in whole["measurements"])
    assert len(alarms(f"final:0,cpk:{least + 1e-9}")) == 1
    drifting = {subject.split()[-1] for _, subject in alarms("drift:3.5")}
    assert "C" in drifting, drifting
    for rule in ("beyond-3-sigma", "two-of-three", "four-of-five", "eight-in-a-row", "moving-range"):
        count = sum(any(signal["rule"] == rule for signal in series["signals"]) for series in whole["measurements"])
        assert len(alarms(rule, count > 0)) == count, (rule, count)
    assert alarms("cpk:1,drift:3", 1) and alarms("first-pass:0.5", 0) == []
    assert station("yield", "--database", database.url, "--unit", "nobody", "--check", "cpk:1", status=3)
    for wrong in ("", "cpk", "cpk:", "cpk:1x", "beyond-3-sigma:1", "cpk:1,", "cpq:1", "cpk:nan"):
        station("yield", "--database", database.url, "--check", wrong, status=2)
    station("yield", "--database", database.url, "--by", "unit", status=2)
    if Path(database.url).exists():
        refused = station("yield", "--database", database.url, "--json", database.url, status=2)
        assert "names the database" in refused.stderr
        assert figures(database) == whole


def check_pages():
    """Help, manual and page have the same rules."""
    rules = station("yield", "--help").stdout.split("\nRules of --check")[1]
    manual = Path("packaging/man/sonarbench-station.1").read_text().split(".Ss The subcommand yield")[1].split(".Sh")[0]
    page = Path("docs/yield.md").read_text()
    rows = re.findall(r"^  (\S+) +(.+)", rules, re.MULTILINE)
    assert len(rows) == 9 and re.findall(r"^\| `(\S+)` \| (.+) \|$", page.split("## Rules")[1], re.MULTILINE) == rows
    assert all(f".Ql {rule}\n" in manual or f".Ql {rule} ,\n" in manual for rule, _ in rows), rows


def check_both(place):
    check_pages()
    write_all(place, simulated)
    with databases(place) as both:
        results = []
        for store in both:
            check_patterns(store, place / f"patterns {type(store).__name__}")
            check_hostile(store, place / f"hostile {type(store).__name__}")
            results.append(check_figures(store, place, simulated))
            check_rules(store)
        assert results[0] == results[1], "the databases differ"
    print(f"{RUNS} runs, {len(results[0][0][0]['measurements'])} measurements")


random.seed(1)
simulated = simulate()
if sys.argv[3:4] == ["write"]:
    write_all(Path(sys.argv[4]), simulated)
elif sys.argv[3:4] == ["compare"]:
    expect_same(json.loads(Path(sys.argv[4], "yield.json").read_text()), expected(simulated, None))
    print(f"{RUNS} runs: the same figures")
else:
    with tempfile.TemporaryDirectory() as scratch:
        Path(scratch).chmod(0o755)
        check_both(Path(scratch))
