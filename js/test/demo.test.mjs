// SPDX-License-Identifier: Apache-2.0
// The demonstration page: a recording, the microphone, labels. WVAD_PICTURES names a folder for pictures of it.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { get } from 'node:http';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { segment } from 'wvad';
import { serve } from '../demo/serve.mjs';
import { jfkSentences, recording, root, wav } from './audio.mjs';
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
  const jfk = recording('jfk');
  const long = new Int16Array(10 * jfk.length);
  for (let i = 0; i < 10; ++i) long.set(jfk, i * jfk.length);
  server = await serve(`${root}/js`, { extra: { '/long.wav': wav(long, 16000), '/short.wav': wav(jfk.subarray(0, 2.8 * 16000), 16000) } });
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
  assert.deepEqual(await rows(), jfkSentences);
  assert.match(await browser.run(() => document.getElementById('count').textContent), /^4, 9\.4 s of speech$/);
  await picture('recording');
  await browser.shade(true);
  await picture('recording-dark');
  await browser.shade(false);
});

test('on a telephone nothing is to be scrolled sideways', { skip, timeout: 60000 }, async () => {
  for (const width of [320, 360]) {
    await browser.resize(width, 740);
    assert.equal(await browser.run(() => document.documentElement.scrollWidth), width);
  }
  await picture('recording-narrow');
  await browser.resize(1200, 860);
  await picture('recording-wide');
});

test('another profile hears the recording anew', { skip, timeout: 60000 }, async () => {
  const profile = (value) => browser.run((value) => {
    document.getElementById('speed').textContent = '';
    document.getElementById('profile').value = value;
    document.getElementById('profile').dispatchEvent(new Event('change'));
  }, value);
  await profile('dictation');
  await until(() => document.getElementById('speed').textContent !== '');
  const found = (await segment(recording('jfk'), 16000, { profile: 'dictation' })).map(({ begin, end }) => [begin, end]);
  assert.notEqual(found.length, 4);
  assert.deepEqual(await rows(), found);
  await profile('default');
  await until(() => document.getElementById('speed').textContent !== '');
  assert.equal((await rows()).length, 4);
});

test('of two recordings at once, and of a microphone and a recording, the last is heard alone', { skip, timeout: 60000 }, async () => {
  const alone = async (first) => {
    await browser.run(async (first) => {
      const file = async (path, name) => new File([await (await fetch(path)).arrayBuffer()], name);
      const drop = (one) => {
        const data = new DataTransfer();
        data.items.add(one);
        document.dispatchEvent(new DragEvent('drop', { dataTransfer: data, cancelable: true }));
      };
      const [long, short] = [await file('/long.wav', 'long.wav'), await file('/short.wav', 'short.wav')];
      document.getElementById('speed').textContent = '';
      if (first === 'microphone') document.getElementById('microphone').click();
      else drop(long);
      drop(short);
    }, first);
    await until(() => document.getElementById('state').textContent === 'short.wav' && !document.getElementById('microphone').disabled);
    assert.deepEqual(await rows(), jfkSentences.slice(0, 1));
    assert.equal(await browser.run(() => document.getElementById('microphone').textContent), 'Listen to the microphone');
  };
  await alone('recording');
  await alone('microphone');
  await browser.choose('#file', join(folder, 'jfk.wav'));
  await until(() => document.getElementById('state').textContent === 'jfk.wav');
});

test('the server refuses what is no port', () => {
  for (const port of ['abc', '-1', '65536', '80.5', '']) {
    const { status, stderr } = spawnSync(process.execPath, [`${root}/js/demo/serve.mjs`, port], { encoding: 'utf8', timeout: 20000 });
    assert.equal(status, 2);
    assert.match(stderr, /^usage: .*\n$/);
  }
});

test('the server answers what is no address, and goes on', async () => {
  const { address, close } = await serve(`${root}/js/demo`);
  const status = (path) => new Promise((resolve, reject) => {
    get({ port: new URL(address).port, path, agent: false }, (response) => resolve(response.resume().statusCode)).on('error', reject);
  });
  const answered = [];
  for (const path of ['/%', '//', '/%ff', '/nothing', '/demo.css', '/']) answered.push(await status(path));
  assert.deepEqual(answered, [404, 404, 404, 404, 200, 200]);
  close();
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
  assert.equal(text, '0.030\t2.360\t1\n2.990\t4.550\t2\n5.100\t7.760\t3\n7.890\t10.730\t4\n');
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
