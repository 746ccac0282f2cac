// Pictures of lanes. A column of pixels shows everything that happened in its part of the view.

// For each column the indices of the leaves that reach into it.
function spansOf(series, view, width, cache) {
  const known = cache.get(series.begin);
  if (known) return known;
  const {time, begin, length} = series;
  const from = new Int32Array(width), to = new Int32Array(width);
  const step = (view.to - view.from) / width;
  let i = lowerBound(time, view.from);
  for (let x = 0; x < width; x++) {
    const end = view.from + (x + 1) * step;
    const j = i === length || time[i] >= end ? i : lowerBound(time, end, i);
    from[x] = i;
    to[x] = j < length && begin[j] < end ? j + 1 : j;
    i = j;
  }
  const spans = {from, to};
  cache.set(series.begin, spans);
  return spans;
}

// The scale of lines: what is in view, from 0 where that is near.
function scaleOf(seriesInView, view) {
  let low = Infinity, high = -Infinity;
  for (const series of seriesInView) {
    const from = lowerBound(series.time, view.from);
    let to = lowerBound(series.time, view.to, from);
    if (to < series.length && series.begin[to] < view.to) to++;
    low = Math.min(low, series.extremes.min(from, to));
    high = Math.max(high, series.extremes.max(from, to));
  }
  if (!(low <= high)) return {low: 0, high: 1};
  if (low > 0 && low < 0.75 * high) low = 0;
  if (high < 0 && high > 0.75 * low) high = 0;
  if (low === high) [low, high] = low === 0 ? [0, 1] : [Math.min(0, 2 * low), Math.max(0, 2 * high)];
  const margin = 0.06 * (high - low);
  return {low: low === 0 ? 0 : low - margin, high: high === 0 ? 0 : high + margin};
}

function drawLine(context, series, spans, toY, colour, pixel) {
  const width = spans.from.length;
  context.fillStyle = context.strokeStyle = colour;
  context.lineWidth = 1.4 * pixel;
  context.globalAlpha = 0.42;
  const means = new Float64Array(width).fill(NaN);
  let lastFrom = -1, lastTo = -1;
  for (let x = 0; x < width; x++) {
    const from = spans.from[x], to = spans.to[x];
    if (from === to) continue;
    if (from === lastFrom && to === lastTo) { means[x] = means[x - 1]; continue; }
    [lastFrom, lastTo] = [from, to];
    means[x] = series.meanIn(from, to);
    if (to - from === 1 && !series.count) continue;
    const top = toY(series.extremes.max(from, to)), bottom = toY(series.extremes.min(from, to));
    if (bottom > top) context.fillRect(x, top, 1, Math.max(bottom - top, pixel));
  }
  context.globalAlpha = 1;
  context.beginPath();
  for (let x = 0, start = -1; x <= width; x++) {
    const isKnown = x < width && means[x] === means[x];
    if (isKnown) {
      const y = toY(means[x]);
      if (start < 0) context.moveTo(x, y); else if (means[x] !== means[x - 1]) context.lineTo(x, toY(means[x - 1]));
      context.lineTo(x + 1, y);
      if (start < 0) start = x;
    } else if (start >= 0) {
      // What stands alone is a dot.
      if (x - start < 3 * pixel) context.fillRect(start - pixel, toY(means[x - 1]) - 1.5 * pixel, 3 * pixel, 3 * pixel);
      start = -1;
    }
  }
  context.stroke();
}

function drawLines(lane, context, view, theme, pixel, cache) {
  const {width, height} = context.canvas;
  const shown = lane.series.filter((_, i) => !lane.hidden.has(i));
  const scale = scaleOf(shown, view);
  const toY = value => height - (value - scale.low) / (scale.high - scale.low) * height;
  const {ticks, step} = ticksOf(scale.low, scale.high, 4);
  context.fillStyle = theme.grid;
  for (const tick of ticks) context.fillRect(0, Math.min(Math.round(toY(tick)), height - pixel), width, pixel);
  for (const series of shown)
    drawLine(context, series, spansOf(series, view, width, cache), toY, lane.colourOf(lane.itemOf(series), theme).text, pixel);
  return {ticks, step, at: tick => toY(tick) / height};
}

// Fills `shares` with what each series of a row has of column x, together at most 1. Returns whether anything
// is known of that column.
function residencyShares(lane, row, spans, x, shares) {
  let isKnown = false, all = 0;
  for (let k = 0; k < row.length; k++) {
    const {sums, weights} = row[k], from = spans[k].from[x], to = spans[k].to[x];
    const weight = weights[to] - weights[from];
    isKnown ||= to > from;
    shares[k] = weight > 0 ? (sums[to] - sums[from]) / lane.ticksPerSecond / weight : 0;
    all += shares[k];
  }
  if (all > 1) for (let k = 0; k < row.length; k++) shares[k] /= all;
  return isKnown;
}

const LEAST_SHARE = 0.3;  // of a state that is left within a column, so that short ones show

function transitionShares(lane, row, spans, x, shares, view, width) {
  const step = (view.to - view.from) / width, start = view.from + x * step;
  let all = 0;
  for (let k = 0; k < row.length; k++) {
    const {weights, begin, time} = row[k], from = spans[k].from[x], to = spans[k].to[x];
    shares[k] = 0;
    if (from === to) continue;
    const covering = time[to - 1] >= start + step;  // the last one goes on after this column
    const last = covering ? to - 1 : to;
    let part = last > from ? Math.min(weights[last] - weights[from], step) - Math.max(0, start - begin[from]) : 0;
    if (covering) part += start + step - Math.max(start, begin[to - 1]);
    shares[k] = Math.max(part / step, last > from ? LEAST_SHARE : 0);
    all += shares[k];
  }
  if (all > 1) for (let k = 0; k < row.length; k++) shares[k] /= all;
  return all > 0;
}

const pack = (r, g, b, a) => (a << 24 | b << 16 | g << 8 | r) >>> 0;

// A mixture of colours by their shares; what is left is `rest`.
function mix(colours, shares, rest) {
  let r = 0, g = 0, b = 0, a = 0, left = 1;
  const add = (colour, share) => {
    r += colour.r * share; g += colour.g * share; b += colour.b * share; a += colour.a * share;
  };
  for (let k = 0; k < colours.length; k++)
    if (shares[k] > 0) { add(colours[k], shares[k]); left -= shares[k]; }
  if (left > 1e-6) {
    if (rest.a === 0 && left < 1) { const scale = 1 / (1 - left); r *= scale; g *= scale; b *= scale; }
    else add(rest, left);
  }
  return pack(r, g, b, a);
}

function fillColumn(pixels, width, x, top, bottom, colour) {
  for (let at = top * width + x, end = bottom * width; at < end; at += width) pixels[at] = colour;
}

function drawRow(lane, row, place, target, view, theme, cache) {
  const {pixels, width, rowHeight, gap} = target;
  const colours = row.map(series => lane.colourOf(series.state, theme));
  const packed = colours.map(({r, g, b, a}) => pack(r, g, b, a)), covered = pack(theme.covered.r, theme.covered.g, theme.covered.b, theme.covered.a);
  const spans = row.map(series => spansOf(series, view, width, cache)), shares = new Float64Array(row.length);
  const top = place * rowHeight, bottom = top + rowHeight - gap;
  const sharesAt = lane.type === 'SAMPLED_RESIDENCY' ? residencyShares : transitionShares;
  for (let x = 0; x < width; x++) {
    if (!sharesAt(lane, row, spans, x, shares, view, width)) continue;
    if (!lane.isStack) {
      const rest = lane.type === 'SAMPLED_RESIDENCY' ? theme.covered : theme.nothing;
      fillColumn(pixels, width, x, top, bottom, mix(colours, shares, rest));
      continue;
    }
    let below = 0;
    for (let k = 0, y = bottom; k <= row.length; k++) {
      below = k < row.length ? below + shares[k] : 1;
      const above = Math.max(bottom - Math.round(below * (bottom - top)), top);
      if (above < y) fillColumn(pixels, width, x, above, y, k < row.length ? packed[k] : covered);
      y = Math.min(y, above);
    }
  }
}

// Events as ticks; the more of them in a column, the taller.
function drawEvents(lane, row, place, target, view, theme, cache) {
  const {pixels, width, rowHeight, gap, pixel} = target;
  const colours = row.map(series => lane.colourOf(series.state, theme));
  const counts = row.map(() => new Float64Array(width));
  const all = new Float64Array(width);
  row.forEach((series, k) => {
    const step = (view.to - view.from) / width;
    for (let x = 0, i = lowerBound(series.time, view.from); x < width; x++) {
      const end = view.from + (x + 1) * step;
      const j = i === series.length || series.time[i] >= end ? i : lowerBound(series.time, end, i);
      all[x] += counts[k][x] = series.countIn(i, j);
      i = j;
    }
  });
  const most = Math.max(all.reduce((a, b) => Math.max(a, b), 0), 1);
  const top = place * rowHeight, full = rowHeight - gap, shares = new Float64Array(row.length);
  for (let x = 0; x < width; x++) {
    if (all[x] === 0) continue;
    for (let k = 0; k < row.length; k++) shares[k] = counts[k][x] / all[x];
    const height = most === 1 ? full : Math.ceil(full * (0.35 + 0.65 * Math.log1p(all[x]) / Math.log1p(most)));
    const colour = mix(colours, shares, theme.nothing);
    for (let dx = 0; dx < pixel + 0.5 && x + dx < width; dx++)
      if (dx === 0 || all[x + dx] === 0) fillColumn(pixels, width, x + dx, top + full - height, top + full, colour);
  }
}

function drawRows(lane, context, view, theme, pixel, cache) {
  const {width, height} = context.canvas;
  const image = context.createImageData(width, height);
  const rowHeight = Math.floor(height / lane.rows.length) || 1;
  const target = {pixels: new Uint32Array(image.data.buffer), width, rowHeight, pixel, gap: rowHeight > 8 ? Math.round(2 * pixel) : rowHeight > 3 ? 1 : 0};
  lane.rows.forEach((row, place) => {
    const shown = row.filter(series => !lane.hidden.has(series.state));
    if (shown.length && (place + 1) * rowHeight <= height)
      (lane.isEvents ? drawEvents : drawRow)(lane, shown, place, target, view, theme, cache);
  });
  context.putImageData(image, 0, 0);
}

function drawAxis(canvas, view, theme, pixel) {
  const context = canvas.getContext('2d'), {width, height} = canvas;
  const {ticks, step} = ticksOf(view.from, view.to, Math.max(2, width / pixel / 110));
  context.clearRect(0, 0, width, height);
  context.font = `${11 * pixel}px system-ui, sans-serif`;
  context.textBaseline = 'middle';
  for (const tick of ticks) {
    const x = (tick - view.from) / (view.to - view.from) * width, text = `${tick.toFixed(decimalsFor(step))} s`;
    const size = context.measureText(text).width;
    context.fillStyle = theme.grid;
    context.fillRect(Math.round(x), 0, pixel, height);
    context.fillStyle = theme.text;
    context.fillText(text, Math.min(Math.max(x + 4 * pixel, 0), width - size), height / 2);
  }
}
