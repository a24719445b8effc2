#include "station/HtmlStyle.h"

using namespace Qt::StringLiterals;

QString HtmlStyle()
{
    return uR"(
:root {
  color-scheme: light dark;
  --paper: #f7f8f9; --card: #ffffff; --ink: #1c2329; --faint: #5b6670; --rule: #d9dee3; --grid: #e8ecef;
  --echo: #0b6a9c; --ring: #8a97a314; --bottom: #a8500c; --limit: #b3394a; --spread: #0b6a9c1c;
  --passed: #1c7a45; --performed: #2a67ad; --failed: #b8263a; --unjudged: #8a5a00;
  --s1: #0b6a9c; --s2: #c4570b; --s3: #2f8a4e; --s4: #8a48a8; --s5: #a8841a; --s6: #c23a6b;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #12171c; --card: #1a2127; --ink: #e3e8ec; --faint: #9aa7b2; --rule: #323c45; --grid: #28313a;
    --echo: #62b8e8; --ring: #9fb0bf1c; --bottom: #f0a35e; --limit: #e0788a; --spread: #62b8e824;
    --passed: #5cc88c; --performed: #7fb4ee; --failed: #f07f8e; --unjudged: #e0b050;
    --s1: #62b8e8; --s2: #f0a35e; --s3: #6fcf97; --s4: #c79be0; --s5: #dcc060; --s6: #f08fb4;
  }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 72rem; padding: 2rem 1.5rem 4rem; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; }
h1 { font-size: 1.6rem; font-weight: 600; margin: 0 0 1rem; letter-spacing: -.01em; }
h2 { font-size: 1.15rem; font-weight: 600; margin: 2.5rem 0 .75rem; }
p { max-width: 46rem; }
a { color: inherit; text-decoration-color: var(--faint); text-underline-offset: .2em; }
code { font: .92em/1.45 ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace;
  overflow-wrap: anywhere; unicode-bidi: isolate; }
.faint { color: var(--faint); }
.counts { display: flex; flex-wrap: wrap; gap: .75rem; list-style: none; margin: 0; padding: 0; }
.counts li { background: var(--card); border: 1px solid var(--rule); border-radius: 6px; padding: .5rem 1rem;
  min-width: 8rem; color: var(--faint); }
.counts b { display: block; font-size: 1.5rem; font-weight: 600; line-height: 1.3; color: var(--ink);
  font-variant-numeric: tabular-nums; }
.scroll { overflow-x: auto; background: var(--card); border: 1px solid var(--rule); border-radius: 6px; }
table { border-collapse: collapse; width: 100%; min-width: 46rem; font-size: .93rem; }
th, td { text-align: left; vertical-align: top; padding: .5rem .8rem; border-top: 1px solid var(--rule); }
thead th { border-top: 0; color: var(--faint); font-weight: 600; font-size: .85rem; white-space: nowrap; }
td ul { margin: 0; padding: 0; list-style: none; }
.outcome { display: inline-block; white-space: nowrap; font-weight: 600; }
.outcome::before { content: ""; display: inline-block; width: .6em; height: .6em; border-radius: 50%;
  margin-right: .45em; background: currentColor; }
.passed { color: var(--passed); } .performed { color: var(--performed); }
.failed { color: var(--failed); } .notjudged { color: var(--unjudged); }
.failed::before { border-radius: 1px; } .notjudged::before { border-radius: 1px; transform: rotate(45deg); }
.counts .outcome { font-weight: 400; }
figure { margin: 0 0 1.25rem; padding: 1rem 1rem .8rem; background: var(--card); border: 1px solid var(--rule);
  border-radius: 6px; break-inside: avoid; scroll-margin-top: 1rem; overflow-x: auto; }
figure h3 { margin: 0 0 .6rem; font-size: 1rem; font-weight: 600; display: flex; flex-wrap: wrap; gap: .2rem 1rem;
  align-items: baseline; }
figure h3 .faint { font-weight: 400; font-size: .9rem; }
figure h3 .title { margin-right: auto; overflow-wrap: anywhere; }
figcaption { color: var(--faint); font-size: .9rem; font-variant-numeric: tabular-nums; }
figcaption ul { list-style: none; margin: .2rem 0 0; padding: 0; columns: 2 22rem; }
figcaption li { overflow-wrap: anywhere; break-inside: avoid; }
#pings figure { content-visibility: auto; contain-intrinsic-size: auto 26rem; }
svg { display: block; width: 100%; min-width: 38rem; height: auto; }
svg.key { display: inline-block; width: 2.4rem; min-width: 0; height: .7rem; margin-right: .5rem; }
svg text { font: 12px system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; fill: var(--faint);
  font-variant-numeric: tabular-nums; }
svg .mark { fill: var(--ink); } svg .full { fill: var(--limit); }
svg .grid { stroke: var(--grid); } svg .frame { stroke: var(--faint); stroke-width: .8; }
svg .limit { stroke: var(--limit); stroke-dasharray: 2 4; }
svg .ringdown { fill: var(--ring); } svg .bottom { stroke: var(--bottom); stroke-width: 1.5; stroke-dasharray: 6 3; }
svg .echo { fill: none; stroke: var(--echo); stroke-width: 1.2; stroke-linejoin: round; }
svg .band { fill: var(--echo); stroke: var(--echo); stroke-width: .6; stroke-linejoin: round; }
svg .spread { fill: var(--spread); stroke: none; }
svg .series1 { stroke: var(--s1); } svg .series2 { stroke: var(--s2); stroke-dasharray: 7 2; }
svg .series3 { stroke: var(--s3); stroke-dasharray: 2 2; } svg .series4 { stroke: var(--s4); stroke-dasharray: 9 3 2 3; }
svg .series5 { stroke: var(--s5); stroke-dasharray: 4 4; } svg .series6 { stroke: var(--s6); stroke-dasharray: 12 4; }
@media print {
  :root { --paper: #fff; --card: #fff; --ink: #000; --faint: #444; --rule: #bbb; --grid: #ddd; --echo: #004a70;
    --ring: #00000010; --bottom: #7a3500; --limit: #900; --spread: #00000018; --passed: #0a5c2e;
    --performed: #0d4a8a; --failed: #a00018; --unjudged: #6a4400;
    --s1: #004a70; --s2: #a04000; --s3: #1c6a38; --s4: #6a2a88; --s5: #7a5c00; --s6: #a01850;
    color-scheme: light; }
  @page { margin: 14mm; }
  body { max-width: none; padding: 0; font-size: 10pt; }
  .scroll, figure { overflow: visible; } svg, table { min-width: 0; }
  #pings figure { content-visibility: visible; }
  thead { display: table-header-group; } tr, figure { break-inside: avoid; } h2 { break-after: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)"_s;
}
