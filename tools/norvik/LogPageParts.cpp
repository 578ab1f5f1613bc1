// The style, the viewer's elements and the script of the page that LogPage writes.

#include "tools/norvik/LogPage.h"

namespace NorvikTool {

const char* const cPageStyle = R"css(
:root {
  --back: #f6f7f9; --card: #ffffff; --text: #1b2330; --quiet: #5b6676; --line: #dde2ea; --hover: #eef2f8;
  --accent: #1f5fbf; --bad: #b3261e; --bad-back: #fdeceb; --warn: #8a5a00; --warn-back: #fff3d9;
  --slow: #6b3fa0; --slow-back: #f2eafb; --bar: #9db4d3; --mark: #ffe27a; --mark-text: #1b2330; --chosen: #dbe7fa;
  --mono: ui-monospace, "Cascadia Mono", Consolas, "DejaVu Sans Mono", Menlo, monospace;
}
@media (prefers-color-scheme: dark) {
  :root {
    --back: #12161c; --card: #1a2029; --text: #e3e8ef; --quiet: #9aa7b8; --line: #2d3643; --hover: #232b37;
    --accent: #86b4ff; --bad: #ff9188; --bad-back: #3c1e1d; --warn: #f2c166; --warn-back: #372b14;
    --slow: #c9a6f5; --slow-back: #2d2140; --bar: #4b648a; --mark: #7a6110; --mark-text: #ffffff; --chosen: #24395c;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--back); color: var(--text); font: 15px/1.5 system-ui, "Segoe UI", Roboto, sans-serif; }
main { max-width: 1500px; margin: 0 auto; padding: 24px clamp(12px, 3vw, 40px) 40px; }
h1 { font-size: 1.7rem; line-height: 1.2; margin: 0; overflow-wrap: anywhere; }
h2 { font-size: 1.05rem; margin: 0 0 10px; }
header p { margin: 4px 0 0; }
section { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 16px 18px; margin-top: 16px; }
.quiet { color: var(--quiet); margin: 6px 0; }
.skip { position: absolute; left: -9999px; }
.skip:focus { left: 12px; top: 12px; background: var(--card); padding: 8px 14px; z-index: 2; }
:focus-visible { outline: 2px solid var(--accent); outline-offset: 2px; }
.tiles { list-style: none; display: grid; grid-template-columns: repeat(auto-fit, minmax(150px, 1fr)); gap: 12px;
  margin: 18px 0 0; padding: 0; }
.tile { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 10px 16px; color: var(--quiet); }
.tile b { display: block; font-size: 1.6rem; line-height: 1.25; color: var(--text); font-variant-numeric: tabular-nums; }
.tile.bad b { color: var(--bad); }
.tile.slow b { color: var(--slow); }
.scroll { overflow: auto; max-height: 460px; }
table { border-collapse: collapse; width: 100%; font-size: 14px; }
th { text-align: left; color: var(--quiet); font-weight: 600; position: sticky; top: 0; background: var(--card); }
th, td { padding: 6px 12px 6px 0; border-bottom: 1px solid var(--line); vertical-align: top; }
.number { text-align: right; font-variant-numeric: tabular-nums; }
.time { color: var(--quiet); white-space: nowrap; font-variant-numeric: tabular-nums; }
.code { font-family: var(--mono); font-size: 13px; overflow-wrap: anywhere; min-width: 16em; }
.place { min-width: 10em; color: var(--quiet); }
.kind { display: inline-block; border-radius: 5px; padding: 0 7px; font-size: 12.5px; font-weight: 600; white-space: nowrap;
  color: var(--bad); background: var(--bad-back); }
.kind.warning, .kind.check { color: var(--warn); background: var(--warn-back); }
.kind.slow { color: var(--slow); background: var(--slow-back); }
button, input, select { font: inherit; color: var(--text); background: var(--card); border: 1px solid var(--line);
  border-radius: 6px; padding: 4px 10px; }
button { cursor: pointer; color: var(--accent); white-space: nowrap; }
button:hover { background: var(--hover); }
td button { padding: 0 8px; font-size: 13px; }
.blocked { border-top: 1px solid var(--line); padding: 8px 0; }
.blocked:first-of-type { border-top: 0; }
summary { cursor: pointer; overflow-wrap: anywhere; }
pre { font: 12.5px/1.5 var(--mono); background: var(--back); border-radius: 6px; padding: 10px 12px; margin: 8px 0;
  overflow: auto; max-height: 380px; }
#timeline svg { display: block; width: 100%; height: 120px; cursor: pointer; }
#timeline .bar { fill: var(--bar); }
#timeline .bad { fill: var(--bad); }
#timeline .slow { fill: var(--slow); }
#timeline .base { stroke: var(--line); }
#timeline .hit { fill: transparent; }
#timeline .hit:hover { fill: var(--text); fill-opacity: .1; }
.axis { display: flex; justify-content: space-between; color: var(--quiet); font-size: 13px; font-variant-numeric: tabular-nums; }
.legend { display: flex; flex-wrap: wrap; gap: 4px 18px; color: var(--quiet); font-size: 13px; margin-top: 6px; }
.legend i { display: inline-block; width: 10px; height: 10px; border-radius: 2px; margin-right: 6px; }
.tools { display: flex; flex-wrap: wrap; gap: 8px; align-items: center; margin-bottom: 10px; }
.tools input { flex: 1 1 260px; min-width: 0; }
#said { color: var(--quiet); font-size: 14px; min-width: 12em; }
#lines { height: min(70vh, 900px); overflow: auto; border: 1px solid var(--line); border-radius: 6px; position: relative;
  background: var(--back); }
#rows { position: absolute; left: 0; top: 0; min-width: 100%; }
.row { height: 20px; font: 12.5px/20px var(--mono); white-space: pre; padding-right: 16px; cursor: default; }
.row:hover { background: var(--hover); }
.row .n, .row .t { color: var(--quiet); display: inline-block; }
.row .n { width: 8ch; text-align: right; padding-right: 2ch; user-select: none; }
.row .t { width: 14ch; }
.row.F { background: var(--bad-back); color: var(--bad); }
.row.W { background: var(--warn-back); color: var(--warn); }
.row.B { background: var(--slow-back); color: var(--slow); }
.row.N { color: var(--accent); font-weight: 600; }
.row.X { color: var(--quiet); }
.row.chosen { background: var(--chosen); color: var(--text); }
mark { background: var(--mark); color: var(--mark-text); }
#detail { margin-top: 12px; }
#detail pre { white-space: pre-wrap; overflow-wrap: anywhere; }
@media print { #lines, .tools, #detail, button { display: none; } .scroll { max-height: none; } }
)css";

const char* const cPageViewer = R"html(<section aria-labelledby="log"><h2 id="log">Lines</h2>
<noscript><p>The lines and the time line need the page's own script, which this browser does not run.</p></noscript>
<div class="tools" role="search">
<input id="find" type="search" placeholder="Find text, or /regular expression/" aria-label="Find in the lines" spellcheck="false">
<select id="which" aria-label="Which lines">
<option value="">all lines</option><option value="FW">failures</option><option value="B">blocked loops</option>
<option value="N">files and notes</option></select>
<button type="button" id="clear">Clear</button>
<span id="said" role="status" aria-live="polite"></span>
</div>
<div id="lines" tabindex="0" role="region" aria-label="Log lines. Arrow keys choose a line, Enter shows it among all lines.">
<div id="space"></div><div id="rows"></div></div>
<div id="detail"></div>
</section>
)html";

const char* const cPageScript = R"js(
(() => {
'use strict';
const began = performance.now();
const data = JSON.parse(document.getElementById('data').textContent);
const kinds = data.kinds, texts = kinds ? data.texts.split('\n') : [], count = texts.length;
const times = new Float64Array(count);
for (let i = 0, time = 0; i < count; ++i) times[i] = time += data.times[i];
data.times = data.texts = null;
let failures = 0, notes = 0;
for (const kind of kinds) {
  if (kind === 'F' || kind === 'W') ++failures;
  if (kind === 'N') ++notes;
}
const lineCount = count - notes;

const byId = id => document.getElementById(id);
const make = (tag, name, text) => {
  const element = document.createElement(tag);
  if (name) element.className = name;
  if (text !== undefined) element.textContent = text;
  return element;
};
const stamp = time => new Date(time).toISOString().replace('T', ' ').replace('Z', '');
const said = byId('said'), find = byId('find'), which = byId('which'), lines = byId('lines'), rows = byId('rows');

// ---- Which lines are shown: all, or the indices in `shown`

let shown = null, pattern = null, chosen = -1, lower = null;
const shownCount = () => shown ? shown.length : count;
const lineAt = place => shown ? shown[place] : place;

function placeOf(line) {
  if (!shown) return line;
  let low = 0, high = shown.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (shown[middle] < line) low = middle + 1; else high = middle;
  }
  return low;
}

// What gives the first match in a text from a place on as [start, length], or null.
function compile(text) {
  if (!text) return null;
  if (text.length > 2 && text.startsWith('/') && text.endsWith('/')) {
    const expression = new RegExp(text.slice(1, -1), 'gi');
    return (line, from) => {
      expression.lastIndex = from;
      const match = expression.exec(texts[line]);
      return match && match[0] ? [match.index, match[0].length] : null;
    };
  }
  const wanted = text.toLowerCase();
  // Texts that a change of case makes longer keep their places by being compared as they are.
  if (!lower) lower = texts.map(t => { const l = t.toLowerCase(); return l.length === t.length ? l : t; });
  return (line, from) => {
    const at = lower[line].indexOf(wanted, from);
    return at < 0 ? null : [at, wanted.length];
  };
}

function filter() {
  const text = find.value, set = which.value;
  try {
    pattern = compile(text);
  } catch (error) {
    said.textContent = 'Not a regular expression.';
    return;
  }
  shown = null;
  if (pattern || set) {
    shown = [];
    for (let i = 0; i < count; ++i)
      if ((!set || set.includes(kinds[i])) && (!pattern || pattern(i, 0))) shown.push(i);
  }
  const all = lineCount.toLocaleString('en') + ' lines';
  said.textContent = shown ? shown.length.toLocaleString('en') + ' of ' + all : all;
  document.body.dataset.matches = shownCount();
  layOut();
  if (chosen >= 0) scrollTo(placeOf(chosen)); else lines.scrollTop = 0;
  render();
}

// ---- The lines: only those in sight are elements

const height = 20, tallest = 16e6;  // pixels; browsers have a limit for the height of an element
const space = () => Math.min(shownCount() * height, tallest);
const layOut = () => { byId('space').style.height = space() + 'px'; };

function firstInSight() {
  const room = space() - lines.clientHeight;
  if (shownCount() * height <= tallest || room <= 0) return lines.scrollTop / height;
  return lines.scrollTop / room * (shownCount() - lines.clientHeight / height);
}

function scrollTo(place) {
  const middle = Math.max(0, place - lines.clientHeight / height / 2);
  lines.scrollTop = shownCount() * height <= tallest ? middle * height
      : middle / (shownCount() - lines.clientHeight / height) * (space() - lines.clientHeight);
}

function textOf(line) {
  const element = make('span');
  if (!pattern) {
    element.textContent = texts[line];
    return element;
  }
  let at = 0;
  for (let match, n = 0; n < 50 && (match = pattern(line, at)); ++n) {
    element.append(texts[line].slice(at, match[0]), make('mark', '', texts[line].substr(...match)));
    at = match[0] + match[1];
  }
  element.append(texts[line].slice(at));
  return element;
}

function render() {
  const top = firstInSight(), first = Math.max(0, Math.floor(top) - 5);
  const last = Math.min(shownCount(), Math.ceil(top + lines.clientHeight / height) + 5);
  const part = document.createDocumentFragment();
  for (let place = first; place < last; ++place) {
    const line = lineAt(place), kind = kinds[line];
    const row = make('div', 'row ' + kind + (line === chosen ? ' chosen' : ''));
    row.dataset.line = line;
    row.append(make('span', 'n', line + 1), make('span', 't', 'RFWB'.includes(kind) ? stamp(times[line]).slice(11) : ''),
               textOf(line));
    part.append(row);
  }
  rows.replaceChildren(part);
  rows.style.transform = 'translateY(' + (lines.scrollTop - (top - first) * height) + 'px)';
}

// ---- Choosing a line shows its record whole

function choose(line) {
  chosen = line;
  let from = line, to = line + 1;
  while (from > 0 && 'C'.includes(kinds[from])) --from;
  while (to < count && to - from < 500 && ('C'.includes(kinds[to]) || /^  (#\d|Stack:)/.test(texts[to]))) ++to;
  const detail = byId('detail'), all = make('button', '', 'Show among all lines');
  all.type = 'button';
  all.addEventListener('click', () => show(line));
  detail.replaceChildren(make('p', 'quiet', 'Line ' + (line + 1) + ', ' + stamp(times[line])),
                         make('pre', '', texts.slice(from, to).join('\n')), ...(shown ? [all] : []));
  render();
}

function show(line) {
  find.value = which.value = '';
  chosen = line;
  filter();
  choose(line);
}

function search(text) {
  find.value = text;
  which.value = '';
  chosen = -1;
  filter();
  byId('log').scrollIntoView();
}

lines.addEventListener('scroll', () => requestAnimationFrame(render));
window.addEventListener('resize', () => requestAnimationFrame(render));
rows.addEventListener('click', event => {
  const row = event.target.closest('.row');
  if (row && getSelection().isCollapsed) choose(Number(row.dataset.line));
});
lines.addEventListener('keydown', event => {
  const step = {ArrowDown: 1, ArrowUp: -1, PageDown: 25, PageUp: -25, Home: -Infinity, End: Infinity}[event.key];
  if (event.key === 'Enter' && chosen >= 0) show(chosen);
  if (!step || !shownCount()) return;
  event.preventDefault();
  const from = chosen < 0 ? -1 : placeOf(chosen);
  const place = Math.min(shownCount() - 1, Math.max(0, from + step));
  const top = firstInSight();
  if (place < top || place > top + lines.clientHeight / height - 2) scrollTo(place);
  choose(lineAt(place));
});
let waiting = 0;
find.addEventListener('input', () => { clearTimeout(waiting); waiting = setTimeout(filter, 150); });
which.addEventListener('change', filter);
byId('clear').addEventListener('click', () => { chosen = -1; search(''); byId('detail').replaceChildren(); });
document.addEventListener('click', event => {
  const button = event.target.closest('[data-find],button[data-line]');
  if (!button) return;
  if (button.dataset.find !== undefined) {
    search(button.dataset.find);
  } else {
    show(Number(button.dataset.line));
    byId('log').scrollIntoView();
  }
});

// ---- The time line: how much was written when, with failures and blocked loops

function drawTimeline() {
  const place = byId('timeline');
  let first = Infinity, last = -Infinity;
  for (let i = 0; i < count; ++i) {
    if (!'RFWB'.includes(kinds[i])) continue;
    first = Math.min(first, times[i]);
    last = Math.max(last, times[i]);
  }
  if (!(last > first)) {
    place.append(make('p', 'quiet', 'All lines are of one moment, or without times.'));
    return;
  }
  const bins = 160, width = 1000 / bins, all = new Array(bins).fill(0), bad = all.slice(), jump = all.slice().fill(-1);
  const binOf = time => Math.max(0, Math.min(bins - 1, Math.floor((time - first) / (last - first) * bins)));
  for (let i = 0; i < count; ++i) {
    if (!'RFWB'.includes(kinds[i])) continue;
    const bin = binOf(times[i]), isBad = 'FW'.includes(kinds[i]);
    ++all[bin];
    if (jump[bin] < 0 || (isBad && !bad[bin])) jump[bin] = i;
    if (isBad) ++bad[bin];
  }
  const draw = (name, attributes, parent) => {
    const element = document.createElementNS('http://www.w3.org/2000/svg', name);
    for (const key in attributes) element.setAttribute(key, attributes[key]);
    parent.append(element);
    return element;
  };
  const svg = draw('svg', {viewBox: '0 0 1000 120', preserveAspectRatio: 'none', role: 'img',
      'aria-label': 'Lines over time. The tables below have the failures and blocked loops.'}, place);
  // Logarithmic, so that one line is seen beside thousands.
  const most = Math.log1p(Math.max(...all)), size = n => n ? Math.max(3, Math.log1p(n) / most * 100) : 0;
  for (let i = 0; i < bins; ++i) {
    const x = i * width;
    draw('rect', {class: 'bar', x, width: width - 1, y: 112 - size(all[i]), height: size(all[i])}, svg);
    draw('rect', {class: 'bad', x, width: width - 1, y: 112 - size(bad[i]), height: size(bad[i])}, svg);
  }
  for (const [time, lasted] of data.blocked) {
    const x = (time - first) / (last - first) * 1000;
    draw('rect', {class: 'slow', x: Math.min(x, 996), width: Math.max(4, lasted / (last - first) * 1000), y: 114, height: 6}, svg);
  }
  draw('line', {class: 'base', x1: 0, x2: 1000, y1: 112.5, y2: 112.5}, svg);
  for (let i = 0; i < bins; ++i) {
    if (!all[i]) continue;
    const hit = draw('rect', {class: 'hit', x: i * width, width, y: 0, height: 120}, svg);
    draw('title', {}, hit).textContent = stamp(first + (last - first) * i / bins).slice(0, 19) + ': ' + all[i] + ' records' +
        (bad[i] ? ', ' + bad[i] + ' failures' : '');
    hit.addEventListener('click', () => { show(jump[i]); byId('log').scrollIntoView(); });
  }
  const axis = make('div', 'axis'), sameDay = stamp(first).slice(0, 10) === stamp(last).slice(0, 10);
  for (let i = 0; i <= 4; ++i)
    axis.append(make('span', '', stamp(first + (last - first) * i / 4).slice(sameDay ? 11 : 5, last - first < 20000 ? 23 : 19)));
  const legend = make('div', 'legend');
  for (const [color, text] of [['--bar', 'records (logarithmic)'], ['--bad', 'failures and warnings'], ['--slow', 'blocked loops']]) {
    const item = make('span'), square = make('i');
    square.style.background = 'var(' + color + ')';
    item.append(square, text);
    legend.append(item);
  }
  place.append(axis, legend);
}

drawTimeline();
const start = new URLSearchParams(location.hash.slice(1));
find.value = start.get('find') || '';
which.value = start.get('which') || '';
filter();
if (start.has('line')) show(Number(start.get('line')) - 1);
Object.assign(document.body.dataset, {lines: lineCount, failures, blocked: data.blocked.length,
    milliseconds: Math.round(performance.now() - began), elements: document.getElementsByTagName('*').length});
})();
)js";

}  // namespace NorvikTool
