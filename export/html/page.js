// The page: what the reader does, and what follows from it.
const $ = id => document.getElementById(id);
const run = JSON.parse($('run').textContent), {ticksPerSecond, grid} = run;
const main = $('lanes'), rows = $('selection').tBodies[0], blocks = document.querySelectorAll('script.block');
const lanes = run.lanes.map((data, i) => new Lane(data, ticksPerSecond, blocks[i]));
const full = fullView();
const state = {view: full, selection: null, cursor: null, theme: readTheme()};
const LEAST_VIEW = 1e-10;     // of a moment: what doubles still tell apart
const ADDRESS_PAUSE = 250;    // ms: browsers refuse to change the address more often than that for long
const STATISTICS = ['count', 'skipped', 'mean', 'min', 'max', 'total', 'share', 'energy'];

// From the collection's start, or what comes first, to its end, or behind what comes last.
function fullView() {
  const [first, last, length] = [run.first, run.last, run.length].map(ticks => ticks / ticksPerSecond);
  if (!lanes.length) return {from: 0, to: Number.isFinite(length) && length || 1};
  const end = Math.max(length, last), before = Math.max(0.02 * (end - first), 1e-3);
  const from = first > end / 2 ? first - before : Math.min(first, 0);
  return {from, to: end > last ? end : last + 1e-3 * (last - from || 1)};
}

function readTheme() {
  const style = getComputedStyle(document.documentElement);
  const read = name => {
    const text = style.getPropertyValue(`--${name}`).trim();
    const [r, g, b] = [1, 3, 5].map(at => parseInt(text.slice(at, at + 2), 16));
    return {r, g, b, text};
  };
  const list = (name, count) => Array.from({length: count}, (_, i) => read(name + i));
  const [covered, grid, muted, back] = ['covered', 'grid', 'muted', 'back'].map(read);
  return {colours: list('c', COLOURS), quiet: list('quiet', 4), covered, grid, muted, back};
}

function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

function makeKey(lane, name, item) {
  const swatch = make('i', {class: 'swatch', 'aria-hidden': 'true'}), note = make('span');
  const key = make('button', {type: 'button', class: 'key', 'aria-pressed': 'true'}, swatch, name, note);
  key.addEventListener('click', () => {
    if (!lane.hidden.delete(item)) lane.hidden.add(item);
    key.setAttribute('aria-pressed', !lane.hidden.has(item));
    lane.drawn = null;
    changed();
  });
  return {key, swatch, note};
}

function makeLabel(lane, name, row) {
  const note = make('span', {class: 'note'}), height = lane.rowHeight;
  const label = make('div', {class: 'row', title: name}, make('span', {class: 'name'}, name), note);
  Object.assign(label.style, {top: `${row * height}px`, height: `${height}px`});
  label.classList.toggle('tight', height < 28);
  lane.gutter.append(label);
  return note;
}

function buildLane(lane) {
  const section = lane.section = $('lane').content.firstElementChild.cloneNode(true);
  const find = name => section.querySelector(name), more = lane.legend.length - MOST_TEXTS;
  Object.assign(section.dataset, {group: lane.group, metric: lane.metric, type: lane.type});
  section.setAttribute('aria-label', `${lane.metric}, ${lane.unitText || 'no unit'}, group ${lane.group || 'none'}`);
  for (const [name, text] of [['h3', lane.metric], ['.unit', lane.unitText]]) find(name).textContent = text;
  Object.assign(lane, {gutter: find('.gutter'), plot: find('.plot')}).plot.style.height = `${lane.height}px`;
  lane.keys = lane.legend.slice(0, MOST_TEXTS).map((name, item) => makeKey(lane, name, item));
  find('.legend').append(...lane.keys.map(({key}) => key), more > 0 ? `and ${more} more` : '');
  find('.legend').classList.toggle('long', lane.isLines && lane.keys.length > 1);
  const names = lane.isLines || lane.rowHeight < 12 ? [] : lane.entities;
  lane.labels = names.map((name, row) => makeLabel(lane, name, row));
  return section;
}

function buildLanes() {
  const groups = new Map();
  for (const lane of lanes) groups.set(lane.group, [...groups.get(lane.group) ?? [], lane]);
  for (const [name, members] of groups) {
    const title = make('summary', {}, name || '(no group)');
    const group = make('details', {class: 'group', open: ''}, title, ...members.map(buildLane));
    group.addEventListener('toggle', changed);
    main.append(group);
  }
}

function isInSight({section}) {
  if (section.hidden || !section.parentElement.open) return false;
  const {top, bottom} = section.getBoundingClientRect();
  return bottom > -100 && top < innerHeight + 100;
}

// All plots are as wide as the axis. Returns the size of a pixel of the page in those of the canvas.
function sizeCanvas(canvas, pageWidth, pageHeight) {
  const pixel = devicePixelRatio || 1;
  const width = Math.max(Math.round(pageWidth * pixel), 100), height = Math.round(pageHeight * pixel);
  if (canvas.width !== width || canvas.height !== height) Object.assign(canvas, {width, height});
  return Math.max(1, Math.round(pixel));
}

function drawLane(lane, view, width) {
  if (!lane.canvas) {
    lane.canvas = make('canvas', {role: 'img', 'aria-label': lane.metric});
    lane.plot.append(lane.canvas);
    listenToPlot(lane.canvas);
  }
  const pixel = sizeCanvas(lane.canvas, width, lane.height), drawn = [view.from, view.to, lane.canvas.width].join();
  if (!lane.isDecoded || lane.drawn === drawn) return;
  const picture = new Picture(lane.canvas, view, state.theme, pixel);
  if (lane.isLines) showScale(lane, drawLines(lane, picture)); else drawRows(lane, picture);
  picture.show();
  describe(lane, view);
  lane.drawn = drawn;
}

function showScale(lane, {ticks, step, at}) {
  lane.gutter.replaceChildren(...ticks.map(tick => {
    const label = make('div', {class: 'tick'}, numberText(Number(tick.toFixed(decimalsFor(step)))));
    label.style.top = `${100 * at(tick)}%`;
    return label;
  }));
}

// Says what the picture shows, to those who cannot see it too.
function describe(lane, view) {
  const {isLines, keys, labels, series, rows, legend, entities, metric} = lane;
  const texts = (isLines ? keys.map(({note}) => note) : labels).map((note, i) => {
    note.textContent = isLines ? lane.summaryOfLine(series[i], view) : lane.summaryOfRow(rows[i], view);
    return `${isLines ? legend[i] : entities[i]} ${note.textContent}`;
  });
  keys.forEach(({swatch}, item) => { swatch.style.background = lane.colourOf(item, state.theme).text; });
  const span = `${momentText(view.from, view)} to ${momentText(view.to, view)}`;
  lane.canvas.setAttribute('aria-label', `${metric} from ${span}: ${texts.slice(0, MOST_TEXTS).join(', ')}`);
}

let isFrameDue = false, isSelectionDue = false;
// Everything that changes the picture ends here: the lanes in sight are drawn with the next frame.
function changed() {
  main.setAttribute('aria-busy', 'true');
  if (!isFrameDue) requestAnimationFrame(drawFrame);
  isFrameDue = true;
}

function drawFrame() {
  isFrameDue = false;
  const {view} = state, inSight = lanes.filter(isInSight), waiting = inSight.filter(lane => !lane.isDecoded);
  const axis = $('axis'), {clientWidth, clientHeight} = axis;
  for (const lane of inSight) drawLane(lane, view, clientWidth);
  drawAxis(axis, view, state.theme, sizeCanvas(axis, clientWidth, clientHeight));
  placeOverlay();
  writeFragment();
  if (waiting.length) Promise.all(waiting.map(lane => lane.decode())).then(drawFrame);
  if (waiting.length || isFrameDue || isSelectionDue) return;
  main.setAttribute('aria-busy', 'false');
  loading.remove();
}

function placeOverlay() {
  const {view, selection, cursor} = state, band = $('band'), line = $('line');
  const at = time => Math.min(Math.max(100 * (time - view.from) / (view.to - view.from), -1), 101);
  [band.hidden, line.hidden] = [!selection, cursor === null];
  const [left, right] = [at(selection?.from), at(selection?.to)];
  Object.assign(band.style, {left: `${left}%`, width: `${right - left}%`});
  line.style.left = `${at(cursor)}%`;
}

function setView(from, to) {
  if (!(from < to) || !Number.isFinite(to - from)) return;
  state.view = {from, to};
  showFields();
  changed();
}

// Keeps a view within the whole run.
function setViewInside(from, to) {
  const whole = full.to - full.from, length = to - from;
  if (length >= whole) setView(full.from, full.to);
  else if (length > Math.max(Math.abs(from), Math.abs(to)) * LEAST_VIEW) {
    const start = Math.min(Math.max(from, full.from), full.to - length);
    setView(start, start + length);
  }
}

// Zooms at a moment, then moves by a share of the view.
function change(factor, at, share = 0) {
  const {from, to} = state.view, shift = at + share * (to - from);
  setViewInside(shift - (at - from) * factor, shift + (to - at) * factor);
}

const reset = () => setView(full.from, full.to);
// Sets the selection, or removes it without arguments. Its bounds grow to whole points of the data.
async function setSelection(from, to) {
  const wanted = state.selection = from === undefined ? null : {from, to};
  isSelectionDue = Boolean(wanted);
  $('panel').hidden = !wanted;
  rows.replaceChildren();
  showFields();
  changed();
  if (!wanted) return;
  if (!lanes.every(lane => lane.isDecoded)) await decodeAll();
  if (state.selection !== wanted) return;
  if (grid && from < to) Object.assign(wanted, grownSelection(lanes, wanted, grid));
  rows.replaceChildren(...lanes.flatMap(lane => rowsOf(lane, wanted)).map(makeRow));
  $('span').textContent = timeText(wanted.to - wanted.from);
  isSelectionDue = false;
  showFields();
  changed();
}

function makeRow({series, cells}) {
  const {lane, entity, state} = series, {isLines, units} = lane, part = lane.states[state];
  const unit = lane.type === 'SAMPLED_DELTA' ? lane.rateUnit : units, ofUnit = number => numberText(number, unit);
  const texts = {mean: ofUnit, min: ofUnit, max: ofUnit, share: percentText, energy: number => numberText(number, 'J'),
                 total: number => isLines ? numberText(number, units) : timeText(number)};
  const row = make('tr', {'data-metric': lane.metric, 'data-entity': lane.entities[entity], 'data-state': isLines ? '' : part},
      make('th', {scope: 'row'}, lane.metric), make('td', {}, lane.entities[entity]),
      make('td', {}, isLines && lane.rows[entity].length < 2 ? '' : part));
  if (isLines && part) row.setAttribute('data-item', part);
  for (const name of STATISTICS) {
    const number = cells[name], cell = make('td', {'data-col': name});
    if (Number.isFinite(number)) cell.append(make('data', {value: number}, (texts[name] ?? numberText)(number)));
    row.append(cell);
  }
  return row;
}

function copyTable() {
  const textOf = cell => (cell.querySelector('data')?.value ?? cell.textContent).replace(/[\t\r\n]+/g, ' ');
  const text = [...$('selection').rows].map(row => [...row.cells].map(textOf).join('\t')).join('\n') + '\n';
  const give = event => { event.clipboardData.setData('text/plain', text); event.preventDefault(); };
  document.addEventListener('copy', give, {once: true});
  if (!document.execCommand('copy')) navigator.clipboard?.writeText(text).catch(() => {});
  document.removeEventListener('copy', give);
}

let decodingAll, addressTime = -Infinity, addressTimer = 0;
const decodeAll = () => decodingAll ??= (async () => { for (const lane of lanes) await lane.decode(); })();

function setCursor(time) {
  if (!lanes.every(lane => lane.isDecoded)) decodeAll().then(() => setCursor(state.cursor));
  state.cursor = time;
  placeOverlay();
  const texts = lanes.filter(lane => lane.isDecoded && !lane.section.hidden).map(lane => [lane.metric, lane.describeAt(time)])
      .filter(([, text]) => text).map(([name, text]) => `${name}: ${text}`);
  $('cursor').textContent = [momentText(time, state.view), ...texts].join(' | ');
}

// What is set last holds: the other bound gives way.
const fields = {
  'from': {get: ({view}) => view.from, set: (x, {from, to}) => setView(x, x < to ? to : x + to - from)},
  'to': {get: ({view}) => view.to, set: (x, {from, to}) => setView(x > from ? from : x - to + from, x)},
  'select-from': {get: ({selection}) => selection?.from, set: x => setSelection(x, Math.max(x, state.selection?.to ?? full.to))},
  'select-to': {get: ({selection}) => selection?.to, set: x => setSelection(Math.min(x, state.selection?.from ?? full.from), x)},
};

// A text that differs from what was shown last is being typed: it stays until it is entered or left.
const showField = id => { $(id).value = $(id).defaultValue = fields[id].get(state) ?? ''; };
const showFields = () => Object.keys(fields).filter(id => $(id).value === $(id).defaultValue).forEach(showField);

function enterField(id) {
  $(id).defaultValue = $(id).value;
  const text = $(id).value.trim(), number = Number(text);
  if (id === 'filter') applyFilter();
  else if (text && Number.isFinite(number)) fields[id].set(number, state.view);
  else if (!text && id.startsWith('select')) setSelection();
  else showField(id);
}

function applyFilter() {
  const wanted = $('filter').value.toLowerCase();
  for (const {section, metric} of lanes) section.hidden = !metric.toLowerCase().includes(wanted);
  for (const group of main.querySelectorAll('.group')) group.hidden = !group.querySelector('.lane:not([hidden])');
  changed();
}

function writeFragment() {
  const {view, selection} = state, textOf = (name, {from, to}) => `${name}=${from},${to}`;
  const text = `#${textOf('view', view)}${selection ? `&${textOf('select', selection)}` : ''}`;
  const wait = addressTime + ADDRESS_PAUSE - performance.now();
  clearTimeout(addressTimer);
  if (text === location.hash || view === full && !selection) return;
  if (wait > 0) { addressTimer = setTimeout(writeFragment, wait); return; }
  addressTime = performance.now();
  history.replaceState(null, '', text);
}

function readFragment() {
  const parts = new Map(location.hash.slice(1).split('&').map(part => part.split('=')));
  const [view, selection] = ['view', 'select'].map(name => {
    const text = parts.get(name) ?? '', numbers = text.split(',').map(Number), [from, to] = numbers;
    return /^[^,\s]+,[^,\s]+$/.test(text) && from <= to && Number.isFinite(to - from) ? numbers : null;
  });
  if (view) setView(...view);
  if (selection) setSelection(...selection);
}

// Where keys zoom: at the cursor if it is in view.
function middle() {
  const {view: {from, to}, cursor} = state;
  return cursor !== null && cursor >= from && cursor <= to ? cursor : (from + to) / 2;
}

const moveCursor = share => setCursor(middle() + share * (state.view.to - state.view.from));
const keys = {
  w: () => change(1 / 1.5, middle()), s: () => change(1.5, middle()), a: () => change(1, middle(), -0.2),
  d: () => change(1, middle(), 0.2), escape: () => setSelection(), home: reset,
  arrowleft: () => moveCursor(-0.01), arrowright: () => moveCursor(0.01),
};

function onKey(event) {
  const key = event.key.toLowerCase(), isIn = list => event.target.closest?.(list);
  if (event.ctrlKey || event.altKey || event.metaKey || !keys[key] || isIn('input, textarea, select')) return;
  if (key.startsWith('arrow') && !isIn('.lane')) return;
  keys[key]();
  event.preventDefault();
}

function listenToPlot(canvas) {
  let grip = null;
  const on = (name, act, options) => canvas.addEventListener(name, act, options);
  const timeAt = ({clientX}) => {
    const {left, width} = canvas.getBoundingClientRect(), {from, to} = state.view;
    return from + (clientX - left) / width * (to - from);
  };
  on('wheel', event => {
    event.preventDefault();
    const amount = event.deltaY * [1, 16, 400][event.deltaMode] / 400;
    change(Math.exp(Math.max(-1, Math.min(1, amount))), timeAt(event));
  }, {passive: false});
  on('pointerdown', event => {
    if (event.button !== 0) return;
    const isSelecting = event.shiftKey || canvas.id === 'axis';
    grip = {x: event.clientX, time: timeAt(event), view: state.view, isSelecting};
    canvas.setPointerCapture(event.pointerId);
    canvas.closest('.lane')?.focus({preventScroll: true});
    event.preventDefault();
  });
  on('pointermove', event => {
    const time = timeAt(event), moved = event.clientX - (grip?.x ?? event.clientX);
    if (moved && grip.isSelecting) setSelection(Math.min(grip.time, time), Math.max(grip.time, time));
    else if (moved) {
      const shift = moved / canvas.clientWidth * (grip.view.to - grip.view.from);
      setViewInside(grip.view.from - shift, grip.view.to - shift);
    }
    setCursor(time);
  });
  for (const name of ['pointerup', 'pointercancel']) on(name, () => { grip = null; });
  on('dblclick', reset);
}

for (const id of ['filter', ...Object.keys(fields)])
  $(id).addEventListener('keydown', event => { if (event.key === 'Enter') enterField(id); });
// What was not entered goes with the focus, in time for programs that clear a field, leave it and come back.
const restore = ({target: {id}}) => { if (fields[id] && $(id) !== document.activeElement) showField(id); };
addEventListener('focusout', event => setTimeout(restore, event.target.value ? 0 : 5000, event));
$('filter').addEventListener('input', applyFilter);
for (const [id, act] of Object.entries({reset, copy: copyTable, clear: () => setSelection()}))
  $(id).addEventListener('click', act);
document.addEventListener('keydown', onKey);
for (const name of ['scroll', 'resize']) addEventListener(name, changed);
addEventListener('hashchange', readFragment);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
  state.theme = readTheme();
  for (const lane of lanes) lane.drawn = null;
  changed();
});
listenToPlot($('axis'));
// The page counts as loaded when the first picture is there: a document that is open holds it up.
const loading = document.body.appendChild(make('iframe', {hidden: '', 'aria-hidden': 'true'}));
loading.contentDocument.open();
for (const start of [buildLanes, showFields, readFragment, drawFrame]) start();
