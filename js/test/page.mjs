// SPDX-License-Identifier: Apache-2.0
// A page in Chromium for tests: it has the package as `wvad` and a recording as `samples`, which its microphone hears over and over.
import { existsSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { recording, root, toFloat, wav } from './audio.mjs';
import { serve } from '../demo/serve.mjs';
import { Chromium } from './chromium.mjs';

/** Why there is no such page, or false. */
export const skip = !existsSync(Chromium.program) && `there is no ${Chromium.program}`;

const page = '<!doctype html><meta charset="utf-8"><link rel="icon" href="data:,"><script type="module">globalThis.wvad = await import("/dist/browser.js");</script>';

/** Opens it; `extra` are further files of its server, contents by path. Gives {browser, close}. */
export async function openPage(extra = {}) {
  const jfk = recording('jfk');
  const folder = mkdtempSync(join(tmpdir(), 'wvad-audio-'));
  writeFileSync(join(folder, 'jfk.wav'), wav(jfk, 16000));
  const server = await serve(`${root}/js`, { extra: { '/test.html': page, '/jfk.wav': wav(jfk, 16000), '/jfk.raw': Buffer.from(toFloat(jfk).buffer), ...extra } });
  let browser;
  const close = async () => {
    await browser?.close();
    server.close();
    rmSync(folder, { recursive: true });
  };
  try {
    browser = await Chromium.start({ microphone: join(folder, 'jfk.wav') });
    await browser.open(`${server.address}/test.html`);
    await browser.run(async () => {
      while (!globalThis.wvad) await new Promise((resolve) => setTimeout(resolve, 1));
      globalThis.samples = new Float32Array(await (await fetch('/jfk.raw')).arrayBuffer());
    });
  } catch (error) {
    await close();
    throw error;
  }
  return { browser, close };
}
