// SPDX-License-Identifier: Apache-2.0
// The demonstration page: a recording, the microphone, labels. WVAD_PICTURES names a folder for pictures of it.
import assert from 'node:assert/strict';
import { existsSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { serve } from '../demo/serve.mjs';
import { recording, root, wav } from './audio.mjs';
import { Chromium } from './chromium.mjs';

const skip = !existsSync(Chromium.program) && `there is no ${Chromium.program}`;
const folder = mkdtempSync(join(tmpdir(), 'wvad-demo-'));
let server;
let browser;

/** Waits in the page until `condition` holds. */
const until = (condition, ...values) => browser.run(`async (...values) => { while (!(${condition})(...values)) await new Promise(requestAnimationFrame); }`, ...values);

async function picture(name) {
  if (process.env.WVAD_PICTURES) writeFileSync(join(process.env.WVAD_PICTURES, `${name}.png`), await browser.picture());
}

const rows = () => browser.run(() => [...document.querySelectorAll('#sentences tr')].map((row) => [...row.cells].slice(1, 3).map((cell) => parseFloat(cell.textContent))));

before(async () => {
  if (skip) return;
  writeFileSync(join(folder, 'jfk.wav'), wav(recording('jfk'), 16000));
  writeFileSync(join(folder, 'noise.txt'), 'this is no recording');
  server = await serve(`${root}/js`);
  browser = await Chromium.start({ microphone: join(folder, 'jfk.wav'), size: [1120, 860] });
  await browser.open(`${server.address}/demo/`);
});

after(async () => {
  await browser?.close();
  server?.close();
  rmSync(folder, { recursive: true });
});

test('a recording: its sentences, as the program finds them', { skip, timeout: 60000 }, async () => {
  await browser.choose('#file', join(folder, 'jfk.wav'));
  await until(() => document.getElementById('speed').textContent !== '');
  assert.deepEqual(await rows(), [[0.05, 2.35], [2.99, 4.55], [5.11, 7.76], [7.89, 10.76]]);
  assert.match(await browser.run(() => document.getElementById('count').textContent), /^4, 9\.4 s of speech$/);
  await picture('recording');
  await browser.shade(true);
  await picture('recording-dark');
  await browser.shade(false);
});

test('labels of them, as files', { skip, timeout: 60000 }, async () => {
  const written = await browser.run(async () => {
    const { FORMS } = await import('/demo/labels.js');
    const sentences = [{ number: 0, begin: 0.05, end: 2.35, level: -12.71, snr: NaN }, { number: 1, begin: 3599.9996, end: 3661.5, level: -20, snr: 30.06, audio: [] }];
    return Object.fromEntries(Object.entries(FORMS).map(([form, { write }]) => [form, write(sentences)]));
  });
  assert.equal(written.txt, '0.050\t2.350\t1\n3600.000\t3661.500\t2\n');
  assert.equal(written.vtt, 'WEBVTT\n\n1\n00:00:00.050 --> 00:00:02.350\nsentence 1\n\n2\n01:00:00.000 --> 01:01:01.500\nsentence 2\n');
  assert.equal(written.csv, 'begin,end,level,snr\n0.050,2.350,-12.7,\n3600.000,3661.500,-20.0,30.1\n');
  assert.deepEqual(JSON.parse(written.json), [{ number: 0, begin: 0.05, end: 2.35, level: -12.71, snr: null }, { number: 1, begin: 3599.9996, end: 3661.5, level: -20, snr: 30.06 }]);
  // The button itself: what it hands the browser.
  const [name, text] = await browser.run(async () => {
    const made = [];
    const click = HTMLAnchorElement.prototype.click;
    HTMLAnchorElement.prototype.click = function () {
      made.push(this.download, fetch(this.href).then((response) => response.text()));
    };
    document.querySelector('[data-form="txt"]').click();
    HTMLAnchorElement.prototype.click = click;
    return Promise.all(made);
  });
  assert.equal(name, 'jfk.txt');
  assert.equal(text, '0.050\t2.350\t1\n2.990\t4.550\t2\n5.110\t7.760\t3\n7.890\t10.760\t4\n');
});

test('what is no recording is said, and the page goes on', { skip, timeout: 60000 }, async () => {
  await browser.choose('#file', join(folder, 'noise.txt'));
  await until(() => document.getElementById('state').dataset.kind === 'error');
  assert.equal(await browser.run(() => document.getElementById('state').textContent), 'not a recording that this browser can play');
  assert.equal((await rows()).length, 4);
});

test('the microphone: sentences as they come, another profile, the end', { skip, timeout: 60000 }, async () => {
  await browser.run(() => document.getElementById('microphone').click());
  await until(() => document.querySelectorAll('#sentences tr').length >= 2 && document.getElementById('microphone').textContent === 'Stop');
  await picture('microphone');
  await browser.run(() => {
    const profile = document.getElementById('profile');
    profile.value = 'fast';
    profile.dispatchEvent(new Event('change'));
  });
  await until(() => document.querySelectorAll('#sentences tr').length === 0);
  await until(() => document.querySelectorAll('#sentences tr').length >= 1);
  await browser.run(() => document.getElementById('microphone').click());
  await until(() => document.getElementById('microphone').textContent === 'Listen to the microphone');
  for (const [begin, end] of await rows()) assert.ok(end > begin);
  assert.deepEqual(browser.errors, []);
});
