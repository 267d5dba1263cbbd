// SPDX-License-Identifier: Apache-2.0
// The package tells what the native library with the same transform tells, with the 128-bit vectors of WebAssembly and without: every event,
// probability, sample of a sentence and feature to the bit. Level and signal-to-noise are logarithms of the C library in double precision,
// which may differ in their last bits. Where audio is brought to another rate, the factors of libsoxr's transform are the C library's sine in
// single precision: of these one in 80 differs in its last bit, and so do some samples. Events are the same there, probabilities near.
// WVAD_TELL names the program that tell.c becomes.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { test } from 'node:test';
import { load } from 'wvad';
import { atRate, recording, root, toFloat } from './audio.mjs';

const program = process.env.WVAD_TELL;
const kinds = ['', 'onset', 'onsetDropped', 'sentenceBegin', 'sentenceEnd', 'turnEnd', 'silence', 'probability', 'streamEnd'];

function bits(value) {
  if (Number.isNaN(value)) return '7ff8000000000000';
  const view = new DataView(new ArrayBuffer(8));
  view.setFloat64(0, value);
  return view.getBigUint64(0).toString(16).padStart(16, '0');
}

function sum(bytes) {
  let hash = 2166136261;
  for (const byte of bytes) hash = Math.imul(hash ^ byte, 16777619) >>> 0;
  return hash.toString(16).padStart(8, '0');
}

const bytesOf = (array) => new Uint8Array(array.buffer, array.byteOffset, array.byteLength);

/** The words of tell.c for an event. */
function words(event, rate) {
  const told = [kinds.indexOf(event.kind), event.timeFrame, Math.round(event.knownAt * rate)];
  if (event.kind === 'probability') told.push(bits(event.probability));
  if (event.kind === 'sentenceBegin' || event.kind === 'turnEnd') told.push(event.number);
  if (event.kind === 'sentenceEnd') {
    const { number, beginFrame, endFrame, beganInSpeech, endedInSpeech, level, snr, clipped, audio, features } = event.sentence;
    const shorts = Int16Array.from(audio, (sample) => sample * 32768);
    told.push(number, beginFrame, endFrame, (beganInSpeech ? 1 : 0) + (endedInSpeech ? 2 : 0), bits(level), bits(snr), bits(clipped),
              sum(bytesOf(shorts)), sum(bytesOf(features)));
  }
  return told.map(String);
}

function number(word) {
  const view = new DataView(new ArrayBuffer(8));
  view.setBigUint64(0, BigInt(`0x${word}`));
  return view.getFloat64(0);
}

const near = (a, b, tolerance) => a === b || Math.abs(number(a) - number(b)) <= tolerance;

/** Holds what the package told against what the native library did. */
function compare(told, native, resampled) {
  assert.equal(told.length, native.length, 'number of events');
  let apart = 0;
  told.forEach((event, i) => {
    const [kind] = event;
    const other = [...native[i]];
    if (kind === '4') {
      for (const measure of [7, 8]) {
        assert.ok(near(event[measure], other[measure], resampled ? 1e-3 : 1e-12), `level or signal-to-noise: ${event} and ${other}`);
        other[measure] = event[measure];
      }
      if (resampled) other.splice(9, 3, ...event.slice(9));
    }
    if (kind === '7' && resampled) {
      apart += Math.abs(number(event[3]) - number(other[3]));
      other[3] = event[3];
    }
    assert.deepEqual(event, other);
  });
  const probabilities = native.filter(([kind]) => kind === '7').length;
  assert.ok(apart <= 3e-3 * probabilities, `probabilities are ${apart / probabilities} apart in the mean`);
}

const moby = recording('moby');
const jfk = recording('jfk');
const stereo = (left, right) => Int16Array.from({ length: 2 * Math.min(left.length, right.length) }, (_, i) => (i % 2 ? right : left)[i >> 1]);

// Where samples differ, probabilities do, by up to 0.02 and where they change fast: two thresholds lie where no probability of the recording is within 0.01.
const cases = [
  { name: 'as the model hears', samples: jfk, rate: 16000, model: 'lstm_fb75', settings: {} },
  { name: 'floats, the small model', samples: toFloat(jfk), rate: 16000, model: 'lstm_fb40', settings: { profile: 'fast' } },
  { name: 'a whole talk', samples: moby, rate: 16000, model: 'lstm_fb75', settings: { stillEvery: 0.5 } },
  { name: 'from 48000 Hz', samples: toFloat(atRate(jfk, 16000, 48000)), rate: 48000, model: 'lstm_fb75', settings: { threshold: 0.4 } },
  { name: 'from 44100 Hz, fast', samples: atRate(jfk, 16000, 44100), rate: 44100, model: 'lstm_fb40', settings: { profile: 'fast', threshold: 0.544 } },
  { name: 'from 11025 Hz', samples: atRate(jfk, 16000, 11025), rate: 11025, model: 'lstm_fb75', settings: {} },
  { name: 'from 96000 Hz, dictation', samples: atRate(jfk, 16000, 96000), rate: 96000, model: 'lstm_fb75', settings: { profile: 'dictation' } },
  { name: 'a telephone', samples: atRate(jfk, 16000, 8000), rate: 8000, model: 'lstm_fb75_8k', settings: { profile: 'telephone' } },
  { name: 'the mean of two channels', samples: stereo(jfk, moby), rate: 16000, channels: 2, model: 'lstm_fb40', settings: {} },
  { name: 'the second of two channels', samples: stereo(moby, jfk), rate: 16000, channels: 2, channel: 2, model: 'lstm_fb40_8k', settings: { threshold: 0.619 } },
];

for (const vectors of [true, false]) {
  for (const { name, samples, rate, channels = 1, channel = 'mix', model, settings } of cases) {
    test(`${name}, ${vectors ? 'with' : 'without'} vectors`, { skip: !program && 'WVAD_TELL is not set' }, async () => {
      const text = Object.entries(settings).map(([key, value]) => `${key.replace(/[A-Z]/g, (c) => `_${c.toLowerCase()}`)}=${value}`).join(' ');
      const native = spawnSync(program, [`${root}/models/${model}.bin`, rate, channels, samples instanceof Int16Array ? 1 : 4, channel === 'mix' ? 0 : channel, text]
          .map(String), { input: bytesOf(samples), maxBuffer: 1 << 28, encoding: 'utf8' });
      assert.equal(native.status, 0, native.stderr);
      const detector = await load({ model, vectors });
      const stream = detector.stream(rate, { ...settings, channels, channel, probability: true, audio: true, features: true });
      const events = [];
      // Pieces of odd lengths: the result does not depend on them.
      for (let first = 0, step = 1; first < samples.length; first += step * channels, step = step * 7 % 4999) {
        events.push(...stream.push(samples.subarray(first, first + step * channels)));
      }
      events.push(...stream.finish());
      stream.close();
      const told = native.stdout.trimEnd().split('\n').map((line) => line.split(' '));
      assert.ok(told.some(([kind]) => kind === '4'), 'the recording has sentences');
      compare(events.map((event) => words(event, rate)), told, rate !== detector.modelRate);
    });
  }
}
