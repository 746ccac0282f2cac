// The page: what the reader does, and what follows from it.

const $ = id => document.getElementById(id);
const run = JSON.parse($('run').textContent);
const {ticksPerSecond, grid} = run;
const main = $('lanes');
const blocks = [...document.querySelectorAll('script.block')];
const lanes = run.lanes.map((data, i) => new Lane({...data, ticksPerSecond}, blocks[i]));
const full = fullView();
const state = {view: full, selection: null, cursor: null, theme: readTheme()};
const WIDEST_STEP = 1e-12;  // of a moment, what doubles still tell apart

function fullView() {
  const first = run.first / ticksPerSecond, last = run.last / ticksPerSecond;
  const length = run.length / ticksPerSecond;
  if (!lanes.length) return {from: 0, to: length || 1};
  let to = Math.max(length, last);
  let from = Math.min(first, 0);
  if (first > to / 2) from = first - (to - first) * 0.02;
  if (from === first && first > 0) from -= first * 1e-3;
  if (to <= last) to = last + (last - from || 1) * 1e-3;
  return {from, to};
}

// ---- colours

function readColour(style, name) {
  const hex = style.getPropertyValue(name).trim();
  const [r, g, b] = [1, 3, 5].map(at => parseInt(hex.slice(at, at + 2), 16));
  return {r, g, b, a: 255, text: hex, toString: () => hex};
}

function readTheme() {
  const style = getComputedStyle(document.documentElement), read = name => readColour(style, name);
  return {
    colours: Array.from({length: COLOURS}, (_, i) => read(`--c${i}`)),
    quiet: [read('--quiet0'), read('--quiet1'), read('--quiet2'), read('--quiet3')],
    covered: read('--covered'), grid: read('--grid').text, text: read('--muted').text,
    nothing: {r: 0, g: 0, b: 0, a: 0},
  };
}

// ---- building

function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

function buildLegend(lane) {
  const names = lane.legend;
  lane.keys = names.slice(0, MOST_LEGEND_ITEMS).map((name, item) => {
    const swatch = make('i', {class: 'swatch', 'aria-hidden': 'true'}), text = make('span');
    const key = make('button', {type: 'button', class: 'key', 'aria-pressed': 'true'}, swatch, name, text);
    key.addEventListener('click', () => {
      if (lane.hidden.delete(item)) key.setAttribute('aria-pressed', 'true');
      else { lane.hidden.add(item); key.setAttribute('aria-pressed', 'false'); }
      lane.drawn = null;
      changed();
    });
    return {key, swatch, text};
  });
  const legend = make('div', {class: 'legend'}, ...lane.keys.map(({key}) => key));
  if (names.length > MOST_LEGEND_ITEMS) legend.append(`and ${names.length - MOST_LEGEND_ITEMS} more`);
  return legend;
}

function buildGutter(lane) {
  const gutter = make('div', {class: 'gutter'});
  if (lane.isLines || lane.rowHeight < 12) return gutter;
  lane.labels = lane.entities.map((name, row) => {
    const note = make('span', {class: 'busy'}), label = make('div', {class: 'row', title: name}, make('span', {class: 'name'}, name), note);
    label.style.top = `${row * lane.rowHeight}px`;
    label.style.height = `${lane.rowHeight}px`;
    label.classList.toggle('tight', lane.rowHeight < 28);
    gutter.append(label);
    return note;
  });
  return gutter;
}

function buildLane(lane) {
  const unit = lane.unitText;
  lane.plot = make('div', {class: 'plot'});
  lane.plot.style.height = `${lane.height}px`;
  lane.gutter = buildGutter(lane);
  lane.section = make('section', {
    class: 'lane', tabindex: '0', 'aria-label': `${lane.metric}${unit ? ` (${unit})` : ''}, group ${lane.group || 'none'}`,
    'data-group': lane.group, 'data-metric': lane.metric, 'data-type': lane.type,
  }, make('div', {class: 'lane-head'}, make('h3', {}, lane.metric), make('span', {class: 'unit'}, unit), buildLegend(lane)),
  make('div', {class: 'lane-body'}, lane.gutter, lane.plot));
  return lane.section;
}

function buildLanes() {
  const groups = new Map();
  for (const lane of lanes) {
    if (!groups.has(lane.group)) groups.set(lane.group, []);
    groups.get(lane.group).push(lane);
  }
  for (const [name, members] of groups) {
    const group = make('details', {class: 'group', open: ''}, make('summary', {}, name || '(no group)'), ...members.map(buildLane));
    group.addEventListener('toggle', changed);
    for (const lane of members) lane.groupElement = group;
    main.append(group);
  }
  paintKeys();
}

function paintKeys() {
  for (const lane of lanes)
    lane.keys.forEach(({swatch}, item) => { swatch.style.background = lane.colourOf(item, state.theme).text; });
}

// ---- drawing

function isInSight(lane) {
  if (lane.section.hidden || !lane.groupElement.open) return false;
  const {top, bottom} = lane.section.getBoundingClientRect();
  return bottom > -100 && top < innerHeight + 100;
}

function canvasOf(lane) {
  if (!lane.canvas) {
    lane.canvas = make('canvas', {role: 'img'});
    lane.plot.append(lane.canvas);
    listenToPlot(lane.canvas);
  }
  return lane.canvas;
}

function sizeCanvas(canvas) {
  const pixel = devicePixelRatio || 1, {clientWidth, clientHeight} = canvas;
  const width = Math.max(Math.round(clientWidth * pixel), 100), height = Math.max(Math.round(clientHeight * pixel), 1);
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== height) canvas.height = height;
  return pixel;
}

function drawLane(lane, cache) {
  const canvas = canvasOf(lane), pixel = sizeCanvas(canvas), {view, theme} = state;
  const context = canvas.getContext('2d');
  context.clearRect(0, 0, canvas.width, canvas.height);
  if (lane.isLines) drawScale(lane, drawLines(lane, context, view, theme, pixel, cache));
  else drawRows(lane, context, view, theme, pixel, cache);
  describeLane(lane);
  lane.drawn = `${view.from},${view.to},${canvas.width}`;
}

function drawScale(lane, {ticks, step, at}) {
  lane.gutter.replaceChildren(...ticks.map(tick => {
    const label = make('div', {class: 'tick'}, numberText(Number(tick.toFixed(decimalsFor(step)))));
    label.style.top = `${100 * at(tick)}%`;
    return label;
  }));
}

// Says what the picture shows, beside it and for those who can't see it.
function describeLane(lane) {
  const {view} = state, texts = [];
  if (lane.isLines)
    lane.keys.forEach(({text}, item) => {
      text.textContent = lane.summaryOfLine(lane.series[item], view);
      texts.push(`${lane.nameOf(lane.series[item])} ${text.textContent}`);
    });
  else
    lane.labels?.forEach((note, row) => {
      note.textContent = lane.summaryOf(lane.rows[row], view);
      texts.push(`${lane.entities[row]} ${note.textContent}`);
    });
  lane.canvas.setAttribute('aria-label',
      `${lane.metric} from ${momentText(view.from, view)} to ${momentText(view.to, view)}: ${texts.slice(0, MOST_LEGEND_ITEMS).join(', ')}`);
}

let isFrameDue = false;

// Everything that changes the picture ends here: the lanes in sight are drawn with the next frame.
function changed() {
  main.setAttribute('aria-busy', 'true');
  if (isFrameDue) return;
  isFrameDue = true;
  requestAnimationFrame(drawFrame);
}

function drawFrame() {
  isFrameDue = false;
  const {view} = state, cache = new Map(), waiting = [];
  for (const lane of lanes.filter(isInSight)) {
    if (!lane.isDecoded) { canvasOf(lane); waiting.push(lane); continue; }
    if (lane.drawn !== `${view.from},${view.to},${lane.canvas ? Math.max(Math.round(lane.canvas.clientWidth * (devicePixelRatio || 1)), 100) : 0}`)
      drawLane(lane, cache);
  }
  drawAxis($('axis'), view, state.theme, sizeCanvas($('axis')));
  placeOverlay();
  writeFragment();
  if (waiting.length) Promise.all(waiting.map(lane => lane.decode(ticksPerSecond))).then(changed);
  else if (!isFrameDue) main.setAttribute('aria-busy', 'false');
}

function placeOverlay() {
  const {view, selection, cursor} = state, at = time => 100 * (time - view.from) / (view.to - view.from);
  const band = $('band'), line = $('line');
  band.hidden = !selection || selection.to < view.from || selection.from > view.to;
  if (selection) {
    const from = Math.max(at(selection.from), 0), to = Math.min(at(selection.to), 100);
    band.style.left = `${from}%`;
    band.style.width = `${Math.max(to - from, 0)}%`;
  }
  line.hidden = cursor === null || cursor < view.from || cursor > view.to;
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
  const length = Math.min(to - from, full.to - full.from);
  const least = Math.max(Math.abs(full.from), Math.abs(full.to)) * WIDEST_STEP * 100;
  if (length < least) return;
  const start = Math.min(Math.max(from, full.from), full.to - length);
  if (length === full.to - full.from) setView(full.from, full.to);
  else setView(start, start + length);
}

function zoom(factor, at) {
  const {from, to} = state.view;
  setViewInside(at - (at - from) * factor, at + (to - at) * factor);
}

function pan(share) {
  const {from, to} = state.view;
  setViewInside(from + share * (to - from), to + share * (to - from));
}

let selectionsMade = 0;

// Sets the selection, or removes it. Its bounds grow to whole points of the data.
async function setSelection(from, to) {
  const made = ++selectionsMade, table = $('selection');
  state.selection = from === null ? null : {from, to};
  showFields();
  changed();
  $('panel').hidden = !state.selection;
  if (!state.selection) { table.tBodies[0].replaceChildren(); table.setAttribute('aria-busy', 'false'); return; }
  const missing = lanes.filter(lane => !lane.isDecoded);
  if (missing.length) {
    table.setAttribute('aria-busy', 'true');
    table.tBodies[0].replaceChildren();
    for (const lane of missing) await lane.decode(ticksPerSecond);
    if (made !== selectionsMade) return;
  }
  if (grid && from < to)
    state.selection = {from: grownBound(lanes, from, grid, ticksPerSecond, false), to: grownBound(lanes, to, grid, ticksPerSecond, true)};
  fillTable();
  table.setAttribute('aria-busy', 'false');
  showFields();
  changed();
}

function cellTexts(lane, cells) {
  const unit = lane.type === 'SAMPLED_DELTA' ? lane.rateUnit : lane.units;
  const isTime = lane.type === 'SAMPLED_RESIDENCY' || lane.type === 'TRACED_VALUE_TRANSITION';
  return {
    count: x => numberText(x), skipped: x => numberText(x),
    mean: x => numberText(x, unit), min: x => numberText(x, unit), max: x => numberText(x, unit),
    total: x => isTime ? timeText(x) : numberText(x, lane.units), share: percentText, energy: x => numberText(x, 'J'),
  };
}

const TABLE_COLUMNS = ['count', 'skipped', 'mean', 'min', 'max', 'total', 'share', 'energy'];

function fillTable() {
  const rows = [];
  for (const lane of lanes) {
    for (const {series, cells} of rowsOf(lane, state.selection, ticksPerSecond)) {
      const texts = cellTexts(lane, cells), part = lane.states[series.state];
      const row = make('tr', {'data-metric': lane.metric, 'data-entity': lane.entities[series.entity], 'data-state': lane.isLines ? '' : part},
          make('th', {scope: 'row'}, lane.metric), make('td', {}, lane.entities[series.entity]),
          make('td', {}, lane.isLines && lane.partsOfEntity[series.entity] < 2 ? '' : part));
      if (lane.isLines && part) row.setAttribute('data-item', part);
      for (const name of TABLE_COLUMNS) {
        const cell = make('td', {'data-col': name});
        if (cells[name] !== undefined) cell.append(make('data', {value: String(cells[name])}, texts[name](cells[name])));
        row.append(cell);
      }
      rows.push(row);
    }
  }
  $('selection').tBodies[0].replaceChildren(...rows);
  $('span').textContent = timeText(state.selection.to - state.selection.from);
}

function tableText() {
  return [...$('selection').rows].map(row => [...row.cells].map(cell =>
    (cell.querySelector('data')?.value ?? cell.textContent).replace(/[\t\r\n]+/g, ' ')).join('\t')).join('\n') + '\n';
}

function copyTable() {
  const text = tableText();
  const give = event => { event.clipboardData.setData('text/plain', text); event.preventDefault(); };
  document.addEventListener('copy', give, {once: true});
  const isDone = document.execCommand('copy');
  document.removeEventListener('copy', give);
  if (!isDone) navigator.clipboard?.writeText(text).catch(() => {});
}

function setCursor(time) {
  state.cursor = time;
  placeOverlay();
  const texts = lanes.filter(lane => lane.isDecoded && isInSight(lane))
      .map(lane => [lane.metric, lane.describeAt(time)]).filter(([, text]) => text)
      .map(([name, text]) => `${name}: ${text}`);
  $('cursor').textContent = [momentText(time, state.view), ...texts].join(' | ');
}

// ---- fields and the address

const FIELDS = {
  'from': {get: () => state.view.from, set: x => setView(x, x < state.view.to ? state.view.to : x + state.view.to - state.view.from)},
  'to': {get: () => state.view.to, set: x => setView(x > state.view.from ? state.view.from : x - state.view.to + state.view.from, x)},
  'select-from': {get: () => state.selection?.from, set: x => setSelection(x, Math.max(x, state.selection?.to ?? full.to))},
  'select-to': {get: () => state.selection?.to, set: x => setSelection(Math.min(x, state.selection?.from ?? full.from), x)},
};

function showFields() {
  for (const [id, field] of Object.entries(FIELDS)) $(id).value = field.get() ?? '';
}

function enterField(id) {
  const text = $(id).value.trim(), number = Number(text);
  if (text === '' && id.startsWith('select')) setSelection(null);
  else if (text !== '' && Number.isFinite(number)) FIELDS[id].set(number);
  showFields();
}

function applyFilter() {
  const wanted = $('filter').value.toLowerCase();
  for (const lane of lanes) lane.section.hidden = !lane.metric.toLowerCase().includes(wanted);
  for (const group of main.querySelectorAll('.group'))
    group.hidden = ![...group.querySelectorAll('.lane')].some(section => !section.hidden);
  changed();
}

const ADDRESS_PAUSE = 250;  // ms: browsers refuse what changes the address more often than that for long
let addressTime = -Infinity, addressTimer = 0, isAddressUsed = false;

function writeFragment() {
  const {view, selection} = state;
  let text = `#view=${view.from},${view.to}`;
  if (selection) text += `&select=${selection.from},${selection.to}`;
  if (view === full && !selection && !isAddressUsed || text === location.hash) return;
  const wait = addressTime + ADDRESS_PAUSE - performance.now();
  clearTimeout(addressTimer);
  if (wait > 0) { addressTimer = setTimeout(writeFragment, wait); return; }
  isAddressUsed = true;
  addressTime = performance.now();
  history.replaceState(null, '', text);
}

function readFragment() {
  const number = '([-+]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][-+]?\\d+)?)';
  const parts = new RegExp(`^#(?:view=${number},${number})?(?:(?:^#|&|(?<=#))select=${number},${number})?$`).exec(location.hash);
  if (!parts) return;
  const [from, to, selectFrom, selectTo] = parts.slice(1).map(text => text === undefined ? NaN : Number(text));
  if (from < to) setView(from, to);
  if (selectFrom <= selectTo && Number.isFinite(selectTo - selectFrom)) setSelection(selectFrom, selectTo);
}

// ---- the reader's hands

const isField = element => element.closest?.('input, textarea, select, [contenteditable]');
const KEYS = {
  w: () => zoom(1 / 1.5, middle()), s: () => zoom(1.5, middle()), a: () => pan(-0.2), d: () => pan(0.2),
  escape: () => setSelection(null), home: () => setView(full.from, full.to),
};

// Where keys zoom: at the cursor if it is in view.
function middle() {
  const {view: {from, to}, cursor} = state;
  return cursor !== null && cursor >= from && cursor <= to ? cursor : (from + to) / 2;
}

// The arrows move the cursor of a lane that has the focus; with Shift they select.
function moveCursor(direction, isSelecting) {
  const {view: {from, to}, cursor, selection} = state;
  const before = cursor ?? (from + to) / 2, time = Math.min(Math.max(before + direction * (to - from) / 100, from), to);
  setCursor(time);
  if (!isSelecting) return;
  const isAtEnd = selection && Math.abs(selection.to - before) <= Math.abs(selection.from - before);
  const other = selection ? (isAtEnd ? selection.from : selection.to) : before;
  setSelection(Math.min(other, time), Math.max(other, time));
}

function onKey(event) {
  if (event.ctrlKey || event.altKey || event.metaKey || isField(event.target)) return;
  const key = event.key.toLowerCase();
  if (KEYS[key]) KEYS[key]();
  else if (event.target.classList?.contains('lane') && (key === 'arrowleft' || key === 'arrowright'))
    moveCursor(key === 'arrowleft' ? -1 : 1, event.shiftKey);
  else return;
  event.preventDefault();
}

function timeAt(canvas, event) {
  const {left, width} = canvas.getBoundingClientRect(), {from, to} = state.view;
  return from + (event.clientX - left) / width * (to - from);
}

function listenToPlot(canvas) {
  let grip = null;
  canvas.addEventListener('wheel', event => {
    event.preventDefault();
    const amount = event.deltaY * [1, 16, 400][event.deltaMode];
    zoom(Math.exp(Math.max(-1, Math.min(1, amount / 400))), timeAt(canvas, event));
  }, {passive: false});
  canvas.addEventListener('pointerdown', event => {
    if (event.button !== 0) return;
    const isSelecting = event.shiftKey || canvas.id === 'axis';
    grip = {x: event.clientX, time: timeAt(canvas, event), view: state.view, isSelecting};
    canvas.setPointerCapture(event.pointerId);
    event.preventDefault();
    canvas.closest('.lane')?.focus({preventScroll: true});
  });
  canvas.addEventListener('pointermove', event => {
    const time = timeAt(canvas, event);
    if (grip?.isSelecting && event.clientX !== grip.x) setSelection(Math.min(grip.time, time), Math.max(grip.time, time));
    else if (grip && event.clientX !== grip.x) {
      const {from, to} = grip.view, shift = (event.clientX - grip.x) / canvas.clientWidth * (to - from);
      setViewInside(from - shift, to - shift);
    }
    setCursor(time);
  });
  const release = () => { grip = null; };
  canvas.addEventListener('pointerup', release);
  canvas.addEventListener('pointercancel', release);
  canvas.addEventListener('dblclick', () => setView(full.from, full.to));
}

function listen() {
  for (const id of Object.keys(FIELDS)) {
    $(id).addEventListener('keydown', event => { if (event.key === 'Enter') enterField(id); });
    $(id).addEventListener('blur', showFields);
  }
  $('filter').addEventListener('input', applyFilter);
  $('filter').addEventListener('keydown', event => { if (event.key === 'Enter') applyFilter(); });
  $('reset').addEventListener('click', () => setView(full.from, full.to));
  $('copy').addEventListener('click', copyTable);
  $('clear').addEventListener('click', () => setSelection(null));
  document.addEventListener('keydown', onKey);
  addEventListener('scroll', changed, {passive: true});
  addEventListener('resize', changed);
  addEventListener('hashchange', readFragment);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
    state.theme = readTheme();
    for (const lane of lanes) lane.drawn = null;
    paintKeys();
    changed();
  });
  listenToPlot($('axis'));
}

buildLanes();
listen();
showFields();
readFragment();
changed();
