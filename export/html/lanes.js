// What is shown of a metric, and how it is told apart: rows, colours, names.
const IDLE_STATE = /^(idle|io ?wait|poll|state\d+|c[1-9]\w*)$/i;
const COLOURS = 10, MOST_STACKS = 8, MOST_TEXTS = 40;  // entities with stacks: more have strips
const isIdle = name => IDLE_STATE.test(name.trim());

class Lane {
  constructor(data, ticksPerSecond, block) {
    Object.assign(this, {factor: 1, ticksPerSecond, block, hidden: new Set()}, data);
    this.isLines = this.type === 'SAMPLED_VALUE' || this.type === 'SAMPLED_DELTA';
    this.isResidency = this.type === 'SAMPLED_RESIDENCY';
    this.isEvents = !this.isLines && !this.isResidency && this.type !== 'TRACED_VALUE_TRANSITION';
    this.isStack = this.isResidency && this.entities.length <= MOST_STACKS;
    this.series = data.series.map(numbers => new Series(this, numbers));
    this.isAllIdle = this.states.every(isIdle);
    this.rows = this.entities.map(() => []);
    for (const series of this.series) this.rows[series.entity].push(series);
    // Idle time lies on top of what is done.
    for (const row of this.rows) row.sort((a, b) => this.isQuiet(a.state) - this.isQuiet(b.state));
    // What the legend switches: lines, or the states of everything else.
    this.legend = this.isLines ? this.series.map(series => this.nameOf(series))
                               : this.states.map(state => state || '(no state)');
    this.rateUnit = this.rateUnits ?? `${this.units || '1'}/s`;
    this.unitText = this.type === 'SAMPLED_VALUE' ? this.units : this.isLines ? this.rateUnit
        : this.isResidency ? 'share of time' : this.isEvents ? 'events' : 'state';
    const count = this.entities.length;
    this.rowHeight = this.isLines ? 120 : this.isStack ? [72, 52, 40, 40, 30][Math.min(count, 5) - 1]
        : count <= 8 ? 22 : count <= 64 ? 14 : count <= 256 ? 6 : Math.max(1, Math.floor(12000 / count));
    this.height = this.isLines ? this.rowHeight : Math.max(this.rowHeight * count, 22);
  }
  isQuiet(state) { return !this.isAllIdle && isIdle(this.states[state]); }
  itemOf(series) { return this.isLines ? this.series.indexOf(series) : series.state; }
  isShown(series) { return !this.hidden.size || !this.hidden.has(this.itemOf(series)); }
  decode() {
    return this.decoding ??= (async () => {
      const reader = new ColumnReader(await inflate(this.block.textContent));
      this.block.remove();
      this.series.forEach((series, i) => series.read(reader, this.series[i - 1]));
      for (const series of this.series) series.columns = null;
      this.isDecoded = true;
    })();
  }
  // The entity, with the part of it where it has several.
  nameOf(series) {
    const entity = this.entities[series.entity], part = this.states[series.state];
    return part && this.rows[series.entity].length > 1 ? `${entity} ${part}` : entity;
  }
  colourOf(item, theme) {
    const quiet = this.isLines || this.isAllIdle ? 0 : this.states.slice(0, item).filter(isIdle).length;
    if (!this.isLines && this.isQuiet(item)) return theme.quiet[Math.min(quiet, theme.quiet.length - 1)];
    return theme.colours[(item - quiet) % COLOURS];
  }
  // What an entity did in the view, in a few words.
  summaryOfRow(row, view) {
    const ranges = row.map(series => [series, ...series.rangeIn(view)]);
    const all = column => ranges.reduce((sum, [series, ...range]) => sum + series.over(column, ...range), 0);
    if (this.isEvents) return `${numberText(all('count'))} events`;
    const total = all('duration'), shares = ranges.map(([series, ...range]) => {
      const long = series.over('duration', ...range), state = this.states[series.state];
      const time = this.isResidency ? series.over('sum', ...range) / this.ticksPerSecond : long;
      return {state, time, share: time / (this.isResidency ? long : total)};
    }).filter(({share}) => Number.isFinite(share));
    if (!shares.length) return '';
    const busy = shares.filter(({state}) => !isIdle(state)), add = name => busy.reduce((sum, part) => sum + part[name], 0);
    if (!this.isAllIdle && this.states.some(isIdle)) return `${percentText(add('share'))} busy, ${timeText(add('time'))}`;
    const most = shares.reduce((a, b) => b.share > a.share ? b : a);
    return `${percentText(most.share)} ${most.state}`;
  }
  // The same of a line: mean, maximum and energy.
  summaryOfLine(series, view) {
    const range = series.rangeIn(view), energy = energyFactor(this);
    if (range[0] === range[1]) return '';
    const joules = series.over(this.type === 'SAMPLED_VALUE' ? 'weighted' : 'sum', ...range) * energy;
    return `mean ${numberText(series.mean(...range))}, max ${numberText(series.max(...range))}` +
        (energy ? `, ${numberText(joules, 'J')}` : '');
  }
  valueAt(series, time) {
    const i = series.indexAt(time);
    if (i < 0) return '';
    if (this.isLines) return numberText(series.mean(i, i + 1), this.unitText);
    const share = this.isResidency ? series.sum[i] / this.ticksPerSecond / series.duration[i] : 1;
    return share > 0 ? `${this.states[series.state]}${this.isResidency ? ` ${percentText(share)}` : ''}` : '';
  }
  // What is the case at a time, of all entities.
  describeAt(time) {
    const texts = [];
    for (const row of this.rows.slice(0, MOST_TEXTS)) {
      const values = row.filter(series => this.isShown(series)).map(series => [series, this.valueAt(series, time)])
          .filter(([, text]) => text);
      if (this.isLines) for (const [series, text] of values) texts.push(`${this.nameOf(series)} ${text}`);
      else if (values.length) texts.push(`${this.entities[row[0].entity]} ${values.map(([, text]) => text).join(' ')}`);
    }
    return texts.join(', ');
  }
}
