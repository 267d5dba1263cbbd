// SPDX-License-Identifier: Apache-2.0
import { Native, textAt } from './host.js';

/** A refusal of the library, in its own words. What was refused was not taken. */
export class WvadError extends Error {
  /** The name of the library's status, such as "WVAD_E_RANGE" (docs/stream.md); "" where the refusal is this package's own. */
  readonly status: string;

  constructor(message: string, status = '') {
    super(message);
    this.name = 'WvadError';
    this.status = status;
  }
}

/** The library's name of a setting or an option as it is called here: "min_silence" is minSilence, "rate_hz" rate. */
export const fromNative = (name: string) => name.replace(/_hz$/, '').replace(/_(.)/g, (_, letter: string) => letter.toUpperCase());

/** Gives `status` back, or throws what the library says where it is negative. */
export function checked(native: Native, status: number): number {
  if (status >= 0) return status;
  const words = textAt(native, native.wvad_last_error()).replace(/^[a-z]+(_[a-z]+)+(?=: )/, fromNative);
  throw new WvadError(words, textAt(native, native.wvad_status_name(status)));
}
