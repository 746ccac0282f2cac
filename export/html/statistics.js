// What the table says of a selection. A sample belongs to it if from <= time < to.

const ENERGY_OF_POWER = {W: 1, mW: 1e-3, uW: 1e-6};
const ENERGY_OF_COUNT = {J: 1, mJ: 1e-3, uJ: 1e-6};

// Adds without losing what a plain sum rounds away.
class Sum {
  total = 0;
  rest = 0;

  add(x) {
    const next = this.total + x;
    this.rest += Math.abs(this.total) >= Math.abs(x) ? this.total - next + x : x - next + this.total;
    this.total = next;
  }

  get value() { return this.total + this.rest; }
}

// The factor from the integral (of values) or the total (of deltas) to joules; undefined if it is no energy.
function energyFactor(lane) {
  if (lane.type === 'SAMPLED_VALUE') return ENERGY_OF_POWER[lane.units];
  if (lane.type !== 'SAMPLED_DELTA') return undefined;
  return ENERGY_OF_COUNT[lane.units] ?? (lane.rateUnits === 'W' ? lane.factor : undefined);
}

function sumsOf(series, from, to) {
  const sums = {sum: new Sum(), duration: new Sum(), weighted: new Sum(), count: 0, skipped: 0, min: Infinity, max: -Infinity};
  const {sum, duration, skipped, count, weighted, isMeasured, least, most, lane} = series;
  const isDelta = lane.type === 'SAMPLED_DELTA';
  for (let i = from; i < to; i++) {
    sums.count += count ? count[i] : 1;
    sums.skipped += skipped[i];
    if (isMeasured?.(i)) {
      sums.min = Math.min(sums.min, least[i]);
      sums.max = Math.max(sums.max, most[i]);
    }
    if (skipped[i] && !count) continue;
    sums.sum.add(sum[i]);
    sums.duration.add(duration[i]);
    sums.weighted.add(weighted ? weighted[i] : isDelta ? (duration[i] > 0 ? sum[i] : 0) : sum[i] * duration[i]);
  }
  return sums;
}

const orNone = number => Number.isFinite(number) ? number : undefined;

// The cells of a series: undefined where a cell does not apply.
function statisticsOf(series, from, to, ticksPerSecond) {
  const {lane} = series, {count, skipped, sum, duration, weighted, min, max} = sumsOf(series, from, to);
  const cells = {count, skipped}, energy = energyFactor(lane);
  switch (lane.type) {
    case 'SAMPLED_VALUE':
      Object.assign(cells, {mean: orNone(sum.value / (count - skipped)), min: orNone(min), max: orNone(max)});
      if (energy) cells.energy = weighted.value * energy;
      break;
    case 'SAMPLED_DELTA':
      Object.assign(cells, {mean: orNone(weighted.value * lane.factor / duration.value), min: orNone(min), max: orNone(max), total: sum.value});
      if (energy) cells.energy = sum.value * energy;
      break;
    case 'SAMPLED_RESIDENCY':
      cells.total = sum.value / ticksPerSecond;
      cells.share = orNone(cells.total / duration.value);
      break;
    case 'TRACED_VALUE_TRANSITION':
      cells.total = duration.value;
      break;
  }
  return cells;
}

// The rows of a lane: each series with elements in the selection.
function rowsOf(lane, selection, ticksPerSecond) {
  const rows = [], totals = new Map();
  for (const series of lane.series) {
    const from = lowerBound(series.time, selection.from), to = lowerBound(series.time, selection.to, from);
    if (from === to) continue;
    const cells = statisticsOf(series, from, to, ticksPerSecond);
    rows.push({series, cells});
    const total = totals.get(series.entity) ?? new Sum();
    totals.set(series.entity, total);
    total.add(cells.total ?? 0);
  }
  if (lane.type === 'TRACED_VALUE_TRANSITION')
    for (const {series, cells} of rows) cells.share = orNone(cells.total / totals.get(series.entity).value);
  return rows;
}

// The bound to which a selection grows so that it cuts no leaf of several samples: a line of the grid.
function grownBound(allLanes, bound, grid, ticksPerSecond, isEnd) {
  for (const lane of allLanes)
    for (const series of lane.series) {
      const i = lowerBound(series.time, bound);
      if (i === series.length || !(series.first[i] < bound) || !series.firstTicks) continue;
      return (Math.floor(series.firstTicks[i] / grid) + (isEnd ? 1 : 0)) * grid / ticksPerSecond;
    }
  return bound;
}
