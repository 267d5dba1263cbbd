// SPDX-License-Identifier: Apache-2.0
// Recordings and signals for the tests.
import { execFileSync } from 'node:child_process';
import { fileURLToPath } from 'node:url';

export const root = fileURLToPath(new URL('../..', import.meta.url));

/** int16 samples of a bundled recording, which is mono of 16000 Hz. */
export function recording(name) {
  const raw = execFileSync('ffmpeg', ['-loglevel', 'error', '-i', `${root}/examples/audio/${name}.flac`, '-f', 's16le', '-'], { maxBuffer: 1 << 28 });
  return new Int16Array(raw.buffer.slice(raw.byteOffset, raw.byteOffset + raw.length));
}

/** Begins and ends of what the program finds in recording('jfk') (README.md), in seconds. */
export const jfkSentences = [[0.03, 2.36], [2.99, 4.55], [5.1, 7.76], [7.89, 10.73]];

/** The samples at another rate, by straight lines between them: no good sound, but the same bits everywhere. */
export function atRate(samples, from, to) {
  const out = new Int16Array(Math.floor((samples.length - 1) * to / from));
  for (let i = 0; i < out.length; ++i) {
    const at = i * from / to;
    const first = Math.floor(at);
    out[i] = Math.round(samples[first] + (samples[first + 1] - samples[first]) * (at - first));
  }
  return out;
}

export const toFloat = (samples) => Float32Array.from(samples, (sample) => sample / 32768);

/** A WAV file of mono samples. */
export function wav(samples, rate) {
  const header = Buffer.alloc(44);
  header.write('RIFF');
  header.writeUInt32LE(36 + samples.byteLength, 4);
  header.write('WAVEfmt ', 8);
  header.writeUInt32LE(16, 16);
  header.writeUInt16LE(1, 20);
  header.writeUInt16LE(1, 22);
  header.writeUInt32LE(rate, 24);
  header.writeUInt32LE(2 * rate, 28);
  header.writeUInt16LE(2, 32);
  header.writeUInt16LE(16, 34);
  header.write('data', 36);
  header.writeUInt32LE(samples.byteLength, 40);
  return Buffer.concat([header, Buffer.from(samples.buffer, samples.byteOffset, samples.byteLength)]);
}
