// SPDX-License-Identifier: Apache-2.0
//
// The two lanes of a track: what its sentences were decided by, and the sentences.

/** Probability and energy, with what each is held against, and ticks for what was made silence. */
class CurveLane extends Lane {
  static TICKS = 10;

  constructor(view, track) {
    super(view, 128);
    this.track = track;
    const energy = track.energy.over(0, track.frames);
    const floor = track.floor.over(0, track.frames);
    // The floor lies in the lower third: what is below it needs no detail.
    const least = floor.low > NO_NUMBER ? floor.low : energy.low;
    this.most = Math.max(energy.high, floor.high + 2) + 0.5;
    this.least = least - (this.most - least) / 2.5;
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
    write(`energy floor ${floor > NO_NUMBER ? +floor.toFixed(1) : "–"}`, this.view.width - 6, this.yOfEnergy(floor) + 8, colours.energy);
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
