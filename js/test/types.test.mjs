// SPDX-License-Identifier: Apache-2.0
// The declarations say what a program in TypeScript may write, and refuse what it may not.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { test } from 'node:test';
import { root } from './audio.mjs';

test('a program in TypeScript compiles, and its mistakes do not', () => {
  const { status, stdout, error } = spawnSync('tsc', ['-p', `${root}/js/test/types`], { encoding: 'utf8' });
  assert.equal(error, undefined);
  assert.equal(status, 0, stdout);
});
