#!/usr/bin/python3
"""Opens the page of a batch in a browser and checks what is drawn there.

Usage: check_page.py DIRECTORY, of the programs; from the repository's root. Leaves no file.
"""
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAMS = Path(sys.argv[1])
POLICY = '<meta http-equiv="Content-Security-Policy"'
HOSTILE = "<img/src=x/onerror=alert(1)>\"'&\x1b[31m\u202e"
# Collects what the browser shows. Texts must be inside their picture, and links must have a target.
PROBE = """<script>
console.log('the probe speaks');
const all = query => [...document.querySelectorAll(query)];
const inside = (inner, outer) => inner.left >= outer.left && inner.right <= outer.right + 1 &&
    inner.top >= outer.top && inner.bottom <= outer.bottom + 1;
document.querySelectorAll('#pings figure').forEach(f => f.style.contentVisibility = 'visible');
document.body.innerHTML = '<pre>' + JSON.stringify({
    points: all('#pings polyline, #pings polygon').map(line => line.points.numberOfItems),
    compared: all('figure:not([id]) polyline').length,
    tops: all('#pings polyline').map(line => Math.min(...[...line.points].map(p => p.y))),
    outside: all('svg text').filter(text =>
        !inside(text.getBoundingClientRect(), text.ownerSVGElement.getBoundingClientRect())).map(t => t.outerHTML),
    marks: all('#ping1 .mark').map(text => text.textContent),
    lost: all('a').filter(link => !document.querySelector(link.getAttribute('href'))).length,
    links: all('a').length, outcomes: all('td .outcome').map(cell => cell.textContent),
    foreign: all('img, script:not(:last-of-type), [onerror], link, iframe').length,
    hostile: all('td code').map(cell => cell.textContent).filter(text => text.includes('onerror')),
    paper: getComputedStyle(document.body).backgroundColor}).replace(/</g, '&lt;') + '</pre>';
</script></body>"""


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

    text = page.read_text()
    assert text.count(POLICY) == 1
    page.write_text(text.replace(POLICY, "<meta name=\"off\"").replace("</body>", PROBE))
    seen = {}
    for theme in (1, 0):  # light, dark
        dom, console = browse(page, f"--blink-settings=preferredColorScheme={theme}")
        assert len(console) == 1 and "the probe speaks" in console[0], console
        seen[theme] = json.loads(re.search("<pre>(.*)</pre>", dom, re.S)[1].replace("&lt;", "<")
                                 .replace("&gt;", ">").replace("&amp;", "&"))
    light, dark = seen[1], seen[0]
    # Each sample is a point; 4,096 samples are drawn as the edges of 1,024 columns.
    assert light["points"] == [1024, 1024, 993, 8, 2048], light["points"]
    assert light["compared"] == 2
    assert len(set(light["tops"])) == 1, "the transmit pulse does not reach full scale"
    assert not light["outside"], light["outside"]
    assert (light["links"], light["lost"], light["foreign"]) == (len(pings), 0, 0), light
    assert light["outcomes"] == ["passed"] * len(pings) + ["not judged"], light["outcomes"]
    assert len(light["hostile"]) == 1 and "<img/src=x/onerror=alert(1)>\"'&\\x1b[31m" in light["hostile"][0], light
    assert light.pop("paper") != dark.pop("paper") and light == dark

    simulate("--scene", place / "scene", "--report", page, "xkping", "examples/short.txt", "0", "1")
    page.write_text(page.read_text().replace(POLICY, "<meta name=\"off\"").replace("</body>", PROBE))
    assert "bottom at sample 270 (11.98 m)" in browse(page)[0]

    # The message that ends a run is on standard error.
    table = place / "table.txt"
    table.write_text(Path("examples/short.txt").read_text().replace("SamplesToReceive( 1024", "SamplesToReceive( 1023"))
    simulate("--report", page, "xkping", table, "0", "1")
    assert "not a multiple of 16&quot;' failed." in page.read_text()
