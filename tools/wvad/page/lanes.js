// SPDX-License-Identifier: Apache-2.0
//
// The lanes: canvases one under the other over the same stretch of time. Each draws what can be seen, a column a pixel, whatever the length
// of the recording.

const COLOURS = ["scheme", "card", "ink", "muted", "line", "shade", "halo", "wave", "probability", "band", "threshold", "energy", "floor", "sentence",
  "margin", "marked", "on-sentence", "under", "held", "long", "cursor", "veil"];

/** Colours of the present theme, as the style sheet has them. */
function readColours() {
  const style = getComputedStyle(document.documentElement);
  return Object.fromEntries(COLOURS.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
}

class Lane {
  constructor(view, height, label) {
    this.view = view;
    this.height = height;
    this.canvas = makeElement("canvas", { class: "lane", "aria-hidden": "true" });
    this.canvas.style.height = `${height}px`;
    this.element = makeElement("div", { class: "row" }, this.canvas, ...(label ? [makeElement("span", { class: "tag" }, label)] : []));
  }

  /** Fits the canvas to its place; gives its context in CSS pixels, empty. */
  begin() {
    const ratio = window.devicePixelRatio || 1;
    const width = Math.max(1, Math.round(this.view.width * ratio));
    const height = Math.max(1, Math.round(this.height * ratio));
    if (this.canvas.width !== width || this.canvas.height !== height) {
      this.canvas.width = width;
      this.canvas.height = height;
    }
    const context = this.canvas.getContext("2d");
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, this.view.width, this.height);
    return context;
  }

  /** The pixels at which the view shows something of `count` values, `per_second` a second, and the values at each: [x, from, to]. */
  *columns(perSecond, count) {
    for (let x = 0; x < this.view.width; ++x) {
      const from = this.view.seconds(x) * perSecond;
      if (from >= count) return;
      yield [x, from, this.view.seconds(x + 1) * perSecond];
    }
  }

  /** Fills what lies between least and greatest value of each pixel: one shape, a pixel thick at least. */
  envelope(context, pyramid, perSecond, y, colour) {
    const bottoms = [];
    context.fillStyle = colour;
    context.beginPath();
    for (const [x, from, to] of this.columns(perSecond, pyramid.length)) {
      const { low, high } = pyramid.over(from, to);
      const top = y(high);
      context.lineTo(x, top);
      context.lineTo(x + 1, top);
      bottoms.push([x, Math.max(top + 1, y(low))]);
    }
    for (const [x, bottom] of bottoms.reverse()) {
      context.lineTo(x + 1, bottom);
      context.lineTo(x, bottom);
    }
    context.fill();
  }

  /** Rectangles behind the sentences of `track`. */
  shade(context, track, colour) {
    context.fillStyle = colour;
    const { sentences } = track;
    for (let i = Math.max(0, lastBegun(sentences, this.view.from)); i < sentences.length && sentences[i].begin < this.view.to; ++i) {
      const x = this.view.x(sentences[i].begin);
      context.fillRect(x, 0, Math.max(1, this.view.x(sentences[i].end) - x), this.height);
    }
  }
}

class Ruler extends Lane {
  static STEPS = [0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400];

  constructor(view) { super(view, 24); }

  draw(colours) {
    const context = this.begin();
    const step = Ruler.STEPS.find((s) => this.view.width / (this.view.span / s) >= 84) ?? 28800;
    const digits = step < 0.1 ? 2 : step < 1 ? 1 : 0;
    context.font = "11px system-ui, sans-serif";
    context.textBaseline = "middle";
    context.fillStyle = colours.muted;
    for (let i = Math.floor(this.view.from / step); i * step <= this.view.to; ++i) {
      const x = this.view.x(i * step);
      context.fillRect(Math.round(x), 0, 1, 6);
      for (let part = 1; part < 5; ++part) context.fillRect(Math.round(this.view.x((i + part / 5) * step)), 0, 1, 3);
      const text = clock(i * step, digits);
      const width = context.measureText(text).width;
      if (x >= 0 && x + width + 4 < this.view.width) context.fillText(text, x + 4, 13);
    }
  }
}

class WaveLane extends Lane {
  constructor(view, wave, tracks) {
    super(view, 92, "Waveform");
    this.wave = wave;
    this.tracks = tracks;
  }

  draw(colours) {
    const context = this.begin();
    if (this.tracks.length) this.shade(context, this.tracks[0], colours.shade);
    const middle = this.height / 2;
    context.fillStyle = colours.line;
    context.fillRect(0, Math.round(middle), this.view.width, 1);
    this.envelope(context, this.wave, page.wave.per_second, (value) => middle - value * (middle - 3), colours.wave);
  }
}

const DARK_MAP = ["#0b0d16", "#1d1147", "#51127c", "#8f2a81", "#cf4570", "#f4755c", "#fdb377", "#fcfdbf"];
const LIGHT_MAP = ["#ffffff", "#e9f0f8", "#c3d7ec", "#8fb5dc", "#5a8cc4", "#33639f", "#1d3f73", "#0b1c3d"];

/** `count` colours along the stops of a map, as [r, g, b]. */
function colourScale(map, count) {
  const stops = map.map((hex) => [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16)));
  return Array.from({ length: count }, (_, i) => {
    const at = (i / (count - 1)) * (stops.length - 1);
    const k = Math.min(Math.floor(at), stops.length - 2);
    return stops[k].map((value, channel) => Math.round(value + (stops[k + 1][channel] - value) * (at - k)));
  });
}

class SpectrumLane extends Lane {
  static TILE = 256;  // columns
  static MARKS_HZ = [250, 500, 1000, 2000, 4000];

  constructor(view, levels) {
    super(view, 132, "Spectrogram");
    this.levels = levels;
    this.tiles = new Map();
    this.theme = "";
  }

  /** Tile `index` of level `k` as a canvas. The oldest ones are let go. */
  tile(k, index) {
    const key = k * 1e7 + index;
    let tile = this.tiles.get(key);
    if (!tile) {
      const { bands } = page.spectrum;
      const level = this.levels[k];
      const first = index * SpectrumLane.TILE;
      const width = Math.min(SpectrumLane.TILE, level.length / bands - first);
      tile = makeElement("canvas");
      tile.width = width;
      tile.height = bands;
      const context = tile.getContext("2d");
      const image = context.createImageData(width, bands);
      for (let x = 0; x < width; ++x) {
        for (let band = 0; band < bands; ++band) {
          const [r, g, b] = this.scale[level[(first + x) * bands + band]];
          image.data.set([r, g, b, 255], ((bands - 1 - band) * width + x) * 4);
        }
      }
      context.putImageData(image, 0, 0);
      if (this.tiles.size > 160) this.tiles.delete(this.tiles.keys().next().value);
      this.tiles.set(key, tile);
    }
    return tile;
  }

  draw(colours) {
    if (this.theme !== colours.scheme) {
      this.theme = colours.scheme;
      this.tiles.clear();
      this.scale = colourScale(this.theme === "dark" ? DARK_MAP : LIGHT_MAP, page.spectrum.levels);
    }
    const context = this.begin();
    const hop = page.spectrum.hop_ms / 1000;
    let k = 0;
    while (k + 1 < this.levels.length && this.view.span / (hop * 2 ** (k + 1)) > this.view.width) ++k;
    const columnSeconds = hop * 2 ** k;
    const tileSeconds = columnSeconds * SpectrumLane.TILE;
    const columns = this.levels[k].length / page.spectrum.bands;
    context.imageSmoothingQuality = "high";
    for (let index = Math.floor(this.view.from / tileSeconds); index * tileSeconds < this.view.to; ++index) {
      if (index * SpectrumLane.TILE >= columns) break;
      const tile = this.tile(k, index);
      const x = this.view.x(index * tileSeconds);
      context.drawImage(tile, x, 0, this.view.x(index * tileSeconds + tile.width * columnSeconds) - x + 0.5, this.height);
    }
    this.marks(context, colours);
  }

  marks(context, colours) {
    const mel = (hz) => Math.log1p(hz / 700);
    const { low_hz: low, high_hz: high } = page.spectrum;
    context.font = "10px system-ui, sans-serif";
    context.textBaseline = "middle";
    context.textAlign = "right";
    for (const hz of SpectrumLane.MARKS_HZ.filter((mark) => mark < high * 0.9)) {
      const y = this.height * (1 - (mel(hz) - mel(low)) / (mel(high) - mel(low)));
      const text = hz < 1000 ? `${hz} Hz` : `${hz / 1000} kHz`;
      context.lineWidth = 3;
      context.strokeStyle = colours.halo;
      context.strokeText(text, this.view.width - 8, y);
      context.fillStyle = colours.ink;
      context.fillText(text, this.view.width - 8, y);
      context.fillRect(this.view.width - 5, Math.round(y), 5, 1);
    }
    context.textAlign = "left";
  }
}

/** Probability and energy, with what each is held against, and ticks for what was made silence. */
class CurveLane extends Lane {
  static TICKS = 10;

  constructor(view, track) {
    super(view, 128);
    this.track = track;
    const energy = track.energy.over(0, track.frames);
    const floor = track.floor.over(0, track.frames);
    // The floor lies in the lower third: what is below it needs no detail.
    this.most = Math.max(energy.high, floor.high + 2) + 0.5;
    this.least = floor.low - (this.most - floor.low) / 2.5;
  }

  yOfProbability(value) { return 6 + (1 - value) * (this.height - CurveLane.TICKS - 10); }
  yOfEnergy(value) {
    return 6 + (1 - Math.max(0, Math.min(1, (value - this.least) / (this.most - this.least)))) * (this.height - CurveLane.TICKS - 10);
  }

  draw(colours) {
    const context = this.begin();
    const { track, view } = this;
    this.shade(context, track, colours.shade);
    this.drawFloor(context, colours);
    this.line(context, track.energy, (value) => this.yOfEnergy(value), colours.energy, 1.25);
    context.strokeStyle = colours.threshold;
    context.lineWidth = 1.25;
    context.setLineDash([6, 4]);
    const threshold = Math.round(this.yOfProbability(track.threshold)) + 0.5;
    context.beginPath();
    context.moveTo(0, threshold);
    context.lineTo(view.width, threshold);
    context.stroke();
    context.setLineDash([]);
    this.line(context, track.probability, (value) => this.yOfProbability(value), colours.probability, 2, colours.band);
    this.ticks(context, colours);
    this.renewals(context, colours);
    this.marks(context, colours);
  }

  drawFloor(context, colours) {
    const bottom = this.height - CurveLane.TICKS - 4;
    context.fillStyle = colours.floor;
    context.beginPath();
    context.moveTo(0, bottom);
    let last = 0;
    for (const [x, from, to] of this.columns(100, this.track.frames)) {
      context.lineTo(x, this.yOfEnergy(this.track.floor.over(from, to).mean));
      last = x;
    }
    context.lineTo(last + 1, bottom);
    context.fill();
  }

  /** The means as a line; where a pixel holds many frames, least to greatest as a band behind it. */
  line(context, pyramid, y, colour, width, band) {
    const wide = this.view.span * 100 > this.view.width * 1.5;
    if (wide && band) this.envelope(context, pyramid, 100, y, band);
    context.strokeStyle = colour;
    context.lineWidth = wide ? width * 0.6 : width;
    context.lineJoin = "round";
    context.beginPath();
    if (wide) {
      for (const [x, from, to] of this.columns(100, this.track.frames)) context.lineTo(x + 0.5, y(pyramid.over(from, to).mean));
    } else {
      const last = Math.min(this.track.frames - 1, Math.ceil(this.view.to * 100));
      for (let i = Math.max(0, Math.floor(this.view.from * 100) - 1); i <= last; ++i) {
        context.lineTo(this.view.x((i + 0.5) / 100), y(pyramid.base.mean(i)));
      }
    }
    context.stroke();
  }

  /** A bar for each stretch of pixels in which the same was done to some frame. */
  ticks(context, colours) {
    const top = this.height - CurveLane.TICKS;
    const rows = [[STATEMENT.below_floor, colours.under, 0], [STATEMENT.held_over, colours.held, 3], [STATEMENT.too_long, colours.long, 6]];
    const begins = rows.map(() => -1);
    const step = (x, bits) => rows.forEach(([bit, colour, down], i) => {
      if (bits & bit) {
        if (begins[i] < 0) begins[i] = x;
      } else if (begins[i] >= 0) {
        context.fillStyle = colour;
        context.fillRect(begins[i], top + down, x - begins[i], 3);
        begins[i] = -1;
      }
    });
    let last = 0;
    for (const [x, from, to] of this.columns(100, this.track.frames)) {
      step(x, this.track.bits.over(from, to));
      last = x + 1;
    }
    step(last, 0);
  }

  renewals(context, colours) {
    context.fillStyle = colours.muted;
    for (const seconds of this.track.renewals) {
      if (seconds < this.view.from || seconds > this.view.to) continue;
      const x = Math.round(this.view.x(seconds));
      for (let y = 0; y < this.height; y += 6) context.fillRect(x, y, 1, 2);
    }
  }

  marks(context, colours) {
    context.font = "10px system-ui, sans-serif";
    context.textBaseline = "middle";
    const write = (text, x, y, colour) => {
      context.lineWidth = 3;
      context.strokeStyle = colours.card;
      context.strokeText(text, x, y);
      context.fillStyle = colour;
      context.fillText(text, x, y);
    };
    for (const value of [0, 1]) write(String(value), 4, this.yOfProbability(value), colours.probability);
    write(`threshold ${this.track.threshold}`, 4, this.yOfProbability(this.track.threshold) - 8, colours.threshold);
    const floor = this.track.floor.over(this.view.to * 100 - 1, this.view.to * 100).mean;
    context.textAlign = "right";
    write(`energy floor ${Number.isFinite(floor) ? +floor.toFixed(1) : "–"}`, this.view.width - 6, this.yOfEnergy(floor) + 8, colours.energy);
    context.textAlign = "left";
  }
}

class SentenceLane extends Lane {
  constructor(view, track) {
    super(view, 30);
    this.track = track;
    this.marked = -1;  // the sentence under the pointer
  }

  draw(colours) {
    const context = this.begin();
    const { sentences } = this.track;
    context.font = "11px system-ui, sans-serif";
    context.textBaseline = "middle";
    for (let i = Math.max(0, lastBegun(sentences, this.view.from)); i < sentences.length && sentences[i].begin < this.view.to; ++i) {
      const { begin, end, speech_begin: speechBegin, speech_end: speechEnd } = sentences[i];
      const box = (from, to, colour) => {
        const x = this.view.x(from);
        context.fillStyle = colour;
        context.beginPath();
        context.roundRect(x, 4, Math.max(1, this.view.x(to) - x), this.height - 9, 3);
        context.fill();
      };
      box(begin, end, colours.margin);
      box(speechBegin, Math.max(speechEnd, speechBegin), i === this.marked ? colours.marked : colours.sentence);
      this.label(context, colours, i);
    }
  }

  label(context, colours, i) {
    const { speech_begin: begin, speech_end: end, level, snr } = this.track.sentences[i];
    const x = Math.max(this.view.x(begin), 0);
    const room = Math.min(this.view.x(end), this.view.width) - x - 10;
    const number = String(i + 1);
    const whole = `${number} · ${decibels(level)} dB${snr === null ? "" : ` · SNR ${decibels(snr)} dB`}`;
    const text = [whole, `${number} · ${decibels(level)} dB`, number].find((form) => context.measureText(form).width <= room);
    context.fillStyle = colours["on-sentence"];
    if (text) context.fillText(text, x + 5, this.height / 2);
  }
}

/** The whole recording in small, with the stretch that the lanes show. */
class Overview extends Lane {
  constructor(view, wave, tracks) {
    super(view, 46);
    this.canvas = document.getElementById("overview");
    this.canvas.style.height = `${this.height}px`;
    this.wave = wave;
    this.tracks = tracks;
    this.picture = null;  // everything but the frame, kept for as long as it is right
    this.key = "";
  }

  draw(colours) {
    const context = this.begin();
    const key = `${this.canvas.width} ${colours.scheme}`;
    if (this.key !== key) {
      this.key = key;
      this.paint(context, colours);
      this.picture = makeElement("canvas");
      this.picture.width = this.canvas.width;
      this.picture.height = this.canvas.height;
      this.picture.getContext("2d").drawImage(this.canvas, 0, 0);
    } else {
      context.drawImage(this.picture, 0, 0, this.view.width, this.height);
    }
    const { view, height } = this;
    const from = (view.from / view.total) * view.width;
    const to = Math.max(from + 3, (view.to / view.total) * view.width);
    context.fillStyle = colours.veil;
    context.fillRect(0, 0, from, height);
    context.fillRect(to, 0, view.width - to, height);
    context.strokeStyle = colours.probability;
    context.lineWidth = 1.5;
    context.strokeRect(Math.max(0.75, from), 0.75, Math.min(to, view.width - 0.75) - Math.max(0.75, from), height - 1.5);
    context.fillStyle = colours.cursor;
    context.fillRect((view.cursor / view.total) * view.width, 0, 1, height);
  }

  paint(context, colours) {
    const { view, height } = this;
    const rows = this.tracks.length;
    const waveHeight = height - 4 - rows * 4;
    const perPixel = this.wave.length / view.width;
    context.fillStyle = colours.wave;
    for (let x = 0; x < view.width; ++x) {
      const { low, high } = this.wave.over(x * perPixel, (x + 1) * perPixel);
      context.fillRect(x, 2 + (1 - high) * waveHeight / 2, 1, Math.max(1, (high - low) * waveHeight / 2));
    }
    context.fillStyle = colours.sentence;
    this.tracks.forEach((track, i) => {
      for (const { begin, end } of track.sentences) {
        const x = (begin / view.total) * view.width;
        context.fillRect(x, height - 4 * (rows - i), Math.max(1, ((end - begin) / view.total) * view.width), 3);
      }
    });
  }
}
