// SPDX-License-Identifier: Apache-2.0
// The browser that the tests drive: what does not begin, or has ended, is an error and leaves nothing behind.
import assert from 'node:assert/strict';
import { existsSync, mkdtempSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, test } from 'node:test';
import { Chromium } from './chromium.mjs';

const skip = !existsSync(Chromium.program) && `there is no ${Chromium.program}`;
const folder = mkdtempSync(join(tmpdir(), 'wvad-browser-'));
process.env.TMPDIR = folder; // where the profiles lie

after(() => rmSync(folder, { recursive: true }));

test('a browser that does not begin is told, and its profile is removed', { timeout: 60000 }, async () => {
  const { program } = Chromium;
  for (const [other, words] of [['/bin/false', /^Error: Chromium ended$/], ['/nowhere/chromium', /ENOENT/]]) {
    Chromium.program = other;
    await assert.rejects(Chromium.start(), words);
    assert.deepEqual(readdirSync(folder), []);
  }
  Chromium.program = program;
});

test('behind its end every call is refused', { skip, timeout: 60000 }, async () => {
  const browser = await Chromium.start();
  await browser.close();
  await assert.rejects(browser.run(() => 1), /^Error: Chromium ended$/);
  await browser.close();
  assert.deepEqual(readdirSync(folder).filter((name) => name.startsWith('wvad-chromium-')), []);
});
