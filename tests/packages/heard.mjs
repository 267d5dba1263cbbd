// SPDX-License-Identifier: Apache-2.0
// heard.mjs FILE [ROUNDS]: what heard.c does, by the package for JavaScript that is installed in the folder of this file.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { segment } from 'wvad';

const [file, rounds = 1] = process.argv.slice(2);
const bytes = readFileSync(file);
const samples = new Int16Array(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length));
let found = [];
for (let round = 0; round < rounds; ++round) found = await segment(samples, 16000);
for (const { beginFrame, endFrame } of found) console.log(`${beginFrame} ${endFrame}`);

// The other way of loading it finds the same.
const again = await createRequire(import.meta.url)('wvad').segment(samples, 16000);
if (JSON.stringify(again) !== JSON.stringify(found)) throw new Error('require and import differ');
