// The numbers of one entity and state, or part, of a metric, with what makes looking at ranges of them fast.
// An index stands for a leaf: one sample, or, in a reduced page, all of an interval of the grid.

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

// Least and greatest numbers of ranges, by levels each of which halves the one below.
class Extremes {
  constructor(least, most) {
    this.least = [least];
    this.most = [most];
    while (this.least.at(-1).length > 1) {
      this.least.push(Extremes.halve(this.least.at(-1), Math.min));
      this.most.push(Extremes.halve(this.most.at(-1), Math.max));
    }
  }

  static halve(numbers, choose) {
    const out = new Float64Array((numbers.length + 1) >> 1);
    for (let i = 0; i < out.length; i++) {
      const a = numbers[2 * i], b = 2 * i + 1 < numbers.length ? numbers[2 * i + 1] : a;
      out[i] = choose(a, b);
    }
    return out;
  }

  static query(levels, choose, from, to, start) {
    let result = start;
    for (let level = 0; from < to; level++, from >>= 1, to >>= 1) {
      if (from & 1) result = choose(result, levels[level][from++]);
      if (to & 1) result = choose(result, levels[level][--to]);
    }
    return result;
  }

  min(from, to) { return Extremes.query(this.least, Math.min, from, to, Infinity); }
  max(from, to) { return Extremes.query(this.most, Math.max, from, to, -Infinity); }
}

class Series {
  constructor(lane, entity, state, length) {
    Object.assign(this, {lane, entity, state, length});
  }

  // Reads the columns, `before` being the series before in the block.
  read(reader, before, ticksPerSecond) {
    const columns = this.columns = [], n = this.length;
    const isReduced = reader.byte() === 1;
    const next = () => columns.push(reader.column(n, columns, before?.columns[columns.length]));
    next();
    const isBeyondStep = reader.byte() === 1;
    next();
    while (columns.length < (isReduced ? 9 : 4)) next();

    const ticks = columns[0];
    const isShared = before && before.columns[0] === ticks && before.columns[1] === columns[1] &&
        before.isBeyondStep === isBeyondStep && !isReduced;
    this.isBeyondStep = isBeyondStep;
    this.ticks = ticks;
    this.time = isShared ? before.time : ticks.map(tick => tick / ticksPerSecond);
    this.duration = isShared ? before.duration : columns[1].map(
        (ticksLong, i) => (ticksLong + (isBeyondStep && i ? ticks[i] - ticks[i - 1] : 0)) / ticksPerSecond);
    this.sum = columns[2];
    this.skipped = columns[3];
    if (isReduced) this.readLeaves(ticksPerSecond);
    else this.readSamples(isShared ? before : null, ticksPerSecond);
    this.prepare();
  }

  readLeaves(ticksPerSecond) {
    const [ticks, , , , span, count, weighted, least, most] = this.columns;
    this.firstTicks = ticks.map((tick, i) => tick - span[i]);
    this.first = this.firstTicks.map(tick => tick / ticksPerSecond);
    this.count = count;
    this.weighted = this.lane.type === 'SAMPLED_VALUE' ? weighted.map(x => x / ticksPerSecond) : weighted;
    this.least = least;
    this.most = most;
    this.begin = this.first.map((first, i) => first - this.duration[i] / count[i]);
  }

  readSamples(shared, ticksPerSecond) {
    const {ticks, time, duration, sum} = this, {type, factor} = this.lane;
    this.first = time;
    this.count = null;  // one each
    this.weighted = null;
    this.least = this.most = sum;
    this.begin = shared ? shared.begin : time.map((t, i) => t - duration[i]);
    if (type === 'SAMPLED_DELTA') this.least = this.most = sum.map((x, i) => x * factor / duration[i]);
    if (type !== 'SAMPLED_VALUE' || !duration.includes(0)) return;
    // A value without a duration holds since the sample before.
    this.duration = duration.map(
        (length, i) => length || (i ? (ticks[i] - ticks[i - 1]) / ticksPerSecond : 0));
    this.begin = time.map((t, i) => duration[i] ? t - duration[i] : i ? time[i - 1] : t);
  }

  // What plots ask for: sums from the start, and extremes of what can be measured.
  prepare() {
    const {lane, length: n, sum, skipped, duration} = this;
    const isDelta = lane.type === 'SAMPLED_DELTA';
    if (isDelta || lane.type === 'SAMPLED_VALUE') {
      const isMeasured = i => isDelta ? duration[i] > 0 && !(skipped[i] && !this.count) : (this.count?.[i] ?? 1) > skipped[i];
      const only = (numbers, other) => {
        let out = numbers;
        for (let i = 0; i < n; i++)
          if (!isMeasured(i)) (out === numbers ? out = numbers.slice() : out)[i] = other;
        return out;
      };
      this.extremes = new Extremes(only(this.least, Infinity), only(this.most, -Infinity));
      this.isMeasured = isMeasured;
    }
    const usable = isDelta && !this.weighted ? sum.map((x, i) => duration[i] > 0 ? x : 0) : this.weighted;
    this.sums = prefixSums(isDelta ? usable : sum);
    this.weights = lane.type === 'SAMPLED_VALUE'
        ? prefixSums(this.count ? this.count.map((c, i) => c - skipped[i]) : skipped.map(s => 1 - s))
        : prefixSums(this.count || !skipped.includes(1) ? duration : duration.map((d, i) => skipped[i] ? 0 : d));
    this.counts = this.count ? prefixSums(this.count) : null;
    if (lane.type === 'SAMPLED_VALUE')
      this.energies = prefixSums(this.weighted ?? sum.map((x, i) => x * duration[i]));
  }

  countIn(from, to) { return this.counts ? this.counts[to] - this.counts[from] : to - from; }

  // The mean value, or rate, of a range; not-a-number if there is none.
  meanIn(from, to) {
    const sum = this.sums[to] - this.sums[from], weight = this.weights[to] - this.weights[from];
    return weight > 0 ? sum * (this.lane.type === 'SAMPLED_DELTA' ? this.lane.factor : 1) / weight : NaN;
  }

  // The index of what holds at a time, -1 for nothing.
  indexAt(time) {
    const i = lowerBound(this.time, time);
    return i < this.length && this.begin[i] <= time ? i : -1;
  }
}
