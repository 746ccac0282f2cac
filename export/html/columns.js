// From the text of a block to columns of numbers: what the writer's encodeColumn has made.
const POWERS = Array.from({length: 23}, (_, i) => Number('1e' + i));

async function inflate(base64) {
  const bytes = Uint8Array.fromBase64?.(base64) ?? Uint8Array.from(atob(base64), character => character.charCodeAt(0));
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

class ColumnReader {
  constructor(bytes) {
    this.bytes = bytes;
    this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
    this.at = 0;
  }
  byte() { return this.bytes[this.at++]; }
  double() { return this.view.getFloat64((this.at += 8) - 8, true); }
  // A column of `count` numbers. `columns` are those of this series so far, `same` is the one of this place in
  // the series before. Columns that are the same are one array.
  column(count, columns, same) {
    switch (this.byte()) {
      case 0: return new Float64Array(count).fill(this.double());
      case 1: return same;
      case 2: return columns[this.byte()];
      case 3: return this.integers(count, POWERS[this.byte()]);
      case 4: return this.decimals(count);
      default: return this.doubles(count);
    }
  }
  // Integers over `power`, of 0 to 8 bytes, lowest bit for the sign.
  integers(count, power) {
    const order = this.byte(), width = this.byte(), base = this.double();
    const out = new Float64Array(count);
    const {bytes, at} = this;
    for (let plane = 0, unit = 1; plane < width; plane++, unit *= 256)
      for (let i = 0, from = at + plane * count; i < count; i++) out[i] += bytes[from + i] * unit;
    this.at += width * count;
    for (let i = 0, last = base, before = base; i < count; i++) {
      const rest = out[i] % 2 ? -(out[i] + 1) / 2 : out[i] / 2;
      const number = rest + (order === 0 || i === 0 ? base : order === 1 || i === 1 ? last : 2 * last - before);
      before = last;
      last = number;
      out[i] = number / power;
    }
    return out;
  }
  decimals(count) {
    const out = this.integers(count, 1);
    for (let i = 0; i < count; i++) out[i] /= POWERS[this.bytes[this.at + i]];
    this.at += count;
    return out;
  }
  doubles(count) {
    const out = new Float64Array(count);
    const target = new Uint8Array(out.buffer);
    for (let plane = 0; plane < 8; plane++, this.at += count)
      for (let i = 0; i < count; i++) target[8 * i + plane] = this.bytes[this.at + i];
    return out;
  }
}
