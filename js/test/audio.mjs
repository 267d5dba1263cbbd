// SPDX-License-Identifier: Apache-2.0
// Recordings and signals for the tests.
import { execFileSync } from 'node:child_process';
import { fileURLToPath } from 'node:url';

export const root = fileURLToPath(new URL('../..', import.meta.url));

/** int16 samples of a bundled recording, which is mono of 16000 Hz. */
export function recording(name) {
  const wav = execFileSync('flac', ['-s', '-d', '-c', '--force-raw-format', '--endian=little', '--sign=signed', `${root}/examples/audio/${name}.flac`],
                           { maxBuffer: 1 << 28 });
  return new Int16Array(wav.buffer.slice(wav.byteOffset, wav.byteOffset + wav.length));
}

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
