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
