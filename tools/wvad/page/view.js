// SPDX-License-Identifier: Apache-2.0
//
// What the window shows: the stretch of time, the cursor, the place under the pointer. Whoever changes it asks for one new picture.

const LEAST_SECONDS = 0.1;

class View {
  constructor(seconds) {
    this.total = Math.max(seconds, 0.01);
    this.from = 0;
    this.to = this.total;
    this.cursor = 0;
    this.pointer = null;  // seconds, while it is over the lanes
    this.width = 1;       // of the lanes in CSS pixels
    this.listeners = [];
    this.asked = false;
  }

  get span() { return this.to - this.from; }
  /** Where the explanation is for. */
  get place() { return this.pointer ?? this.cursor; }

  x(seconds) { return ((seconds - this.from) / this.span) * this.width; }
  seconds(x) { return this.from + (x / this.width) * this.span; }

  /** Shows `span` seconds from `from` on, as far as the recording goes. */
  show(from, span) {
    span = Math.min(this.total, Math.max(Math.min(LEAST_SECONDS, this.total), span));
    this.from = Math.min(Math.max(0, from), this.total - span);
    this.to = this.from + span;
    this.changed();
  }

  /** Makes the span `factor` times as long; `seconds` stays where it is. */
  zoom(factor, seconds) {
    const span = Math.min(this.total, Math.max(LEAST_SECONDS, this.span * factor));
    this.show(seconds - ((seconds - this.from) / this.span) * span, span);
  }

  pan(seconds) { this.show(this.from + seconds, this.span); }

  putCursor(seconds, visible = true) {
    this.cursor = Math.min(Math.max(0, seconds), this.total);
    if (visible && (this.cursor < this.from || this.cursor > this.to)) this.show(this.cursor - this.span / 4, this.span);
    this.changed();
  }

  /** Shows a stretch with something around it, unless it can be seen already. */
  reveal(begin, end) {
    if (begin >= this.from && end <= this.to) return;
    const span = Math.max(this.span, (end - begin) * 1.2);
    this.show(begin - Math.min(span / 4, (span - (end - begin)) / 2), span);
  }

  changed() {
    if (this.asked) return;
    this.asked = true;
    requestAnimationFrame(() => {
      this.asked = false;
      for (const listener of this.listeners) listener();
    });
  }
}
