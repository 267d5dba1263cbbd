// SPDX-License-Identifier: Apache-2.0
//
// What the page was given: its description, and the long columns of numbers, unpacked into typed arrays with pyramids over them, so that any
// stretch is summed up in a few steps however much lies in it.

const page = JSON.parse(document.getElementById("page").textContent);

/** The bytes of base64 text. */
function bytesOf(text) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

/** Takes the text of the element `id` out of the document; null where there is none. */
function takeText(id) {
  const element = document.getElementById(id);
  if (!element) return null;
  const text = element.textContent;
  element.remove();
  return text;
}

/** The array that lies packed in the element `id`. */
async function unpack(id, Type) {
  const stream = new Blob([bytesOf(takeText(id))]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Type(await new Response(stream).arrayBuffer());
}

/** Least, greatest and mean value of any stretch of a column. `low(i)` and `high(i)` give value i. */
class Pyramid {
  static STEP = 4;

  constructor(length, low, high) {
    this.length = length;
    this.base = { low, high, mean: (i) => (low(i) + high(i)) / 2 };
    this.levels = [];
    let below = this.base;
    for (let size = Math.ceil(length / Pyramid.STEP); size >= 1; size = Math.ceil(size / Pyramid.STEP)) {
      const level = { low: new Float32Array(size), high: new Float32Array(size), mean: new Float32Array(size) };
      const belowSize = this.levels.length ? this.levels[this.levels.length - 1].low.length : length;
      const at = this.levels.length ? (array, i) => array[i] : (value, i) => value(i);
      for (let i = 0; i < size; ++i) {
        let low = Infinity, high = -Infinity, sum = 0;
        const from = i * Pyramid.STEP, to = Math.min(from + Pyramid.STEP, belowSize);
        for (let j = from; j < to; ++j) {
          low = Math.min(low, at(below.low, j));
          high = Math.max(high, at(below.high, j));
          sum += at(below.mean, j);
        }
        level.low[i] = low;
        level.high[i] = high;
        level.mean[i] = sum / (to - from);
      }
      this.levels.push(level);
      below = level;
      if (size === 1) break;
    }
  }

  /** Over the values from `from` up to, not including, `to`; at least one. Its ends are as fine as the level that is looked at. */
  over(from, to) {
    from = Math.max(0, Math.min(this.length - 1, Math.floor(from)));
    to = Math.max(from + 1, Math.min(this.length, Math.ceil(to)));
    let scale = 1, level = null;
    for (let k = 0; k < this.levels.length && (to - from) / scale > 2 * Pyramid.STEP; ++k) {
      scale *= Pyramid.STEP;
      level = this.levels[k];
    }
    let low = Infinity, high = -Infinity, sum = 0, count = 0;
    for (let i = Math.floor(from / scale); i * scale < to; ++i, ++count) {
      low = Math.min(low, level ? level.low[i] : this.base.low(i));
      high = Math.max(high, level ? level.high[i] : this.base.high(i));
      sum += level ? level.mean[i] : this.base.mean(i);
    }
    return { low, high, mean: sum / count };
  }
}

/** Which bits are set anywhere in a stretch. */
class BitPyramid {
  constructor(bits) {
    this.levels = [bits];
    while (this.levels[this.levels.length - 1].length > 1) {
      const below = this.levels[this.levels.length - 1];
      const level = new Uint32Array(Math.ceil(below.length / 4));
      for (let i = 0; i < below.length; ++i) level[i >> 2] |= below[i];
      this.levels.push(level);
    }
  }

  over(from, to) {
    from = Math.max(0, Math.floor(from));
    to = Math.min(this.levels[0].length, Math.max(from + 1, Math.ceil(to)));
    let k = 0;
    while (k + 1 < this.levels.length && (to - from) / 4 ** k > 8) ++k;
    let bits = 0;
    for (let i = Math.floor(from / 4 ** k); i * 4 ** k < to; ++i) bits |= this.levels[k][i];
    return bits;
  }
}

/** Halves the columns of a spectrogram again and again, so that a view of any width reads about as many as it shows. */
function spectrumLevels(columns, bands) {
  const levels = [columns];
  while (levels[levels.length - 1].length / bands > 512) {
    const below = levels[levels.length - 1];
    const count = Math.floor(below.length / bands / 2);
    const level = new Uint8Array(count * bands);
    for (let i = 0; i < count; ++i) {
      for (let band = 0; band < bands; ++band) {
        const at = 2 * i * bands + band;
        // Nearer to the louder of the two: a short sound does not vanish in a wide view.
        level[i * bands + band] = (below[at] + below[at + bands] + 2 * Math.max(below[at], below[at + bands]) + 2) >> 2;
      }
    }
    levels.push(level);
  }
  return levels;
}

const STATEMENT = Object.fromEntries(page.statements.map((row, i) => [row.key, 1 << i]));

// Energies and floors that are no numbers lie here and below.
const NO_NUMBER = -32768 / page.energy_steps;

async function loadWave() {
  const pairs = await unpack("wave", Int8Array);
  return new Pyramid(pairs.length / 2, (i) => pairs[2 * i] / 127, (i) => pairs[2 * i + 1] / 127);
}

async function loadTrack(track, i) {
  const name = `track${i}-`;
  const [probability, energy, floor, statements, count, need] = await Promise.all([
    unpack(name + "probability", Uint16Array), unpack(name + "energy", Int16Array), unpack(name + "floor", Int16Array),
    unpack(name + "statements", Uint32Array), unpack(name + "count", Uint16Array), unpack(name + "need", Uint16Array)]);
  const taken = STATEMENT.speech_score, under = STATEMENT.speech_score | STATEMENT.below_floor;
  let speechScores = 0, underFloor = 0;
  for (const bits of statements) {
    if (bits & taken) ++speechScores;
    if ((bits & under) === under) ++underFloor;
  }
  const p = (at) => probability[at] / 65535;
  const e = (at) => energy[at] / page.energy_steps;
  const f = (at) => floor[at] / page.energy_steps;
  // The last frames of a recording, whose windows reach beyond it, were not decided on: the curves end before them.
  let frames = statements.length;
  while (frames > 1 && !statements[frames - 1]) --frames;
  return {
    ...track, index: i, frames, p, e, f, statements, count, need,
    probability: new Pyramid(frames, p, p), energy: new Pyramid(frames, e, e), floor: new Pyramid(frames, f, f),
    bits: new BitPyramid(statements),
    lost: speechScores ? underFloor / speechScores : 0,  // of what the network takes for speech, the part that the floor makes silence
  };
}

/** The last of `sentences` that begins at `seconds` or before; -1 if none does. */
function lastBegun(sentences, seconds) {
  let low = 0, high = sentences.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (sentences[middle].begin <= seconds) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

/** The place in `sentences` of the one that holds `seconds`; -1 if none does. */
function sentenceAt(sentences, seconds) {
  const i = lastBegun(sentences, seconds);
  return i >= 0 && seconds < sentences[i].end ? i : -1;
}
