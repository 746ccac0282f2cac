// The numbers of an entity's state or part. An index is a leaf: a sample, or, if reduced, all of an interval of the grid.

// The first index from `from` on whose number is not below `x`.
function lowerBound(sorted, x, from = 0) {
  let low = from, high = sorted.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (sorted[middle] < x) low = middle + 1; else high = middle;
  }
  return low;
}

function prefixSums(numbers) {
  const sums = new Float64Array(numbers.length + 1);
  for (let i = 0; i < numbers.length; i++) sums[i + 1] = sums[i] + numbers[i];
  return sums;
}

// The greatest numbers of ranges, by levels each of which halves the one below.
class Maxima {
  constructor(numbers) {
    this.levels = [numbers];
    for (let last = numbers; last.length > 1; this.levels.push(last)) {
      const half = new Float64Array((last.length + 1) >> 1);
      for (let i = 0; i < half.length; i++) half[i] = Math.max(last[2 * i], last[2 * i + 1] ?? -Infinity);
      last = half;
    }
  }
  of(from, to) {
    let most = -Infinity;
    for (let level = 0; from < to; level++, from >>= 1, to >>= 1) {
      const numbers = this.levels[level];
      if (from & 1) { if (numbers[from] > most) most = numbers[from]; from++; }
      if (to & 1) { to--; if (numbers[to] > most) most = numbers[to]; }
    }
    return most;
  }
}

class Series {
  constructor(lane, [entity, state, length]) {
    Object.assign(this, {lane, entity, state, length, prefixes: {}});
  }
  // Reads the columns, which follow those of the series before.
  read(reader, before) {
    const {lane, length} = this, {ticksPerSecond, type} = lane, columns = this.columns = [];
    const isReduced = reader.byte() === 1;
    const next = () => columns.push(reader.column(length, columns, before?.columns[columns.length]));
    next();
    this.isBeyondStep = reader.byte();
    while (columns.length < (isReduced ? 9 : 4)) next();

    const [ticks, lengths, sum, skipped, span, count, weighted, least, most] = columns;
    const isValue = type === 'SAMPLED_VALUE', step = i => i ? ticks[i] - ticks[i - 1] : 0;
    Object.assign(this, {sum, skipped, isReduced, count: count ?? new Float64Array(length).fill(1)});
    if (before && before.columns[0] === ticks && before.columns[1] === lengths && !isReduced &&
        before.isBeyondStep === this.isBeyondStep && before.columns[3] === skipped) {
      Object.assign(this, {time: before.time, first: before.first, begin: before.begin, duration: before.duration});
    } else {
      this.time = ticks.map(tick => tick / ticksPerSecond);
      this.firstTicks = isReduced ? ticks.map((tick, i) => tick - span[i]) : ticks;
      this.first = isReduced ? this.firstTicks.map(tick => tick / ticksPerSecond) : this.time;
      // A value without a duration holds since the sample before. What is skipped takes part in no sum.
      const duration = lengths.map((length, i) => {
        const ticksLong = length + (this.isBeyondStep ? step(i) : 0);
        return (ticksLong || !isValue || isReduced ? ticksLong : Math.max(step(i), 0)) / ticksPerSecond;
      });
      this.begin = this.first.map((first, i) => first - duration[i] / this.count[i]);
      this.duration = isReduced ? duration : duration.map((length, i) => skipped[i] ? 0 : length);
    }
    if (!lane.isLines) return;
    this.measure(isReduced, weighted, least ?? sum, most ?? sum);
  }
  // What only values and deltas have: sums by time, and extremes, which leave out what has none.
  measure(isReduced, weighted, least, most) {
    const {lane, sum, duration, count, skipped} = this, isValue = lane.type === 'SAMPLED_VALUE';
    const has = i => isValue ? count[i] > skipped[i] : duration[i] > 0;
    const measured = isReduced || isValue ? x => x : (x, i) => x * lane.factor / duration[i];
    this.least = least.map((x, i) => has(i) ? measured(x, i) : Infinity);
    this.most = most.map((x, i) => has(i) ? measured(x, i) : -Infinity);
    if (isReduced) this.weighted = isValue ? weighted.map(x => x / lane.ticksPerSecond) : weighted;
    else this.weighted = sum.map((x, i) => isValue ? x * duration[i] : has(i) ? x : 0);
    this.usable = isValue ? count.map((all, i) => all - skipped[i]) : duration;
  }
  // The sum of a column over a range, for pictures: statistics add up exactly.
  over(column, from, to) {
    const sums = this.prefixes[column] ??= prefixSums(this[column]);
    return sums[to] - sums[from];
  }
  max(from, to) { return (this.maxima ??= new Maxima(this.most)).of(from, to); }
  min(from, to) { return -(this.minima ??= new Maxima(this.least.map(x => -x))).of(from, to); }
  // The mean value, or rate, of a range; not-a-number if there is none.
  mean(from, to) {
    const {type, factor} = this.lane, weight = this.over('usable', from, to);
    if (!(weight > 0)) return NaN;
    return (type === 'SAMPLED_DELTA' ? factor * this.over('weighted', from, to) : this.over('sum', from, to)) / weight;
  }
  // The range of what has its time stamp in a view.
  rangeIn({from, to}) {
    const start = lowerBound(this.time, from);
    return [start, lowerBound(this.time, to, start)];
  }
  // The index of what holds at a time, -1 for nothing.
  indexAt(time) {
    const i = lowerBound(this.time, time);
    return i < this.length && this.begin[i] <= time ? i : -1;
  }
}
