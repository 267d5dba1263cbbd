// SPDX-License-Identifier: Apache-2.0
// Makes the package in js/dist: node js/build.mjs [BUILD PLAIN]
// BUILD and PLAIN are the folders of the presets wasm and wasm-plain, build-wasm and build-wasm-plain where they are left out.
import { execFileSync } from 'node:child_process';
import { copyFileSync, mkdirSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const root = resolve(here, '..');
const dist = join(here, 'dist');
const [build = join(root, 'build-wasm'), plain = join(root, 'build-wasm-plain')] = process.argv.slice(2);
const soxr = join(root, 'build-soxr-source');
const models = ['lstm_fb75', 'lstm_fb40', 'lstm_fb75_8k', 'lstm_fb40_8k'];

/** Bundles a source into one script of dist. */
function bundle(source, target, ...options) {
  execFileSync('esbuild', [join(here, 'src', source), '--bundle', '--minify', '--target=es2022', '--charset=utf8', '--log-level=warning',
                           `--outfile=${join(dist, target)}`, ...options], { stdio: 'inherit' });
}

const inPage = [`--alias:wvad-fetch=${join(here, 'src/fetch.ts')}`];
const inNode = ['--platform=node', `--alias:wvad-fetch=${join(here, 'src/fetch.node.ts')}`];
const addressInCommonJs = ['--define:import.meta.url=wvadAddress', '--banner:js=const wvadAddress=require("node:url").pathToFileURL(__filename).href;'];

rmSync(dist, { recursive: true, force: true });
mkdirSync(join(dist, 'models'), { recursive: true });
bundle('browser.ts', 'browser.js', '--format=esm', ...inPage);
bundle('worklet.ts', 'worklet.js', '--format=esm', ...inPage);
bundle('browser.ts', 'node.js', '--format=esm', ...inNode);
bundle('browser.ts', 'node.cjs', '--format=cjs', ...inNode, ...addressInCommonJs);
execFileSync('tsc', ['-p', here], { stdio: 'inherit' });
// The same declarations for require(): TypeScript takes those of a module for import alone.
const types = join(dist, 'types');
const commonjs = join(types, 'commonjs');
const declarations = readdirSync(types);
mkdirSync(commonjs);
for (const name of declarations) copyFileSync(join(types, name), join(commonjs, name));
writeFileSync(join(commonjs, 'package.json'), '{ "type": "commonjs" }\n');
copyFileSync(join(build, 'lib/wvad.wasm'), join(dist, 'wvad.wasm'));
copyFileSync(join(plain, 'lib/wvad.wasm'), join(dist, 'wvad-plain.wasm'));
const licences = join(dist, 'licences');
mkdirSync(licences);
copyFileSync(join(root, 'LICENSE'), join(licences, 'LICENSE'));
copyFileSync(join(here, 'licences.txt'), join(licences, 'README.txt'));
copyFileSync(join(soxr, 'LICENCE'), join(licences, 'libsoxr.LICENCE'));
copyFileSync(join(soxr, 'COPYING.LGPL'), join(licences, 'libsoxr.COPYING.LGPL'));
copyFileSync('/usr/share/doc/emscripten/copyright', join(licences, 'emscripten.copyright'));
copyFileSync('/usr/share/doc/libboost-dev/copyright', join(licences, 'boost.copyright'));
for (const model of models) {
  copyFileSync(join(root, 'models', `${model}.bin`), join(dist, 'models', `${model}.bin`));
  copyFileSync(join(root, 'models', `LICENSE.${model}`), join(dist, 'models', `LICENSE.${model}`));
  copyFileSync(join(root, 'models', `${model}.md`), join(dist, 'models', `${model}.md`));
}
