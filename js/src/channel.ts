// SPDX-License-Identifier: Apache-2.0
/** Which of several channels is listened to. */
import { WvadError } from './errors.js';
import { checkWhole } from './settings.js';

export type Channel = number | 'mix';

/** The number of the channel, from 1; 0 for the mix of all. Throws for what is neither. */
export function checkedChannel(channel: Channel = 'mix'): number {
  if (channel === 'mix') return 0;
  if (typeof channel === 'string') throw new TypeError(`channel is "mix" or a number from 1, not "${channel as string}"`);
  checkWhole('channel', channel);
  if (channel < 1) throw new WvadError('channel: the first is 1', 'WVAD_E_FORMAT');
  return channel;
}

/** Of sound that has fewer. */
export function noChannel(channel: number, channels: number): WvadError {
  return new WvadError(`channel: ${channel} is asked for, and the sound has ${channels}`, 'WVAD_E_FORMAT');
}
