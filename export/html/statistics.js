// What the table says of a selection. A sample belongs to it if from <= time < to.
const ENERGY_OF_POWER = {W: 1, mW: 1e-3, uW: 1e-6}, ENERGY_OF_COUNT = {J: 1, mJ: 1e-3, uJ: 1e-6};

// The factor from the integral (of values) or the total (of deltas) to joules; undefined if it is no energy.
function energyFactor({type, units, rateUnits, factor}) {
  if (type === 'SAMPLED_VALUE') return ENERGY_OF_POWER[units];
  return type !== 'SAMPLED_DELTA' ? undefined : ENERGY_OF_COUNT[units] ?? (rateUnits === 'W' ? factor : undefined);
}

// Adds up without losing what a plain sum rounds away.
function sumOf(numbers, from, to) {
  let total = 0, rest = 0;
  for (let i = from; i < to; i++) {
    const x = numbers[i], next = total + x;
    rest += Math.abs(total) >= Math.abs(x) ? total - next + x : x - next + total;
    total = next;
  }
  return total + rest;
}

// The cells of a series; those that do not apply are no finite numbers.
function cellsOf(series, from, to) {
  const {lane} = series, add = column => sumOf(series[column], from, to), energy = energyFactor(lane);
  const cells = {count: add('count'), skipped: add('skipped')};
  if (lane.isLines) {
    cells.min = series.least.subarray(from, to).reduce((a, b) => Math.min(a, b), Infinity);
    cells.max = series.most.subarray(from, to).reduce((a, b) => Math.max(a, b), -Infinity);
  }
  if (lane.type === 'SAMPLED_VALUE') {
    cells.mean = add('sum') / (cells.count - cells.skipped);
    cells.energy = add('weighted') * energy;
  } else if (lane.type === 'SAMPLED_DELTA') {
    cells.mean = add('weighted') * lane.factor / add('duration');
    cells.total = add('sum');
    cells.energy = cells.total * energy;
  } else if (lane.type === 'SAMPLED_RESIDENCY') {
    cells.total = add('sum') / lane.ticksPerSecond;
    cells.share = cells.total / add('duration');
  } else if (lane.type === 'TRACED_VALUE_TRANSITION') {
    cells.total = add('duration');
  }
  return cells;
}

// The rows of a lane: each series with elements in the selection.
function rowsOf(lane, selection) {
  const rows = [];
  for (const series of lane.series) {
    const [from, to] = series.rangeIn(selection);
    if (from < to) rows.push({series, cells: cellsOf(series, from, to)});
  }
  if (lane.type !== 'TRACED_VALUE_TRANSITION') return rows;
  const totals = new Map();
  for (const {series, cells} of rows) totals.set(series.entity, [...totals.get(series.entity) ?? [], cells.total]);
  for (const {series, cells} of rows) {
    const ofEntity = totals.get(series.entity);
    cells.share = cells.total / sumOf(ofEntity, 0, ofEntity.length);
  }
  return rows;
}

// Where a bound cuts a leaf of several samples, the selection grows to the line of the grid outside of it.
function grownSelection(lanes, {from, to}, grid) {
  const grow = (bound, isEnd) => {
    for (const {lane, time, first, firstTicks, length} of lanes.flatMap(lane => lane.series)) {
      const i = lowerBound(time, bound);
      if (i < length && first[i] < bound) return (Math.floor(firstTicks[i] / grid) + isEnd) * grid / lane.ticksPerSecond;
    }
    return bound;
  };
  return {from: grow(from, 0), to: grow(to, 1)};
}
