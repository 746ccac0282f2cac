// What is shown of a metric, and how it is told apart: rows, colours, names.

const IDLE_STATE = /^(idle|io ?wait|poll|state\d+|c[1-9]\w*)$/i;
const COLOURS = 10;
const MOST_STACKS = 8;       // entities; more are strips
const MOST_LEGEND_ITEMS = 40;

const isIdle = name => IDLE_STATE.test(name.trim());

class Lane {
  constructor(data, block) {
    Object.assign(this, data);
    this.factor ??= 1;
    this.block = block;
    this.series = data.series.map(([entity, state, length]) => new Series(this, entity, state, length));
    this.hidden = new Set();  // numbers of legend items that are switched off
    this.isLines = this.type === 'SAMPLED_VALUE' || this.type === 'SAMPLED_DELTA';
    this.isEvents = !this.isLines && !['SAMPLED_RESIDENCY', 'TRACED_VALUE_TRANSITION'].includes(this.type);
    this.isStack = this.type === 'SAMPLED_RESIDENCY' && this.entities.length <= MOST_STACKS;
    this.isAllIdle = this.states.every(isIdle);
    this.hasIdle = this.states.some(isIdle);
    this.rows = this.entities.map((_, entity) => this.series.filter(series => series.entity === entity));
    // Idle time lies on top of what is done.
    for (const row of this.rows) row.sort((a, b) => this.isQuiet(a.state) - this.isQuiet(b.state));
    this.partsOfEntity = this.rows.map(row => row.length);
  }

  isQuiet(state) { return !this.isAllIdle && isIdle(this.states[state]); }

  get isDecoded() { return this.decoding === 'done'; }

  async decode(ticksPerSecond) {
    this.decoding ??= (async () => {
      const reader = new ColumnReader(await inflate(this.block.textContent));
      this.block.textContent = '';
      let before;
      for (const series of this.series) {
        series.read(reader, before, ticksPerSecond);
        before = series;
      }
      for (const series of this.series) series.columns = null;
      this.decoding = 'done';
    })();
    return this.decoding;
  }

  get rowHeight() {
    const count = this.entities.length;
    if (this.isLines) return 120;
    if (this.isStack) return count === 1 ? 72 : count === 2 ? 52 : count <= 4 ? 40 : 30;
    return count <= 8 ? 22 : count <= 64 ? 14 : count <= 256 ? 6 : Math.max(1, Math.floor(12000 / count));
  }

  get height() { return this.isLines ? this.rowHeight : Math.max(this.rowHeight * this.entities.length, 22); }

  get unitText() {
    if (this.type === 'SAMPLED_VALUE') return this.units;
    if (this.type === 'SAMPLED_DELTA') return this.rateUnit;
    return this.type === 'SAMPLED_RESIDENCY' ? 'share of time' : this.isEvents ? 'events' : 'state';
  }

  get rateUnit() { return this.rateUnits ?? `${this.units || '1'}/s`; }

  // What the legend switches: series of lines, states of everything else.
  get legend() {
    return this.isLines ? this.series.map(series => this.nameOf(series)) : this.states.map(state => state || '(no state)');
  }

  itemOf(series) { return this.isLines ? this.series.indexOf(series) : series.state; }

  // The entity, with the part of it where it has several.
  nameOf(series) {
    const entity = this.entities[series.entity], part = this.states[series.state];
    return part && this.partsOfEntity[series.entity] > 1 ? `${entity} ${part}` : entity;
  }

  colourOf(item, theme) {
    if (!this.isLines && this.isQuiet(item)) {
      const quiet = this.states.filter(isIdle).indexOf(this.states[item]);
      return theme.quiet[Math.min(quiet, theme.quiet.length - 1)];
    }
    const before = this.isLines || this.isAllIdle ? item : item - this.states.slice(0, item).filter(isIdle).length;
    return theme.colours[before % COLOURS];
  }

  // What an entity did in a range of time, in a few words; `isBrief` for a narrow margin.
  summaryOf(row, view) {
    const shares = row.map(series => {
      const from = lowerBound(series.time, view.from), to = lowerBound(series.time, view.to, from);
      const sum = series.sums[to] - series.sums[from], weight = series.weights[to] - series.weights[from];
      return {series, weight, sum, count: series.countIn(from, to)};
    });
    if (this.isEvents) return `${numberText(shares.reduce((all, {count}) => all + count, 0))} events`;
    const isResidency = this.type === 'SAMPLED_RESIDENCY';
    const total = shares.reduce((all, {weight}) => all + weight, 0);
    const shareOf = ({sum, weight}) => isResidency ? sum / this.ticksPerSecond / weight : weight / total;
    const known = shares.filter(({weight}) => weight > 0);
    if (!known.length) return '';
    const sumOf = list => list.reduce((all, share) => all + shareOf(share), 0);
    if (this.hasIdle) {
      const quiet = known.filter(({series}) => isIdle(this.states[series.state]));
      return this.isAllIdle ? `${percentText(sumOf(quiet))} idle`
                            : `${percentText(sumOf(known) - sumOf(quiet))} busy`;
    }
    const most = known.reduce((a, b) => shareOf(b) > shareOf(a) ? b : a);
    return `${percentText(shareOf(most))} ${this.states[most.series.state]}`;
  }

  // The same of a line: mean, maximum and energy.
  summaryOfLine(series, view) {
    const from = lowerBound(series.time, view.from), to = lowerBound(series.time, view.to, from);
    if (from === to) return '';
    const energy = energyFactor(this);
    const parts = [`mean ${numberText(series.meanIn(from, to))}`, `max ${numberText(series.extremes.max(from, to))}`];
    if (energy) {
      const sums = series.energies ?? series.sums;
      parts.push(numberText((sums[to] - sums[from]) * energy, 'J'));
    }
    return parts.join(' · ');
  }

  // What is the case at a time, as text; empty where nothing is known.
  valueAt(series, time) {
    const i = series.indexAt(time);
    if (i < 0) return '';
    if (this.type === 'SAMPLED_RESIDENCY')
      return percentText(series.sum[i] / this.ticksPerSecond / series.duration[i]);
    if (!this.isLines) return this.states[series.state] || 'yes';
    return numberText(series.meanIn(i, i + 1), this.unitText);
  }

  describeAt(time) {
    const texts = [];
    for (const row of this.rows) {
      if (texts.length >= MOST_STACKS) break;
      const values = row.filter(series => !this.hidden.has(this.itemOf(series)))
          .map(series => [series, this.valueAt(series, time)]).filter(([, text]) => text && text !== '0.0 %');
      if (!values.length) continue;
      if (this.type === 'SAMPLED_RESIDENCY')
        texts.push(`${this.entities[row[0].entity]} ${values.map(([s, text]) => `${this.states[s.state]} ${text}`).join(' ')}`);
      else
        for (const [s, text] of values) texts.push(`${this.isLines ? this.nameOf(s) : this.entities[s.entity]} ${text}`);
    }
    return texts.join(', ');
  }
}
