// SPDX-License-Identifier: Apache-2.0
//
// The overview: the way about in a long recording.

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
