// Pictures of lanes, pixel by pixel: a column shows everything that happened in its part of the view.
const LEAST_SHARE = 0.3;  // of a state that is left within a column, so that short ones show
const BAND = 110;         // opacity between least and most, of 255

const pack = ({r, g, b}, a = 255) => (a << 24 | b << 16 | g << 8 | r) >>> 0;

class Picture {
  constructor(canvas, view, theme, pixel) {
    const {width, height} = canvas, context = canvas.getContext('2d');
    Object.assign(this, {view, theme, pixel, width, height, context, spans: new Map()});
    this.step = (view.to - view.from) / width;  // seconds of a column
    // Pictures are painted one after the other.
    const reused = Picture.last?.width === width && Picture.last?.height === height;
    this.image = Picture.last = reused ? Picture.last : context.createImageData(width, height);
    this.pixels = new Uint32Array(this.image.data.buffer).fill(0);
  }
  show() { this.context.putImageData(this.image, 0, 0); }
  // Puts a colour into a part of a column.
  fill(x, top, bottom, colour) {
    for (let at = top * this.width + x, end = bottom * this.width; at < end; at += this.width) this.pixels[at] = colour;
  }
  // The same, see-through, half and half with what is there.
  shade(x, top, bottom, colour) {
    const {pixels, width} = this, half = (pack(colour, BAND) & 0xfefefefe) >>> 1;
    for (let at = top * width + x, end = bottom * width; at < end; at += width)
      pixels[at] = pixels[at] === 0 ? 2 * half : ((pixels[at] & 0xfefefefe) >>> 1) + half;
  }
  // For each column the indices of what reaches into it, and of what has its time stamp in it.
  spansOf(series) {
    const known = this.spans.get(series.begin);
    if (known) return known;
    const {time, begin, length} = series, {width, view, step} = this;
    const from = new Int32Array(width), to = new Int32Array(width), last = new Int32Array(width);
    for (let x = 0, i = lowerBound(time, view.from); x < width; x++) {
      const end = view.from + (x + 1) * step;
      from[x] = i;
      if (i < length && time[i] < end) i = lowerBound(time, end, i);
      last[x] = i;
      to[x] = i < length && begin[i] < end ? i + 1 : i;
    }
    this.spans.set(series.begin, {from, to, last});
    return this.spans.get(series.begin);
  }
}

// The scale of lines: what is in view, from 0 where that is near.
function scaleOf(shown, view) {
  let low = Infinity, high = -Infinity;
  for (const series of shown) {
    let [from, to] = series.rangeIn(view);
    if (to < series.length && series.begin[to] < view.to) to++;
    low = Math.min(low, series.min(from, to));
    high = Math.max(high, series.max(from, to));
  }
  if (!(low <= high)) return {low: 0, high: 1};
  if (low > 0 && low < 0.75 * high) low = 0;
  if (high < 0 && high > 0.75 * low) high = 0;
  if (low === high) [low, high] = low === 0 ? [0, 1] : [Math.min(0, 2 * low), Math.max(0, 2 * high)];
  const margin = 0.06 * (high - low);
  return {low: low === 0 ? 0 : low - margin, high: high === 0 ? 0 : high + margin};
}

// A band from minimum to maximum first, so that no line is hidden by the band of another; then the mean.
function drawLines(lane, picture) {
  const {width, height, pixel, theme} = picture, thick = Math.max(1, Math.round(1.6 * pixel));
  const shown = lane.series.filter(series => lane.isShown(series)), scale = scaleOf(shown, picture.view);
  const toY = value => Math.round((height - thick) * (1 - (value - scale.low) / (scale.high - scale.low)));
  const {ticks, step} = ticksOf(scale.low, scale.high, 4), spans = shown.map(series => picture.spansOf(series));
  picture.pixels.fill(pack(theme.back));
  for (const y of ticks.map(toY)) picture.pixels.fill(pack(theme.grid), y * width, (y + 1) * width);
  for (let x = 0; x < width; x++)  // gaps are see-through
    if (spans.every(({from, to}) => from[x] === to[x])) picture.fill(x, 0, height, 0);
  const means = shown.map((series, k) => {
    const {from, to} = spans[k], colour = lane.colourOf(lane.itemOf(series), theme);
    const ys = new Int32Array(width).fill(-1);
    for (let x = 0; x < width; x++) {
      if (from[x] === to[x]) continue;
      const mean = series.mean(from[x], to[x]), high = series.max(from[x], to[x]);
      if (mean === mean) ys[x] = toY(mean);
      if (high > -Infinity && (to[x] - from[x] > 1 || series.isReduced))
        picture.shade(x, toY(high), toY(series.min(from[x], to[x])) + thick, colour);
    }
    return [ys, pack(colour)];
  });
  for (const [ys, colour] of means)
    for (let x = 0; x < width; x++) {
      if (ys[x] < 0) continue;
      const before = x > 0 && ys[x - 1] >= 0 ? ys[x - 1] : ys[x];
      picture.fill(x, Math.min(before, ys[x]), Math.max(before, ys[x]) + thick, colour);
      // What stands alone is a dot.
      const isAlone = !(ys[x - 1] >= 0 || ys[x + 1] >= 0), end = Math.min(x + pixel + 1, width);
      for (let at = Math.max(x - pixel, 0); isAlone && at < end; at++) picture.fill(at, ys[x], ys[x] + 2 * pixel, colour);
    }
  return {ticks, step, at: tick => toY(tick) / height};
}

// How much of column x a series of states has, as a share. Events are counted, in columns two pixels wide.
function shareAt(lane, series, {from, to, last}, x, {view, step}) {
  if (lane.isEvents) return series.over('count', from[Math.max(x - 1, 0)], last[x]);
  if (from[x] === to[x]) return 0;
  if (lane.isResidency) {
    const time = series.over('duration', from[x], to[x]);
    return time > 0 ? series.over('sum', from[x], to[x]) / lane.ticksPerSecond / time : 0;
  }
  const start = view.from + x * step, isLeft = last[x] > from[x], {begin} = series;
  let time = isLeft ? series.over('duration', from[x], last[x]) - Math.max(0, start - begin[from[x]]) : 0;
  if (to[x] > last[x]) time += start + step - Math.max(start, begin[last[x]]);
  return Math.max(time / step, isLeft ? LEAST_SHARE : 0);
}

// A mixture of colours by their shares; what is left is `rest`, or see-through.
function mixture(colours, shares, rest) {
  let r = 0, g = 0, b = 0, all = 0;
  const add = (colour, share) => { r += colour.r * share; g += colour.g * share; b += colour.b * share; all += share; };
  colours.forEach((colour, k) => add(colour, shares[k]));
  if (rest) add(rest, Math.max(1 - all, 0));
  return all > 0 ? pack({r: r / all, g: g / all, b: b / all}, Math.round(255 * Math.min(all, 1))) : 0;
}

function drawStack(picture, x, top, bottom, colours, shares) {
  picture.fill(x, top, bottom, pack(picture.theme.covered));
  for (let k = 0, below = 0, y = bottom; k < shares.length; k++) {
    below += shares[k];
    const above = Math.max(bottom - Math.round(below * (bottom - top)), top);
    picture.fill(x, above, y, pack(colours[k]));
    y = above;
  }
}

function drawRow(lane, row, top, bottom, picture) {
  const colours = row.map(series => lane.colourOf(series.state, picture.theme));
  const spans = row.map(series => picture.spansOf(series)), shares = new Float64Array(row.length);
  for (let x = 0; x < picture.width; x++) {
    let all = 0;
    for (let k = 0; k < shares.length; k++) all += shares[k] = shareAt(lane, row[k], spans[k], x, picture);
    if (!all && !(lane.isResidency && spans.some(({from, to}) => from[x] < to[x]))) continue;
    if (all > 1) for (let k = 0; k < shares.length; k++) shares[k] /= all;
    const height = lane.isEvents ? Math.min(0.4 + 0.1 * Math.log2(all), 1) : 1;  // many events are tall
    const above = bottom - Math.ceil(height * (bottom - top));
    if (lane.isStack) drawStack(picture, x, top, bottom, colours, shares);
    else picture.fill(x, above, bottom, mixture(colours, shares, lane.isResidency && picture.theme.covered));
  }
}

function drawRows(lane, picture) {
  const {width, height, pixel, theme} = picture, rowHeight = Math.max(Math.floor(height / lane.rows.length), 1);
  const gap = rowHeight > 8 ? Math.round(2 * pixel) : rowHeight > 3 ? 1 : 0;
  lane.rows.forEach((row, place) => {
    const shown = row.filter(series => lane.isShown(series)), top = place * rowHeight, bottom = top + rowHeight - gap;
    if (shown.length && bottom + gap <= height) drawRow(lane, shown, top, bottom, picture);
    picture.pixels.fill(pack(theme.back), bottom * width, (bottom + gap) * width);
  });
}

function drawAxis(canvas, view, theme, pixel) {
  const context = canvas.getContext('2d'), {width, height} = canvas;
  const {ticks, step} = ticksOf(view.from, view.to, Math.max(2, width / pixel / 110));
  context.clearRect(0, 0, width, height);
  Object.assign(context, {font: `${11 * pixel}px system-ui, sans-serif`, textBaseline: 'middle'});
  for (const tick of ticks) {
    const x = (tick - view.from) / (view.to - view.from) * width, text = `${tick.toFixed(decimalsFor(step))} s`;
    context.fillStyle = theme.muted.text;
    context.fillRect(Math.min(Math.round(x), width - pixel), 0, pixel, height);
    context.fillText(text, Math.min(x + 4 * pixel, width - context.measureText(text).width - 4 * pixel), height / 2);
  }
}
