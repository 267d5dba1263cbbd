// SPDX-License-Identifier: Apache-2.0
/** Settings by their names in JavaScript, and as the text that the library reads. */
import { checked, fromNative, WvadError } from './errors.js';
import { Native, textAt, withRoom } from './host.js';

export type Profile = 'default' | 'fast' | 'dictation' | 'meeting' | 'telephone';

/** How a stream decides; what is left out is as in the profile. Times in seconds, rounded to whole 10 ms. docs/stream.md has the values. */
export interface Settings {
  profile?: Profile;
  /** Probability of speech from which 10 ms are speech. */
  threshold?: number;
  /** How long speech has to last to begin a sentence. */
  minSpeech?: number;
  /** Silence that ends it. */
  minSilence?: number;
  /** Put before the first speech. */
  padBefore?: number;
  /** Put behind the last speech. */
  padAfter?: number;
  /** The longest sentence. */
  maxSentence?: number;
  /** dB of full scale under which nothing is speech. */
  energyFloorDb?: number;
  /** Silence behind a sentence after which the turn is over; 0 for never. */
  turnSilence?: number;
  /** Between two reports of silence; 0 for none. */
  stillEvery?: number;
}

/** A row of the table of settings. */
export interface SettingInfo {
  name: string;
  unit: string;
  low: number;
  high: number;
  /** 0 is taken too, and switches it off. */
  zeroIsOff: boolean;
  /** In the profile "default". */
  initial: number;
  meaning: string;
}

const toNative = (name: string) => name.replace(/[A-Z]/g, (letter) => '_' + letter.toLowerCase());

export const PROFILES: readonly Profile[] = ['default', 'fast', 'dictation', 'meeting', 'telephone'];

/** What the library says of a name that is none. */
export const noProfile = (name: string) => new WvadError(`profile: there is no "${name}"; choose ${PROFILES.join(', ').replace(/, (?!.*,)/, ' or ')}`, 'WVAD_E_PARAMETER');

const NAMES = ['threshold', 'minSpeech', 'minSilence', 'padBefore', 'padAfter', 'maxSentence', 'energyFloorDb', 'turnSilence', 'stillEvery'] as const;

/** The settings among `options`, as the library reads them. */
export function settingsText(options: Settings): string {
  const entries = [`profile=${options.profile ?? 'default'}`];
  if (/[\s,]/.test(entries[0] as string)) throw noProfile(options.profile as string);
  for (const name of NAMES) {
    const value = options[name];
    if (value === undefined) continue;
    entries.push(`${toNative(name)}=${value}`);
  }
  return entries.join(' ');
}

/** The names of all settings. */
export const SETTINGS: readonly string[] = ['profile', ...NAMES];

const KINDS = {
  number: 'a number',
  boolean: 'true or false',
  string: 'a text',
  function: 'a function',
  object: 'an object',
};

/** What the options are that are of one kind wherever they are taken. The others are looked at where they are used. */
const KIND_OF: Readonly<Record<string, keyof typeof KINDS>> = {
  profile: 'string', threshold: 'number', minSpeech: 'number', minSilence: 'number', padBefore: 'number', padAfter: 'number',
  maxSentence: 'number', energyFloorDb: 'number', turnSilence: 'number', stillEvery: 'number',
  rate: 'number', channels: 'number', probability: 'boolean', audio: 'boolean', features: 'boolean', vectors: 'boolean',
  onSpeechStart: 'function', onSpeechEnd: 'function', onMisfire: 'function', onTurnEnd: 'function', onFrame: 'function', onEvent: 'function',
  onError: 'function', stream: 'object', constraints: 'object', context: 'object',
};

/**
 * Throws a TypeError for a name in `options` that is none of `known`, which would else have no effect, for one of them that is inherited, and for a
 * value of a wrong kind. What is undefined counts as left out.
 */
export function checkOptions(options: object, known: readonly string[]): void {
  if (typeof options !== 'object' || options === null || Array.isArray(options)) throw new TypeError(`options are an object, not ${wordFor(options)}`);
  // Some places copy options, which leaves behind what a class or a prototype has.
  for (const name of known) {
    if (name in options && !Object.prototype.hasOwnProperty.call(options, name)) throw new TypeError(`${name} is inherited; options have to be members of the object itself`);
  }
  for (const [name, value] of Object.entries(options)) {
    if (!known.includes(name)) throw new TypeError(`there is no option "${name}"`);
    const kind = KIND_OF[name];
    if (value === undefined || kind === undefined) continue;
    if (typeof value !== kind || value === null) throw new TypeError(`${name} is ${KINDS[kind]}, not ${wordFor(value)}`);
  }
}

/** A value in few words, for messages. */
export function wordFor(value: unknown): string {
  if (value === null || (typeof value !== 'object' && typeof value !== 'function')) return typeof value === 'string' ? `"${value}"` : String(value);
  if (typeof value === 'function') return 'a function';
  if (Array.isArray(value)) return 'an array';
  return 'then' in value ? 'a promise: await it first' : `an object (${value.constructor?.name ?? 'without a class'})`;
}

/** Throws for what is no whole number, or none of the 32 bits that the module takes: it would arrive as another one. */
export function checkWhole(name: string, value: unknown): void {
  if (!Number.isInteger(value)) throw new TypeError(`${name} is a whole number, not ${wordFor(value)}`);
  if (Math.abs(value as number) >= 2 ** 31) throw new WvadError(`${name}: ${value as number} is outside of its range`, 'WVAD_E_FORMAT');
}

/** The table of settings. */
export function describe(native: Native): SettingInfo[] {
  return withRoom(native, 48, (row) => {
    const rows: SettingInfo[] = [];
    while (checked(native, native.wvad_js_describe(rows.length, row, row + 32)) === 1) {
      const [low, high, initial, off] = new Float64Array(native.memory.buffer, row, 4) as unknown as [number, number, number, number];
      const [name, unit, meaning] = [...new Uint32Array(native.memory.buffer, row + 32, 3)].map((address) => textAt(native, address)) as
          [string, string, string];
      rows.push({ name: fromNative(name), unit, low, high, zeroIsOff: off === 1, initial, meaning });
    }
    return rows;
  });
}
