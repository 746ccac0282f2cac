// The page: what the reader does, and what follows from it.

const $ = id => document.getElementById(id);
const run = JSON.parse($('run').textContent), {ticksPerSecond, grid} = run;
const main = $('lanes'), rows = $('selection').tBodies[0];
const blocks = document.querySelectorAll('script.block');
const lanes = run.lanes.map((data, i) => new Lane(data, ticksPerSecond, blocks[i]));
const full = fullView();
const state = {view: full, selection: null, cursor: null, theme: readTheme()};
const LEAST_VIEW = 1e-10;  // of a moment: what doubles still tell apart

// From the collection's start, or what comes first, to its end, or behind what comes last.
function fullView() {
  const [first, last, length] = [run.first, run.last, run.length].map(ticks => ticks / ticksPerSecond);
  if (!lanes.length) return {from: 0, to: length || 1};
  const end = Math.max(length, last), from = first > end / 2 ? first - Math.max(0.02 * (end - first), 1e-3) : Math.min(first, 0);
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
  return {colours: list('c', COLOURS), quiet: list('quiet', 4), covered: read('covered'), grid: read('grid'),
          muted: read('muted'), back: read('back')};
}

// ---- building

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
  const note = make('span', {class: 'note'}), label = make('div', {class: 'row', title: name}, make('span', {class: 'name'}, name), note);
  label.style.top = `${row * lane.rowHeight}px`;
  label.style.height = `${lane.rowHeight}px`;
  label.classList.toggle('tight', lane.rowHeight < 28);
  lane.gutter.append(label);
  return note;
}

function buildLane(lane) {
  const section = lane.section = $('lane').content.cloneNode(true).firstElementChild, find = name => section.querySelector(name);
  Object.assign(section.dataset, {group: lane.group, metric: lane.metric, type: lane.type});
  section.setAttribute('aria-label', `${lane.metric}, ${lane.unitText || 'no unit'}, group ${lane.group || 'none'}`);
  find('h3').textContent = lane.metric;
  find('.unit').textContent = lane.unitText;
  [lane.gutter, lane.plot] = [find('.gutter'), find('.plot')];
  lane.plot.style.height = `${lane.height}px`;
  lane.keys = lane.legend.slice(0, MOST_TEXTS).map((name, item) => makeKey(lane, name, item));
  find('.legend').append(...lane.keys.map(({key}) => key), lane.legend.length > MOST_TEXTS ? `and ${lane.legend.length - MOST_TEXTS} more` : '');
  find('.legend').classList.toggle('long', lane.isLines && lane.keys.length > 1);
  lane.labels = lane.isLines || lane.rowHeight < 12 ? [] : lane.entities.map((name, row) => makeLabel(lane, name, row));
  return section;
}

function buildLanes() {
  const groups = new Map();
  for (const lane of lanes) groups.set(lane.group, [...groups.get(lane.group) ?? [], lane]);
  for (const [name, members] of groups) {
    const group = make('details', {class: 'group', open: ''}, make('summary', {}, name || '(no group)'), ...members.map(buildLane));
    group.addEventListener('toggle', changed);
    for (const lane of members) lane.fold = group;
    main.append(group);
  }
}

// ---- drawing

function isInSight({section, fold}) {
  if (section.hidden || !fold.open) return false;
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
  const pixel = sizeCanvas(lane.canvas, width, lane.height), drawn = [view.from, view.to, lane.canvas.width, lane.canvas.height].join();
  if (!lane.isDecoded || lane.drawn === drawn) return;
  const picture = new Picture(lane.canvas, view, state.theme, pixel);
  if (lane.isLines) drawScale(lane, drawLines(lane, picture));
  else drawRows(lane, picture);
  picture.show();
  describe(lane, view);
  lane.drawn = drawn;
}

function drawScale(lane, {ticks, step, at}) {
  lane.gutter.replaceChildren(...ticks.map(tick => {
    const label = make('div', {class: 'tick'}, numberText(Number(tick.toFixed(decimalsFor(step)))));
    label.style.top = `${100 * at(tick)}%`;
    return label;
  }));
}

// Says what the picture shows, beside it and to those who cannot see it.
function describe(lane, view) {
  const notes = lane.isLines ? lane.keys.map(({note}) => note) : lane.labels, texts = notes.map((note, i) => {
    note.textContent = lane.isLines ? lane.summaryOfLine(lane.series[i], view) : lane.summaryOfRow(lane.rows[i], view);
    return `${lane.isLines ? lane.legend[i] : lane.entities[i]} ${note.textContent}`;
  });
  lane.keys.forEach(({swatch}, item) => { swatch.style.background = lane.colourOf(item, state.theme).text; });
  lane.canvas.setAttribute('aria-label', `${lane.metric} from ${momentText(view.from, view)} to ${momentText(view.to, view)}: ${texts.slice(0, MOST_TEXTS).join(', ')}`);
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
  if (waiting.length) Promise.all(waiting.map(lane => lane.decode())).then(changed);
  else if (!isFrameDue && !isSelectionDue) main.setAttribute('aria-busy', 'false');
}

function placeOverlay() {
  const {view, selection, cursor} = state, band = $('band'), line = $('line');
  const at = time => Math.min(Math.max(100 * (time - view.from) / (view.to - view.from), -1), 101);
  band.hidden = !selection;
  line.hidden = cursor === null;
  if (selection) Object.assign(band.style, {left: `${at(selection.from)}%`, width: `${at(selection.to) - at(selection.from)}%`});
  if (cursor !== null) line.style.left = `${at(cursor)}%`;
}

// ---- view, selection and cursor

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

function zoom(factor, at) {
  const {from, to} = state.view;
  setViewInside(at - (at - from) * factor, at + (to - at) * factor);
}

function pan(share) {
  const {from, to} = state.view;
  setViewInside(from + share * (to - from), to + share * (to - from));
}

// Sets the selection, or removes it without arguments. Its bounds grow to whole points of the data.
async function setSelection(from, to) {
  const wanted = state.selection = from === undefined ? null : {from, to};
  isSelectionDue = Boolean(wanted);
  $('panel').hidden = !wanted;
  rows.replaceChildren();
  showFields();
  changed();
  if (!wanted) return;
  for (const lane of lanes) if (!lane.isDecoded) await lane.decode();
  if (state.selection !== wanted) return;
  if (grid && from < to) Object.assign(wanted, {from: grownBound(lanes, from, grid, false), to: grownBound(lanes, to, grid, true)});
  rows.replaceChildren(...lanes.flatMap(lane => rowsOf(lane, wanted).map(({series, cells}) => makeRow(lane, series, cells))));
  $('span').textContent = timeText(wanted.to - wanted.from);
  isSelectionDue = false;
  showFields();
  changed();
}

function makeRow(lane, series, cells) {
  const {entities, states, metric, isLines, type, units} = lane, entity = entities[series.entity], part = states[series.state];
  const unit = type === 'SAMPLED_DELTA' ? lane.rateUnit : units, ofUnit = number => numberText(number, unit);
  const texts = {count: numberText, skipped: numberText, mean: ofUnit, min: ofUnit, max: ofUnit, share: percentText,
                 total: number => isLines ? numberText(number, units) : timeText(number), energy: number => numberText(number, 'J')};
  const row = make('tr', {'data-metric': metric, 'data-entity': entity, 'data-state': isLines ? '' : part, ...isLines && {'data-item': part}},
      make('th', {scope: 'row'}, metric), make('td', {}, entity), make('td', {}, isLines && lane.rows[series.entity].length < 2 ? '' : part));
  for (const name of ['count', 'skipped', 'mean', 'min', 'max', 'total', 'share', 'energy'])
    row.append(make('td', {'data-col': name}, ...Number.isFinite(cells[name]) ? [make('data', {value: cells[name]}, texts[name](cells[name]))] : []));
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

function setCursor(time) {
  state.cursor = time;
  placeOverlay();
  const texts = lanes.filter(lane => lane.isDecoded && isInSight(lane)).map(lane => [lane.metric, lane.describeAt(time)]);
  $('cursor').textContent = [momentText(time, state.view), ...texts.filter(([, text]) => text).map(([name, text]) => `${name}: ${text}`)].join(' | ');
}

// ---- fields and the address

const fields = {
  'from': {get: () => state.view.from, set: x => setView(x, x < state.view.to ? state.view.to : x + state.view.to - state.view.from)},
  'to': {get: () => state.view.to, set: x => setView(x > state.view.from ? state.view.from : x - state.view.to + state.view.from, x)},
  'select-from': {get: () => state.selection?.from, set: x => setSelection(x, Math.max(x, state.selection?.to ?? full.to))},
  'select-to': {get: () => state.selection?.to, set: x => setSelection(Math.min(x, state.selection?.from ?? full.from), x)},
};

function showFields() {
  for (const [id, {get}] of Object.entries(fields)) $(id).value = get() ?? '';
}

function enterField(id) {
  const text = $(id).value.trim(), number = Number(text);
  if (text && Number.isFinite(number)) fields[id].set(number);
  else if (!text && id.startsWith('select')) setSelection();
  else showFields();
}

function applyFilter() {
  const wanted = $('filter').value.toLowerCase();
  for (const {section, metric} of lanes) section.hidden = !metric.toLowerCase().includes(wanted);
  for (const group of main.querySelectorAll('.group')) group.hidden = !group.querySelector('.lane:not([hidden])');
  changed();
}

const ADDRESS_PAUSE = 250;  // ms: browsers refuse to change the address more often than that for long
let addressTime = -Infinity, addressTimer = 0;

function writeFragment() {
  const {view, selection} = state, text = `#view=${view.from},${view.to}` + (selection ? `&select=${selection.from},${selection.to}` : '');
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
    const text = parts.get(name) ?? '', numbers = text.split(',').map(Number);
    return /^[^,\s]+,[^,\s]+$/.test(text) && numbers[0] <= numbers[1] && Number.isFinite(numbers[1] - numbers[0]) ? numbers : null;
  });
  if (view) setView(...view);
  if (selection) setSelection(...selection);
}

// ---- the reader's hands

const keys = {
  w: () => zoom(1 / 1.5, middle()), s: () => zoom(1.5, middle()), a: () => pan(-0.2), d: () => pan(0.2), escape: () => setSelection(),
  home: () => setView(full.from, full.to), arrowleft: () => moveCursor(-0.01), arrowright: () => moveCursor(0.01),
};

// Where keys zoom: at the cursor if it is in view.
function middle() {
  const {view: {from, to}, cursor} = state;
  return cursor >= from && cursor <= to && cursor !== null ? cursor : (from + to) / 2;
}

function moveCursor(share) {
  const {from, to} = state.view;
  setCursor(Math.min(Math.max(middle() + share * (to - from), from), to));
}

function onKey(event) {
  const key = event.key.toLowerCase(), {target} = event;
  if (event.ctrlKey || event.altKey || event.metaKey || !keys[key] || target.closest?.('input, textarea, select')) return;
  if (key.startsWith('arrow') && !target.classList?.contains('lane')) return;
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
    zoom(Math.exp(Math.max(-1, Math.min(1, event.deltaY * [1, 16, 400][event.deltaMode] / 400))), timeAt(event));
  }, {passive: false});
  on('pointerdown', event => {
    if (event.button !== 0) return;
    grip = {x: event.clientX, time: timeAt(event), view: state.view, isSelecting: event.shiftKey || canvas.id === 'axis'};
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
  on('dblclick', () => setView(full.from, full.to));
}

function redrawAll() {
  state.theme = readTheme();
  for (const lane of lanes) lane.drawn = null;
  changed();
}

for (const id of Object.keys(fields)) {
  $(id).addEventListener('keydown', event => { if (event.key === 'Enter') enterField(id); });
  $(id).addEventListener('blur', showFields);
}
for (const [id, name, act] of [['filter', 'input', applyFilter], ['reset', 'click', () => setView(full.from, full.to)],
                               ['copy', 'click', copyTable], ['clear', 'click', () => setSelection()]])
  $(id).addEventListener(name, act);
document.addEventListener('keydown', onKey);
for (const [name, act] of [['scroll', changed], ['resize', changed], ['hashchange', readFragment]]) addEventListener(name, act);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redrawAll);
listenToPlot($('axis'));
buildLanes();
showFields();
readFragment();
changed();
