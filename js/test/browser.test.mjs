// SPDX-License-Identifier: Apache-2.0
// The package in Chromium: the functions on a page, the AudioWorklet sample by sample, the ways to load it.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { after, before, test } from 'node:test';
import { load } from 'wvad';
import { jfkSentences, recording, root } from './audio.mjs';
import { openPage, skip } from './page.mjs';

const jfk = recording('jfk');
const mapped = `<!doctype html><script type="importmap">{ "imports": { "wvad": "/dist/browser.js" } }</script><script type="module">
  import { segment } from 'wvad';
  const bytes = await (await fetch('/jfk.wav')).arrayBuffer();
  const buffer = await new OfflineAudioContext(1, 1, 16000).decodeAudioData(bytes);
  parent.postMessage((await segment(buffer, buffer.sampleRate)).map(({ begin, end }) => [begin, end]));
</script>`;
let page;
let browser;

before(async () => {
  if (skip) return;
  page = await openPage({ '/map.html': mapped });
  browser = page.browser;
});

after(() => page?.close());

/** What the stream of Node.js tells, as JSON has it. */
async function told(options) {
  const stream = (await load({ model: 'lstm_fb40' })).stream(16000, options);
  const events = [...stream.push(jfk), ...stream.finish()];
  stream.close();
  return JSON.parse(JSON.stringify(events));
}

test('segment and scores on a page give what they give in Node.js', { skip, timeout: 60000 }, async () => {
  for (const vectors of [true, false]) {
    const [sentences, scores] = await browser.run(async (vectors) => {
      const options = { model: 'lstm_fb40', vectors };
      return [await wvad.segment(samples, 16000, options), [...await wvad.scores(samples, 16000, options)]];
    }, vectors);
    const detector = await load({ model: 'lstm_fb40', vectors });
    assert.deepEqual(sentences, JSON.parse(JSON.stringify(detector.segment(jfk, 16000))));
    assert.deepEqual(scores, [...detector.scores(jfk, 16000)]);
  }
});

test('the AudioWorklet hears every sample: its events are those of a stream', { skip, timeout: 60000 }, async () => {
  const events = await browser.run(async () => {
    const bytes = async (path) => (await fetch(path)).arrayBuffer();
    const context = new OfflineAudioContext(1, samples.length, 16000);
    await context.audioWorklet.addModule('/dist/worklet.js');
    const node = new AudioWorkletNode(context, 'wvad', { numberOfOutputs: 0 });
    const found = [];
    const answers = new Map();
    node.port.onmessage = ({ data }) => {
      if (data.type === 'events' || data.type === 'paused') found.push(...data.events);
      answers.get(data.type)?.(data);
    };
    const ask = (message, type) => new Promise((resolve) => {
      answers.set(type, resolve);
      node.port.postMessage(message);
    });
    const { model } = await ask({ type: 'module', wasm: await bytes('/dist/wvad.wasm'), profile: 'fast' }, 'suits');
    await ask({ type: 'model', model: await bytes(`/dist/models/${model}.bin`), options: { probability: true }, channel: 0 }, 'ready');
    const buffer = context.createBuffer(1, samples.length, 16000);
    buffer.copyToChannel(samples, 0);
    const source = new AudioBufferSourceNode(context, { buffer });
    source.connect(node);
    source.start();
    await context.startRendering();
    await ask({ type: 'pause' }, 'paused');
    return found;
  });
  assert.deepEqual(events, await told({ probability: true }));
});

test('a page without a bundler: an import map, and a file that the browser decodes', { skip, timeout: 60000 }, async () => {
  const found = await browser.run(async () => {
    const frame = Object.assign(document.createElement('iframe'), { src: '/map.html' });
    const told = new Promise((resolve) => addEventListener('message', ({ data }) => resolve(data), { once: true }));
    document.body.append(frame);
    return told.finally(() => frame.remove());
  });
  assert.deepEqual(found, jfkSentences);
});

test('a script that is no module takes its files from the folder of assets', { skip, timeout: 60000 }, async () => {
  const script = execFileSync('esbuild', [`${root}/js/dist/browser.js`, '--bundle', '--format=iife', '--global-name=whole', '--log-level=error'], { encoding: 'utf8' });
  const [sentences, refused] = await browser.run(async (script) => {
    const whole = new Function(`${script}; return whole;`)();
    const found = await whole.segment(samples, 16000, { model: 'lstm_fb40', assets: '/dist' });
    return [found.length, await whole.segment(samples, 16000).catch(({ message }) => message)];
  }, script);
  assert.ok(sentences > 0);
  assert.equal(refused, 'wvad.wasm: a script that is no module does not know where it lies; name the folder in the option assets');
});
