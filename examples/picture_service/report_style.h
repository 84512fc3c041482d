#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_STYLE_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_STYLE_H

// The two colours can be distinguished with any colour deficiency.
constexpr const char REPORT_STYLE[] = R"CSS(
:root {
  color-scheme: light dark;
  --paper: #fff; --card: #f4f5f7; --text: #1c1e22; --quiet: #555a63; --line: #c9ccd2;
  --before: #b35900; --after: #0060a8; --pale: #d5d8de; --away: #dcdee3;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --paper: #15171a; --card: #1f2226; --text: #e9eaec; --quiet: #adb2ba; --line: #454a52;
    --before: #f0a040; --after: #66b8ff; --pale: #41464f; --away: #343840;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1rem; max-width: 70rem; background: var(--paper); color: var(--text);
  font: 1rem/1.5 system-ui, sans-serif; -webkit-text-size-adjust: 100%;
}
h1 { font-size: 1.6rem; line-height: 1.2; margin: .5rem 0; }
h2 { font-size: 1.35rem; margin: 2.5rem 0 .75rem; }
h3 { font-size: 1.15rem; margin: 0 0 .75rem; }
h4 { font-size: 1rem; margin: 0 0 .35rem; }
p, ul, dl, figure { margin: 0 0 .75rem; }
a { color: var(--after); }
.quiet, figcaption { color: var(--quiet); }
figcaption { font-size: .9rem; margin-top: .3rem; }
figcaption b { color: var(--text); font-size: 1rem; }
img { display: block; width: 100%; height: auto; background: #000; }
ul { padding-left: 1.2rem; }
.verdict { background: var(--card); border-left: .4rem solid var(--after); padding: 1rem; margin: 1rem 0; }
.verdict p { font-size: 1.25rem; line-height: 1.35; font-weight: 600; }
.scene { background: var(--card); padding: 1rem; margin: 0 0 1.5rem; }
.outcome { border: 1px solid var(--quiet); padding: 0 .4rem; font-size: .95rem; }
.time { color: var(--quiet); font-weight: 400; white-space: nowrap; }
.pair, .facts { display: grid; gap: 0 1rem; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; margin: 0 0 .75rem; }
th, td { padding: .2rem .9rem .2rem 0; text-align: right; border-bottom: 1px solid var(--line); }
th:first-child { text-align: left; font-weight: 400; }
thead th { color: var(--quiet); font-weight: 600; }
thead th:first-child { font-weight: 600; }
dt { font-weight: 600; }
.small img { max-width: 16rem; }
dd { margin: 0 0 .6rem; }
svg { display: block; width: 100%; overflow: visible; }
svg * { vector-effect: non-scaling-stroke; }
.histogram > svg { height: 7rem; border-bottom: 1px solid var(--quiet); }
.ends { display: flex; justify-content: space-between; font-size: .9rem; color: var(--quiet); }
.area { fill: var(--pale); stroke: none; }
.before { fill: none; stroke: var(--before); stroke-width: 2; stroke-dasharray: 5 3; }
.after { fill: none; stroke: var(--after); stroke-width: 2; }
.wide { fill: none; stroke: var(--before); stroke-width: 5; stroke-opacity: .45; }
.away { fill: var(--away); }
.mark { stroke: var(--quiet); stroke-width: 1; stroke-dasharray: 2 3; }
.strip { margin: 0 0 1rem; }
.scale svg { height: 4.5rem; border: 1px solid var(--line); background: var(--paper); }
.luma .scale svg { height: 7rem; }
.strip figcaption { margin: 0 0 .2rem; }
.scale { display: grid; grid-template-columns: 2.6rem 1fr; }
.scale > div:first-child {
  display: flex; flex-direction: column; justify-content: space-between; text-align: right;
  padding-right: .4rem; font-size: .9rem; line-height: 1; color: var(--quiet);
}
.times { position: relative; height: 1.6rem; margin-left: 2.6rem; font-size: .9rem; }
.times > * { position: absolute; transform: translateX(-50%); white-space: nowrap; }
.key { display: inline-block; width: 2rem; height: .7em; margin-right: .3rem; vertical-align: middle; }
@media (min-width: 44rem) {
  .histogram > svg { height: 11rem; }
  th:first-child { white-space: nowrap; }
  .pair { grid-template-columns: 1fr 1fr; }
  .facts { grid-template-columns: 4fr 3fr 4fr; gap: 0 2rem; }
  dl { display: grid; grid-template-columns: max-content 1fr; gap: 0 1.5rem; }
}
@media print {
  html { font-size: 8pt; }
  body { max-width: none; padding: 0; }
  .scene, .strip, .verdict { break-inside: avoid; }
  h2, h3 { break-after: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)CSS";

#endif
