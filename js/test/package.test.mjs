// SPDX-License-Identifier: Apache-2.0
// What is handed on: exactly the files that belong into the package, and none of the GPL's.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { brotliCompressSync, gzipSync } from 'node:zlib';
import { root } from './audio.mjs';

const folder = `${root}/js`;
const models = ['lstm_fb40', 'lstm_fb40_8k', 'lstm_fb75', 'lstm_fb75_8k'];
const scripts = ['browser.js', 'node.cjs', 'node.js', 'worklet.js'];
const types = ['assets', 'browser', 'channel', 'detector', 'errors', 'events', 'fetch', 'fetch.node', 'host', 'index', 'library', 'microphone', 'samples', 'settings', 'stream', 'worklet'];
const expected = [
  'README.md', 'package.json',
  ...['LICENSE', 'README.txt', 'libsoxr.LICENCE', 'libsoxr.COPYING.LGPL', 'emscripten.copyright', 'boost.copyright'].map((name) => `dist/licences/${name}`),
  ...scripts.map((name) => `dist/${name}`), 'dist/wvad.wasm', 'dist/wvad-plain.wasm',
  ...types.flatMap((name) => [`dist/types/${name}.d.ts`, `dist/types/commonjs/${name}.d.ts`]), 'dist/types/commonjs/package.json',
  ...models.flatMap((name) => [`dist/models/${name}.bin`, `dist/models/LICENSE.${name}`, `dist/models/${name}.md`]),
];

test('npm pack holds exactly what it should', { skip: spawnSync('npm', ['--version']).error && 'there is no npm' }, () => {
  const [packed] = JSON.parse(execFileSync('npm', ['pack', '--dry-run', '--json'], { cwd: folder, encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] }));
  assert.deepEqual(packed.files.map(({ path }) => path).sort(), [...expected].sort());
});

test('the version is that of the library', () => {
  const [, version] = /#define WVAD_VERSION "([^"]+)"/.exec(readFileSync(`${root}/include/wvad.h`, 'utf8'));
  assert.equal(JSON.parse(readFileSync(`${folder}/package.json`, 'utf8')).version, version);
});

test('nothing of FFTW is in the modules', () => {
  for (const name of ['wvad.wasm', 'wvad-plain.wasm']) assert.ok(!/fftw/i.test(readFileSync(`${folder}/dist/${name}`, 'latin1')), name);
});

test('no dependencies', () => {
  const { dependencies, peerDependencies } = JSON.parse(readFileSync(`${folder}/package.json`, 'utf8'));
  assert.equal(dependencies, undefined);
  assert.equal(peerDependencies, undefined);
});

test('module and scripts of a page are below 400 kB, compressed', () => {
  const bytes = ['wvad.wasm', 'browser.js', 'worklet.js'].map((name) => readFileSync(`${folder}/dist/${name}`));
  const sum = (compress) => bytes.reduce((total, each) => total + compress(each).length, 0);
  assert.ok(sum(gzipSync) < 400000, `gzip: ${sum(gzipSync)}`);
  assert.ok(sum(brotliCompressSync) < sum(gzipSync));
});
