// How the page of report_html.h looks.
#pragma once

constexpr char REPORT_PAGE_STYLE[] = R"css(
:root {
  color-scheme: light dark;
  --page: #f6f7f9; --card: #ffffff; --line: #dfe3e8; --text: #1c2430; --faint: #5b6675; --bar: #2f6fbd;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #12161c; --card: #1b212a; --line: #323b47; --text: #e4e9f0; --faint: #9aa6b5; --bar: #6ba3e8;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem 1rem 3rem; max-width: 75rem; background: var(--page); color: var(--text);
  font: 0.95rem/1.45 system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif;
}
h1 { margin: 0; font-size: 1.5rem; }
h2 { margin: 0 0 0.75rem; font-size: 1rem; }
p { margin: 0.25rem 0; }
.faint { color: var(--faint); }
.number { font-variant-numeric: tabular-nums; }
.cards { display: grid; gap: 1rem; grid-template-columns: repeat(auto-fit, minmax(min(100%, 18rem), 1fr)); margin-top: 1rem; }
.cards .card { margin: 0; }
.card {
  margin: 1rem 0 0; padding: 1rem; min-width: 0; background: var(--card); border: 1px solid var(--line);
  border-radius: 0.5rem;
}
.warning { border-left: 0.3rem solid #c77700; }
.days { display: flex; align-items: flex-end; gap: 2px; height: 9rem; border-bottom: 1px solid var(--line); }
.days > div { flex: 1; height: 100%; display: flex; align-items: flex-end; justify-content: center; }
.days i { flex: 1; max-width: 4rem; background: var(--bar); border-radius: 2px 2px 0 0; }
.ends { display: flex; justify-content: space-between; gap: 1rem; margin-top: 0.3rem; }
.ends span:only-child { margin: 0 auto; }
.bars {
  display: grid; grid-template-columns: fit-content(45%) 1fr auto; gap: 0.4rem 0.75rem; align-items: center;
  margin: 0;
}
.bars dt { overflow-wrap: anywhere; }
.bars dd { margin: 0; }
.bars .number { text-align: right; }
.bars .rest i { opacity: 0.45; }
.bars i { display: block; height: 0.8rem; background: var(--bar); border-radius: 0 2px 2px 0; }
table { width: 100%; border-collapse: collapse; }
th, td { padding: 0.35rem 0.75rem 0.35rem 0; text-align: left; vertical-align: top; }
tr { border-bottom: 1px solid var(--line); }
tbody tr:last-child { border-bottom: 0; }
th { color: var(--faint); font-weight: 600; }
td { overflow-wrap: anywhere; }
td.time { white-space: nowrap; font-variant-numeric: tabular-nums; }
td.user { min-width: 6rem; }
td.reason { min-width: 8rem; }
td.url { width: 50%; font-family: ui-monospace, "DejaVu Sans Mono", monospace; font-size: 0.85rem; }
@media (max-width: 40rem) {
  body { padding: 1rem 0.6rem 2rem; }
  thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
  table, tbody { display: block; }
  tr { display: flex; flex-wrap: wrap; gap: 0 0.75rem; padding: 0.5rem 0; }
  td { padding: 0; }
  td.user, td.reason { min-width: 0; }
  td.url { width: 100%; }
}
@media print { .card { break-inside: avoid; } .rows { break-inside: auto; } }
)css";
