// SPDX-License-Identifier: Apache-2.0
// The declarations say what a program in TypeScript may write, and refuse what it may not.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { root } from './audio.mjs';

test('a program in TypeScript compiles, and its mistakes do not', () => {
  const { status, stdout, error } = spawnSync('tsc', ['-p', `${root}/js/test/types`], { encoding: 'utf8' });
  assert.equal(error, undefined);
  assert.equal(status, 0, stdout);
});

test('import and require compile as Node.js resolves them, in a program that knows of no browser', () => {
  const folder = mkdtempSync(join(tmpdir(), 'wvad-types-'));
  try {
    mkdirSync(join(folder, 'node_modules'));
    symlinkSync(`${root}/js`, join(folder, 'node_modules/wvad'));
    const program = "import { load, Microphone, Sentence } from 'wvad';\nexport const found: Promise<Sentence[]> = load().then((one) => one.segment(new Int16Array(1), 16000));\nvoid Microphone;\n";
    for (const name of ['program.cts', 'program.mts']) writeFileSync(join(folder, name), program);
    const { status, stdout } = spawnSync('tsc', ['--module', 'node16', '--moduleResolution', 'node16', '--target', 'es2022', '--lib', 'es2022', '--strict', '--noEmit',
                                                 'program.cts', 'program.mts'], { cwd: folder, encoding: 'utf8' });
    assert.equal(status, 0, stdout);
  } finally {
    rmSync(folder, { recursive: true });
  }
});
