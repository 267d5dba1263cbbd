// SPDX-License-Identifier: Apache-2.0
// What is heard, over time: loudness, probability of speech, sentences. Shows the last seconds of live audio, or the whole of a recording.

const SHOWN_LIVE = 15; // s
const AXIS = 22; // pixels for the numbers below

export class Chart {
  constructor(canvas) {
    this.canvas = canvas;
    this.clear();
    new ResizeObserver(() => this.draw()).observe(canvas);
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.draw());
  }

  /** Begins anew: of a recording of `duration` seconds, or live where it is left out. */
  clear(duration) {
    this.duration = duration;
    this.probabilities = [];
    this.loudness = [];
    this.sentences = [];
    this.open = undefined; // where a sentence began that has not ended
    this.draw();
  }

  /** The 10 ms from `time` on. */
  addProbability(time, probability) {
    this.probabilities[Math.round(time * 100)] = probability;
    this.#later();
  }

  /** The peak, 0 to 1, of the 10 ms from `time` on. */
  addLoudness(time, peak) {
    const place = Math.round(time * 100);
    this.loudness[place] = Math.max(this.loudness[place] ?? 0, peak);
    this.#later();
  }

  begin(time) {
    this.open = time;
    this.#later();
  }

  addSentence({ begin, end }) {
    this.open = undefined;
    this.sentences.push({ begin, end });
    this.#later();
  }

  /** The sentence at a place of the canvas, counted from its left edge; or nothing. */
  sentenceAt(x) {
    const { from, scale } = this.#span(this.canvas.clientWidth);
    const time = from + x / scale;
    return this.sentences.findIndex(({ begin, end }) => begin <= time && time < end);
  }

  #later() {
    if (this.planned) return;
    this.planned = true;
    requestAnimationFrame(() => {
      this.planned = false;
      this.draw();
    });
  }

  #span(width) {
    const heard = Math.max(this.probabilities.length, this.loudness.length) / 100;
    const shown = this.duration ?? SHOWN_LIVE;
    return { from: this.duration === undefined ? Math.max(0, heard - shown) : 0, shown, scale: width / shown, heard };
  }

  draw() {
    const { canvas } = this;
    const ratio = devicePixelRatio || 1;
    const [width, height] = [canvas.clientWidth, canvas.clientHeight];
    [canvas.width, canvas.height] = [width * ratio, height * ratio];
    const context = canvas.getContext('2d');
    context.scale(ratio, ratio);
    const style = getComputedStyle(canvas);
    const colour = (name) => style.getPropertyValue(`--${name}`);
    const bottom = height - AXIS;
    const span = this.#span(width);
    this.#drawSentences(context, colour, span, bottom);
    this.#drawLoudness(context, colour, span, bottom, width);
    this.#drawAxis(context, colour, span, bottom, width);
    this.#drawProbability(context, colour, span, bottom, width);
  }

  #drawSentences(context, colour, { from, scale, heard }, bottom) {
    const all = this.open === undefined ? this.sentences : [...this.sentences, { begin: this.open, end: heard }];
    for (const { begin, end } of all) {
      const [left, right] = [(begin - from) * scale, (end - from) * scale];
      context.fillStyle = colour('sentence');
      context.fillRect(left, 0, right - left, bottom);
      context.fillStyle = colour('speech');
      context.fillRect(left, 0, right - left, 3);
    }
  }

  /** The largest of `values` in the time of each pixel. */
  #columns(values, { from, scale }, width) {
    return Array.from({ length: Math.ceil(width) }, (_, x) => {
      const first = Math.max(0, Math.floor((from + x / scale) * 100));
      const last = Math.max(first + 1, Math.floor((from + (x + 1) / scale) * 100));
      let most;
      for (let i = first; i < last; ++i) if (values[i] !== undefined && !(most > values[i])) most = values[i];
      return most;
    });
  }

  #drawLoudness(context, colour, span, bottom, width) {
    context.fillStyle = colour('loudness');
    this.#columns(this.loudness, span, width).forEach((peak, x) => {
      // 60 dB of it.
      const size = peak > 0.001 ? (20 * Math.log10(peak) + 60) / 60 : 0;
      if (size > 0) context.fillRect(x, bottom / 2 - size * bottom * 0.42, 1, size * bottom * 0.84);
    });
  }

  #drawAxis(context, colour, { from, shown, scale }, bottom, width) {
    context.strokeStyle = colour('line');
    context.fillStyle = colour('soft');
    context.font = '12px system-ui, "DejaVu Sans", sans-serif';
    context.beginPath();
    context.moveTo(0, bottom + 0.5);
    context.lineTo(width, bottom + 0.5);
    const step = [1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1200].find((each) => each * scale >= 60) ?? 3600;
    for (let time = Math.ceil(from / step) * step; time <= from + shown; time += step) {
      const x = Math.round((time - from) * scale) + 0.5;
      context.moveTo(x, bottom);
      context.lineTo(x, bottom + 5);
      const text = time < 60 ? `${time} s` : `${Math.floor(time / 60)}:${String(time % 60).padStart(2, '0')}`;
      context.textAlign = x < 12 ? 'left' : x > width - 12 ? 'right' : 'center';
      context.fillText(text, Math.min(Math.max(x, 0), width), bottom + 18);
    }
    context.stroke();
  }

  #drawProbability(context, colour, span, bottom, width) {
    context.strokeStyle = colour('speech');
    context.lineWidth = 1.6;
    context.lineJoin = 'round';
    context.beginPath();
    let drawn = false;
    this.#columns(this.probabilities, span, width).forEach((probability, x) => {
      if (probability === undefined) return;
      const y = bottom - 2 - probability * (bottom - 10);
      if (drawn) context.lineTo(x, y);
      else context.moveTo(x, y);
      drawn = true;
    });
    context.stroke();
  }
}
