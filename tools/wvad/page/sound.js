// SPDX-License-Identifier: Apache-2.0
//
// The sound: put together when it is first asked for, played from a place, and stopped at the end of a sentence.

class Sound {
  constructor(view, element) {
    this.view = view;
    this.element = element;
    this.until = Infinity;
    this.there = page.sound !== null;
    this.listeners = [];
    for (const event of ["play", "pause", "ended", "error"]) element.addEventListener(event, () => this.told());
  }

  get playing() { return !this.element.paused && !this.element.ended; }
  get seconds() { return this.element.currentTime; }

  open() {
    if (this.element.src) return;
    if (page.sound.link) {
      this.element.src = page.sound.link;
    } else {
      this.element.src = URL.createObjectURL(new Blob([bytesOf(takeText("sound-data") ?? "")], { type: page.sound.type }));
    }
  }

  play(from, until = Infinity) {
    if (!this.there) return;
    this.open();
    this.until = until;
    this.element.currentTime = from;
    this.element.play().catch(() => this.told());
    this.follow();
  }

  pause() { this.element.pause(); }

  toggle() {
    if (this.playing) this.pause();
    else this.play(this.view.cursor >= this.view.total - 0.02 ? 0 : this.view.cursor);
  }

  /** While it plays: the head moves, the view turns its pages, and a sentence ends where it ends. */
  follow() {
    const step = () => {
      if (!this.playing) return;
      const now = this.seconds;
      if (now >= this.until) {
        this.pause();
        this.view.changed();
        return;
      }
      if (now > this.view.to && this.view.span < this.view.total) this.view.show(now - this.view.span * 0.05, this.view.span);
      this.view.changed();
      requestAnimationFrame(step);
    };
    requestAnimationFrame(step);
  }

  told() { for (const listener of this.listeners) listener(); }
}
