// Times and numbers as texts, and the ticks of axes.
const TIME_UNITS = [[1, 's'], [1e-3, 'ms'], [1e-6, 'µs'], [1e-9, 'ns']];

// Ticks at steps of 1, 2 or 5 times a power of ten, about `count` of them.
function ticksOf(from, to, count) {
  const rough = (to - from) / count, power = 10 ** Math.floor(Math.log10(rough)), ticks = [];
  const step = power * [1, 2, 5, 10].find(factor => factor * power >= rough * 0.9999);
  for (let i = Math.ceil(from / step); i * step <= to && ticks.length < 100; i++) ticks.push(i * step);
  return {step, ticks};
}
const decimalsFor = step => Math.min(Math.max(0, -Math.floor(Math.log10(step) + 1e-9)), 12);

// A number as a reader takes it in, with the unit.
function numberText(number, unit = '') {
  if (!Number.isFinite(number)) return '–';
  const size = Math.abs(number);
  const text = size !== 0 && (size < 1e-4 || size >= 1e12) ? number.toExponential(3)
      : size >= 1e4 ? Math.round(number).toLocaleString('en') : String(Number(number.toPrecision(4)));
  return unit ? `${text} ${unit}` : text;
}
const percentText = share => Number.isFinite(share) ? `${(100 * share).toFixed(1)} %` : '–';

function timeText(seconds) {
  const size = Math.abs(seconds);
  const [unit, name] = TIME_UNITS.find(([unit]) => size >= unit || size === 0) ?? TIME_UNITS[3];
  return `${Number((seconds / unit).toPrecision(4))} ${name}`;
}
// The text of a moment, as fine as the view needs it.
const momentText = (time, view) => `${time.toFixed(decimalsFor((view.to - view.from) / 1000))} s`;
