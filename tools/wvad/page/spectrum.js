// SPDX-License-Identifier: Apache-2.0
//
// The lane of the spectrogram: tiles of columns, coloured once, from the level of detail that the view needs.

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
