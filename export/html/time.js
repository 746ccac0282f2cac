// Times and numbers as texts, and the ticks of axes.

const UNITS = [[1, 's'], [1e-3, 'ms'], [1e-6, 'µs'], [1e-9, 'ns']];

// Steps of 1, 2 or 5 times a power of ten, about `count` of them over a length.
function niceStep(length, count) {
  const rough = length / count, power = 10 ** Math.floor(Math.log10(rough));
  return power * [1, 2, 5, 10].find(factor => factor * power >= rough * 0.9999);
}

function ticksOf(from, to, count) {
  const step = niceStep(to - from, count), ticks = [];
  for (let i = Math.ceil(from / step); i * step <= to && ticks.length < 100; i++) ticks.push(i * step);
  return {step, ticks};
}

function decimalsFor(step) { return Math.min(Math.max(0, -Math.floor(Math.log10(step) + 1e-9)), 12); }

// A number as a reader takes it in, with the unit.
function numberText(number, unit = '') {
  if (!Number.isFinite(number)) return '–';
  const size = Math.abs(number);
  let text;
  if (size !== 0 && (size < 1e-4 || size >= 1e15)) text = number.toExponential(3);
  else if (size >= 1e4) text = Math.round(number).toLocaleString('en');
  else text = String(Number(number.toPrecision(4)));
  return unit ? `${text} ${unit}` : text;
}

function percentText(share) { return Number.isFinite(share) ? `${(100 * share).toFixed(1)} %` : '–'; }

function timeText(seconds) {
  const size = Math.abs(seconds);
  const [unit, name] = size === 0 ? UNITS[0] : UNITS.find(([unit]) => size >= unit) ?? UNITS[3];
  return `${Number((seconds / unit).toPrecision(5))} ${name}`;
}

// The text of a moment, as fine as the view needs it.
function momentText(time, view) {
  return `${time.toFixed(decimalsFor((view.to - view.from) / 1000))} s`;
}
