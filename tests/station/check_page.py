#!/usr/bin/python3
"""Opens the page of a batch in a browser and checks what is drawn there.

Usage: check_page.py DIRECTORY, of the programs; from the repository's root. Leaves axe-core in build/npm. Ends with 77
if that cannot be had; everything else was checked then.
"""
import html
import json
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAMS = Path(sys.argv[1])
POLICY = '<meta http-equiv="Content-Security-Policy"'
HOSTILE = "<img/src=x/onerror=alert(1)>\"'&\x1b[31m\u202e"
# Collects what the browser shows in a frame, and puts it into the frame's parent.
PROBE = """<script>
const all = query => [...document.querySelectorAll(query)];
const inside = (inner, outer) => inner.left >= outer.left - 1 && inner.right <= outer.right + 1 &&
    inner.top >= outer.top - 1 && inner.bottom <= outer.bottom + 1;
const points = path => path.getAttribute('d').match(/-?\\d+/g).length / 2;
const filtered = (name, value) => {
    const field = document.forms[0][name];
    field.value = value;
    document.forms[0].oninput();
    const count = all('.r').filter(row => row.checkVisibility()).length;
    field.value = '';
    document.forms[0].oninput();
    return count;
};
const box = text => text.getBoundingClientRect();
all('#pings figure').forEach(figure => figure.style.contentVisibility = 'visible');
const seen = {
    points: all('#pings .db path:not(.tolerance)').map(points), small: all('.r path').map(points),
    compared: all('figure:not([id]) .db path.echo').length,
    tops: all('#pings .db path.echo').map(path => path.getBBox().y),
    outside: all('.db text').filter(text => !inside(box(text), box(text.ownerSVGElement))).map(t => t.outerHTML),
    marks: all('#ping1 .db .name').map(text => text.textContent),
    tiny: all('body *').filter(of => [...of.childNodes].some(node => node.nodeType == 3 && node.data.trim()) &&
        of.checkVisibility() && parseFloat(getComputedStyle(of).fontSize) *
        (of.ownerSVGElement ? of.ownerSVGElement.getScreenCTM().a : 1) < 12).map(of => of.outerHTML),
    isWide: document.documentElement.scrollWidth > document.documentElement.clientWidth,
    outcomes: all('.o').map(section => section.dataset.o), rows: all('.r').length,
    filtered: [filtered('outcome', 'good'), filtered('command', 'ping'),
        filtered('text', 'EXAMPLES/FULL'), filtered('text', '')],
    opened: all('.r').filter(row => row.open).length,
    scales: all('.linear svg').filter(svg => svg.checkVisibility()).length,
    foreign: all('img, script:not(:nth-last-of-type(-n+3)), [onerror], link, iframe').length,
    hostile: all('.r code').map(cell => cell.textContent).filter(text => text.includes('onerror')),
    paper: getComputedStyle(document.body).backgroundColor};
all('.r, .g, .o').forEach(row => row.open = true);
const answer = violations => parent.document.body.innerHTML =
    '<pre>' + JSON.stringify({...seen, violations}).replace(/&/g, '&amp;').replace(/</g, '&lt;') + '</pre>';
typeof axe === 'undefined' ? answer([]) : axe.run().then(result => answer(result.violations), answer);
</script></body>"""


def accessibility():
    """What finds barriers, as package.json pins it; empty if it cannot be had."""
    place = Path("build/npm")
    script = place / "node_modules/axe-core/axe.min.js"
    if shutil.which("npm") and not script.exists():
        place.mkdir(parents=True, exist_ok=True)
        for name in ("package.json", "package-lock.json"):
            shutil.copy(Path("tests/station") / name, place)
        subprocess.run(["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund", "--fetch-retries=0",
                        "--fetch-timeout=30000", "--prefix", place], capture_output=True, check=False)
    return f"<script>{script.read_text()}</script>" if script.exists() else ""


def simulate(*arguments):
    run = subprocess.run([PROGRAMS / "sonarbench-sim", *arguments], capture_output=True, check=False)
    assert run.returncode in (0, 3, 134), run.stderr
    return run.stdout


def browse(page, *options):
    run = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--enable-logging=stderr",
                          "--dump-dom", "--window-size=1200,900", "--user-data-dir=" + str(page.parent / "profile"),
                          *options, page.as_uri()], capture_output=True, text=True, timeout=120, check=True)
    return run.stdout, re.findall(r"CONSOLE.*", run.stderr)


with tempfile.TemporaryDirectory() as place:
    place = Path(place)
    batch = place / "batch"
    batch.mkdir()
    (place / "scene").write_text('{"bottom": {"depth": 12}}')
    pings = ["--product QL4K xkping examples/short.txt 0 1", "--product QL4K xkping examples/short.txt 0 1",
             "--product Varrow ping 200000 210000 27 45 0 low", "--product QL4K xkping examples/short.txt 0 128",
             "--product QL4K xkping examples/full.txt 0 1"]
    for number, command in enumerate(pings):
        (batch / f"{number}.txt").write_bytes(simulate(*command.split()))
    (batch / "9.txt").write_bytes(simulate("xkping", HOSTILE, "0", "1"))
    page = place / "page.html"
    subprocess.run([PROGRAMS / "sonarbench-station", "report", "--html", page, batch], check=False)
    _, console = browse(page)
    assert not console, console

    # A second script may run only without the policy. A frame can be narrower than a window.
    text = page.read_text()
    assert text.count(POLICY) == 1
    axe = accessibility()
    seen = {}
    for theme, width in ((1, 1200), (0, 1200), (1, 390), (0, 390)):  # light, dark
        probed = text.replace(POLICY, "<meta name=\"off\"").replace("</body>", axe + PROBE)
        page.write_text(f'<!DOCTYPE html><iframe style="width:{width}px" srcdoc="{html.escape(probed)}"></iframe>')
        dom, console = browse(page, f"--blink-settings=preferredColorScheme={theme}", "--virtual-time-budget=20000")
        assert not console, console
        seen[theme, width] = json.loads(html.unescape(re.search("<pre>(.*)</pre>", dom, re.S)[1]))
    papers = [look.pop("paper") for look in seen.values()]
    assert papers[0] == papers[2] != papers[1] == papers[3], papers
    for look in seen.values():
        assert look == seen[1, 1200], (look, seen[1, 1200])
    # Each sample is a point; 4,096 samples are drawn as the edges of 1,024 columns.
    assert sorted(look["points"]) == [8, 993, 1024, 1024, 2048], look["points"]
    assert sorted(look["small"]) == [8, 60, 60, 60, 60], look["small"]
    assert look["compared"] == 2
    assert len(set(look["tops"])) == 1, "the transmit pulse does not reach full scale"
    assert not look["outside"] and not look["tiny"] and not look["isWide"], look
    assert (look["outcomes"], look["rows"], look["opened"]) == (["not judged", "good"], len(pings) + 1, 0), look
    assert look["filtered"] == [len(pings), 1, 1, len(pings) + 1], look["filtered"]
    assert (look["foreign"], look["scales"]) == (0, 0), look
    assert len(look["hostile"]) == 1 and "<img/src=x/onerror=alert(1)>\"'&\\x1b[31m" in look["hostile"][0], look
    assert look["violations"] == [], look["violations"]

    simulate("--scene", place / "scene", "--report", page, "xkping", "examples/short.txt", "0", "1")
    assert "bottom at sample 270 (11.98 m)" in page.read_text()

    # The message that ends a run is on standard error.
    table = place / "table.txt"
    table.write_text(Path("examples/short.txt").read_text().replace("SamplesToReceive( 1024", "SamplesToReceive( 1023"))
    simulate("--report", page, "xkping", table, "0", "1")
    assert "not a multiple of 16&quot;' failed." in page.read_text()

if not axe:
    print("axe-core is not there, so barriers were not looked for")
    sys.exit(77)
