// SPDX-License-Identifier: Apache-2.0
// What listening costs, as a share of the time that the audio takes (real-time factor), in processor time of one thread: the native library, the
// module in Node.js and in Chromium, with vectors and without. All take turns in one run; the least of the rounds counts, and ratios are to native.
//
//   WVAD_TELL=build-wasm/tell node js/bench.mjs [ROUNDS]
import { spawnSync } from 'node:child_process';
import { existsSync, readFileSync } from 'node:fs';
import { gzipSync, brotliCompressSync } from 'node:zlib';
import { load } from 'wvad';
import { serve } from './demo/serve.mjs';
import { atRate, recording, root, toFloat } from './test/audio.mjs';
import { Chromium } from './test/chromium.mjs';

const rounds = Number(process.argv[2] ?? 8);
const moby = recording('moby');
const cases = [
  { name: 'lstm_fb75 at 16000 Hz', model: 'lstm_fb75', rate: 16000, samples: toFloat(moby) },
  { name: 'lstm_fb40 at 16000 Hz', model: 'lstm_fb40', rate: 16000, samples: toFloat(moby) },
  { name: 'lstm_fb75 at 48000 Hz', model: 'lstm_fb75', rate: 48000, samples: toFloat(atRate(moby, 16000, 48000)) },
];
const seconds = moby.length / 16000;

function native({ model, rate, samples }) {
  if (!process.env.WVAD_TELL) return NaN;
  const { stdout } = spawnSync(process.env.WVAD_TELL, [`${root}/models/${model}.bin`, String(rate), '1', '4', '0', '', 'time'],
                               { input: new Uint8Array(samples.buffer), encoding: 'utf8' });
  return Number(stdout);
}

async function inNode({ model, rate, samples }, vectors) {
  const detector = await load({ model, vectors });
  const { user, system } = process.cpuUsage();
  detector.segment(samples, rate);
  const used = process.cpuUsage({ user, system });
  return (used.user + used.system) / 1e6;
}

async function inChromium(browser, { model, rate }, vectors, name) {
  await browser.run(async (model, vectors, name) => {
    globalThis.samples = globalThis.pieces[name] ??= new Float32Array(await (await fetch(`/${name}.raw`)).arrayBuffer());
    globalThis.detector = await wvad.load({ model, vectors });
  }, model, vectors, name);
  const begin = await browser.processorTime();
  await browser.run((rate) => detector.segment(samples, rate).length, rate);
  return await browser.processorTime() - begin;
}

const page = '<!doctype html><link rel="icon" href="data:,"><script type="module">globalThis.pieces = {}; globalThis.wvad = await import("/dist/browser.js");</script>';
const raws = Object.fromEntries(cases.map(({ samples }, i) => [`/${i}.raw`, Buffer.from(samples.buffer)]));
const server = await serve(`${root}/js`, { extra: { '/bench.html': page, ...raws } });
const browser = existsSync(Chromium.program) ? await Chromium.start() : undefined;
await browser?.open(`${server.address}/bench.html`);
await browser?.run(async () => {
  while (!globalThis.wvad) await new Promise(requestAnimationFrame);
});

console.log(`${seconds.toFixed(1)} s of speech, ${rounds} rounds\n`);
console.log('| | native | Node.js | without vectors | Chromium | without vectors |\n|---|---|---|---|---|---|');
for (const [i, one] of cases.entries()) {
  const ways = [() => native(one), () => inNode(one, true), () => inNode(one, false),
                () => (browser ? inChromium(browser, one, true, i) : NaN), () => (browser ? inChromium(browser, one, false, i) : NaN)];
  const least = ways.map(() => Infinity);
  for (let round = 0; round < rounds; ++round) {
    for (const [way, run] of ways.entries()) least[way] = Math.min(least[way], await run());
  }
  const cells = least.map((time, way) => `${(time / seconds).toFixed(5)}${way > 0 ? ` (${(time / least[0]).toFixed(1)})` : ''}`);
  console.log(`| ${one.name} | ${cells.join(' | ')} |`);
}
await browser?.close();
server.close();

console.log('\n| | bytes | gzip | brotli |\n|---|---|---|---|');
for (const name of ['wvad.wasm', 'wvad-plain.wasm', 'browser.js', 'worklet.js', 'node.js']) {
  const bytes = readFileSync(`${root}/js/dist/${name}`);
  console.log(`| ${name} | ${bytes.length} | ${gzipSync(bytes, { level: 9 }).length} | ${brotliCompressSync(bytes).length} |`);
}
