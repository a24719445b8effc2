#include "station/output/PageHead.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

namespace
{
constexpr QStringView c_Head = uR"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'%1">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>%2</title>
<style>%3</style>
</head>
<body>
)";

/// Light or dark like the reader's system, and one for paper. On a narrow screen, a picture is scrolled
/// inside its frame, so that its texts keep their size.
const QString c_Style = uR"(
:root {
  color-scheme: light dark;
  --paper: #f7f8f9; --card: #ffffff; --ink: #1c2329; --faint: #56616b; --rule: #d9dee3; --grid: #e8ecef;
  --echo: #0b6a9c; --ring: #8a97a314; --bottom: #a8500c; --limit: #b3394a; --spread: #0b6a9c1c;
  --good: #1c7a45; --failed: #b8263a; --unjudged: #855600; --marginal: #2a67ad;
  --s1: #0b6a9c; --s2: #c4570b; --s3: #2f8a4e; --s4: #8a48a8; --s5: #a8841a; --s6: #c23a6b;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #12171c; --card: #1a2127; --ink: #e3e8ec; --faint: #9aa7b2; --rule: #323c45; --grid: #28313a;
    --echo: #62b8e8; --ring: #9fb0bf1c; --bottom: #f0a35e; --limit: #e0788a; --spread: #62b8e824;
    --good: #5cc88c; --failed: #f07f8e; --unjudged: #e0b050; --marginal: #7fb4ee;
    --s1: #62b8e8; --s2: #f0a35e; --s3: #6fcf97; --s4: #c79be0; --s5: #dcc060; --s6: #f08fb4;
  }
}
* { box-sizing: border-box; }
[hidden] { display: none !important; }
body { margin: 0 auto; max-width: 72rem; padding: 1.5rem 1.5rem 4rem; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; }
h1 { font-size: 1.5rem; font-weight: 600; margin: 0 .8rem .2rem 0; letter-spacing: -.01em; }
h2 { font-size: 1.15rem; font-weight: 600; margin: 2rem 0 .6rem; }
h3 { font-size: 1rem; font-weight: 600; margin: 0 0 .5rem; }
p { margin: .3rem 0; max-width: 60rem; overflow-wrap: anywhere; }
a { color: inherit; text-decoration-color: var(--faint); text-underline-offset: .2em; }
:focus-visible { outline: 2px solid var(--echo); outline-offset: 2px; }
code { font: .92em/1.45 ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace;
  overflow-wrap: anywhere; unicode-bidi: isolate; }
.faint { color: var(--faint); }
.counts { display: flex; flex-wrap: wrap; gap: .6rem; list-style: none; margin: .8rem 0; padding: 0; }
.counts li { background: var(--card); border: 1px solid var(--rule); border-radius: 6px; padding: .3rem .9rem;
  min-width: 7rem; color: var(--faint); }
.counts b { display: block; font-size: 1.5rem; font-weight: 600; line-height: 1.3; color: var(--ink);
  font-variant-numeric: tabular-nums; }
.mark::before { content: ""; display: inline-block; width: .6em; height: .6em; margin-right: .45em;
  background: currentColor; border-radius: 1px; }
.good::before { border-radius: 50%; } .marginal::before { border-radius: 50% 0; } .notjudged::before { transform: rotate(45deg); }
.good { color: var(--good); } .failed, .bad { color: var(--failed); }
.notjudged, .absent { color: var(--unjudged); } .marginal { color: var(--marginal); }
.card, .o, figure { background: var(--card); border: 1px solid var(--rule); border-radius: 6px; }
.wrong { border-collapse: collapse; width: 100%; }
.wrong th, .wrong td { text-align: left; vertical-align: top; padding: .35rem .8rem; border-top: 1px solid var(--rule);
  overflow-wrap: anywhere; }
.wrong thead th { border-top: 0; color: var(--faint); font-size: .85rem; }
.wrong td:nth-child(1), .wrong td:nth-child(3) { white-space: nowrap; }
.wrong td:nth-child(4) { min-width: 12em; }
.wrong.figures td:nth-child(n) { white-space: normal; }
form { display: flex; flex-wrap: wrap; gap: .5rem .8rem; align-items: end; padding: .7rem .9rem; margin: 1.2rem 0; }
form label { display: flex; flex-direction: column; font-size: .85rem; color: var(--faint); flex: 1 1 8rem; min-width: 0; }
form label:last-of-type { flex: 2 1 12rem; }
select, input, button { font: inherit; color: var(--ink); background: var(--paper); border: 1px solid var(--faint);
  border-radius: 4px; padding: .25rem .4rem; min-width: 0; max-width: 100%; min-height: 2rem; }
form output { flex: 1 0 100%; color: var(--faint); }
.o { margin: .8rem 0; }
summary { cursor: pointer; padding: .3rem .8rem; }
.o > summary { font-size: 1.1rem; font-weight: 600; padding: .5rem .8rem; }
.g > summary { border-top: 1px solid var(--rule); font-weight: 600; }
.g .r { margin-left: 1.2rem; }
.r { border-top: 1px solid var(--rule); content-visibility: auto; contain-intrinsic-size: auto 2.1rem; }
.r > summary { overflow-wrap: anywhere; }
.r > summary b { font-weight: 600; }
.r > :not(summary) { margin-left: 1.8rem; margin-right: .8rem; }
.r ul { list-style: none; padding: 0; margin-top: .3rem; margin-bottom: .3rem; }
.r pre { font: .87rem/1.4 ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace; margin-top: .3rem;
  margin-bottom: .3rem; white-space: pre-wrap; overflow-wrap: anywhere; unicode-bidi: isolate; }
.r svg { width: calc(100% - 2.6rem); height: 5rem; max-width: 48rem; margin-bottom: .6rem; }
fieldset { border: 0; padding: 0; margin: 0 0 .6rem; }
fieldset legend { float: left; margin-right: .8rem; } fieldset label { margin-right: 1rem; }
fieldset input { min-height: 0; }
body:has(#linear:checked) .db, body:not(:has(#linear:checked)) .linear { display: none; }
figure { margin: 0 0 1.25rem; padding: .9rem 1rem .8rem; break-inside: avoid; scroll-margin-top: 1rem; }
figure h3 { display: flex; flex-wrap: wrap; gap: .1rem 1rem; align-items: baseline; }
figure h3 .faint { font-weight: 400; font-size: .9rem; overflow-wrap: anywhere; }
figure h3 .title { margin-right: auto; overflow-wrap: anywhere; }
.scroll { overflow-x: auto; }
figcaption { color: var(--faint); font-size: .9rem; font-variant-numeric: tabular-nums; overflow-wrap: anywhere; }
figcaption ul { list-style: none; margin: .2rem 0 0; padding: 0; columns: 2 22rem; }
figcaption li { overflow-wrap: anywhere; break-inside: avoid; }
#pings figure { content-visibility: auto; contain-intrinsic-size: auto 26rem; }
svg { display: block; } .scroll svg { width: 100%; min-width: 50rem; height: auto; }
svg.key { display: inline-block; width: 2.4rem; height: .7rem; margin-right: .5rem; }
svg text { font: 14.5px system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; fill: var(--faint);
  font-variant-numeric: tabular-nums; }
svg path { vector-effect: non-scaling-stroke; }
svg .name { fill: var(--ink); } svg .full { fill: var(--limit); }
svg .grid { stroke: var(--grid); } svg .frame { stroke: var(--faint); stroke-width: .8; }
svg .limit { stroke: var(--limit); stroke-dasharray: 2 4; }
svg .ringdown { fill: var(--ring); } svg .bottom { stroke: var(--bottom); stroke-width: 1.5; stroke-dasharray: 6 3; }
svg .echo { fill: none; stroke: var(--echo); stroke-width: 1.2; stroke-linejoin: round; }
svg .tolerance { fill: var(--good); fill-opacity: .14; stroke: var(--good); stroke-opacity: .5; }
svg .band { fill: var(--echo); stroke: var(--echo); stroke-width: .6; stroke-linejoin: round; }
svg .signal { fill: var(--failed); stroke: none; }
svg .spread { fill: var(--spread); stroke: none; }
svg .series1 { stroke: var(--s1); } svg .series2 { stroke: var(--s2); stroke-dasharray: 7 2; }
svg .series3 { stroke: var(--s3); stroke-dasharray: 2 2; } svg .series4 { stroke: var(--s4); stroke-dasharray: 9 3 2 3; }
svg .series5 { stroke: var(--s5); stroke-dasharray: 4 4; } svg .series6 { stroke: var(--s6); stroke-dasharray: 12 4; }
@media (max-width: 40rem) {
  body { padding: 1rem .75rem 3rem; }
  .counts { gap: .4rem; } .counts li { flex: 1 1 7rem; min-width: 0; }
  .wrong thead { display: none; } .wrong tr { display: block; border-top: 1px solid var(--rule); padding: .3rem 0; }
  .wrong td { display: block; border: 0; padding: 0 .8rem; }
  .g .r { margin-left: .4rem; } .r > :not(summary) { margin-left: .8rem; }
}
@media print {
  :root { --paper: #fff; --card: #fff; --ink: #000; --faint: #444; --rule: #bbb; --grid: #ddd; --echo: #004a70;
    --ring: #00000010; --bottom: #7a3500; --limit: #900; --spread: #00000018; --good: #0a5c2e;
    --failed: #a00018; --unjudged: #6a4400; --marginal: #0d4a8a;
    --s1: #004a70; --s2: #a04000; --s3: #1c6a38; --s4: #6a2a88; --s5: #7a5c00; --s6: #a01850;
    color-scheme: light; }
  @page { margin: 14mm; } html { font-size: 13px; }
  body { max-width: none; padding: 0; font-size: 10pt; }
  form, fieldset { display: none; } .scroll { overflow: visible; } .scroll svg { min-width: 0; }
  #pings figure, .r { content-visibility: visible; }
  figcaption ul { columns: 3; font-size: 8pt; }
  tr, figure, .r { break-inside: avoid; } h2, .o > summary { break-after: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)"_s;

/// Without it, the filter is hidden. Collecting the texts of the rows takes longest, so they are kept.
/// Showing many rows is slow, so only a few are opened.
const QString c_Script = uR"(
const form = document.forms[0], rows = [...document.querySelectorAll('.r')], names = ['unit', 'product', 'outcome', 'command'];
const groups = [...document.querySelectorAll('.g'), ...document.querySelectorAll('.o')];
const values = rows.map(row => [row.querySelector('b').textContent, row.dataset.p, row.closest('.o').dataset.o,
  row.querySelector('code').textContent.split(' ')[0]]);
const isOpen = groups.map(group => group.open);
let texts;
const collect = () => texts ??= rows.map((row, i) => (values[i].join(' ') + ' ' + row.textContent).toLowerCase());
names.forEach((name, i) => {
  for (const value of [...new Set(values.map(of => of[i]))].filter(value => value).sort())
    form[name].add(new Option(value));
});
form.oninput = () => {
  const wanted = names.map(name => form[name].value), text = form.text.value.toLowerCase();
  if (text) collect();
  let count = 0;
  rows.forEach((row, at) => {
    const isShown = wanted.every((value, i) => !value || values[at][i] === value) && (!text || texts[at].includes(text));
    if (row.hidden === isShown) row.hidden = !isShown;
    count += isShown;
  });
  const isFiltered = text || wanted.some(value => value);
  groups.forEach((group, i) => {
    group.hidden = !group.querySelector('.r:not([hidden])');
    group.open = isOpen[i] || (isFiltered && count <= 500);
  });
  form.querySelector('output').value = isFiltered ? `${count} of ${rows.length} runs` : '';
};
form.onreset = () => setTimeout(form.oninput);
form.onsubmit = () => false;
form.hidden = rows.length < 2;
(window.requestIdleCallback || setTimeout)(collect);
)"_s;
} // namespace

QString PageHead(const QString& title, bool hasScript)
{
    const QByteArray hash = QCryptographicHash::hash(c_Script.toUtf8(), QCryptographicHash::Sha256);
    const QString script = u"; script-src 'sha256-%1'"_s.arg(QLatin1StringView(hash.toBase64()));
    return c_Head.toString().arg(hasScript ? script : QString(), title.toHtmlEscaped(), c_Style);
}

QString PageScript() { return u"<script>"_s + c_Script + u"</script>\n"_s; }
