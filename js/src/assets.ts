// SPDX-License-Identifier: Apache-2.0
/** Where the module and the models come from: files beside this script, or what the caller hands in. */
import { WvadError } from './errors.js';
import { hasVectors } from './host.js';
import { fetchBytes } from 'wvad-fetch';
import { Profile, wordFor } from './settings.js';

/** Bytes, or where they are: an address (in Node.js a path too), a Blob or File, a Response. */
export type Source = string | URL | BufferSource | { arrayBuffer(): Promise<ArrayBuffer> };

export interface LoadOptions {
  /** The name of a bundled model, as "lstm_fb75", or a model of one's own. Left out: what suits `profile` and `rate`. */
  model?: Source;
  /** Chooses the model where none is given; "default" where it is left out. */
  profile?: Profile;
  /** Likewise: that of the audio in Hz, 16000 where it is left out. */
  rate?: number;
  /** The module, instead of the one beside this script. */
  wasm?: Source;
  /** The folder that holds wvad.wasm, wvad-plain.wasm, worklet.js and models/, instead of that of this script. */
  assets?: string | URL;
  /** Whether the module with 128-bit vectors is taken; where the engine has them if it is left out. */
  vectors?: boolean;
}

export const LOAD_OPTIONS = ['model', 'profile', 'rate', 'wasm', 'assets', 'vectors'];

export async function bytesOf(source: Source): Promise<BufferSource> {
  if (typeof source === 'string' || source instanceof URL) return fetchBytes(source);
  if (source instanceof ArrayBuffer || ArrayBuffer.isView(source)) return source;
  if (typeof source !== 'object' || source === null || typeof source.arrayBuffer !== 'function') {
    throw new TypeError(`model and wasm are an address, bytes, a Blob or a Response, not ${wordFor(source)}`);
  }
  const { ok, url, status } = source as Partial<Response>;
  if (ok === false) throw new Error(`${url || 'the Response'}: ${status}`);
  return source.arrayBuffer();
}

const BUNDLED = ['lstm_fb75', 'lstm_fb40', 'lstm_fb75_8k', 'lstm_fb40_8k'];

const isName = (model: Source): model is string => typeof model === 'string' && /^[A-Za-z0-9_-]+$/.test(model);

/** Takes `name` from the folder of assets; those beside this script are named in full, so that bundlers see them. */
function assetOf(name: string, beside: () => URL, { assets }: LoadOptions): URL | string {
  if (assets === undefined) {
    try {
      return beside();
    } catch {
      throw new WvadError(`${name}: a script that is no module does not know where it lies; name the folder in the option assets`);
    }
  }
  if (typeof assets !== 'string' && !(assets instanceof URL)) throw new TypeError(`assets is an address, not ${wordFor(assets)}`);
  const folder = String(assets) === '' ? '' : String(assets).replace(/\/?$/, '/');
  return assets instanceof URL ? new URL(name, folder) : folder + name;
}

export function wasmSource(options: LoadOptions): Source {
  if (options.wasm !== undefined) return options.wasm;
  return options.vectors ?? hasVectors() ? assetOf('wvad.wasm', () => new URL('./wvad.wasm', import.meta.url), options)
                                         : assetOf('wvad-plain.wasm', () => new URL('./wvad-plain.wasm', import.meta.url), options);
}

export function modelSource(model: Source, options: LoadOptions): Source {
  if (!isName(model)) return model;
  if (options.assets === undefined && !BUNDLED.includes(model)) {
    throw new WvadError(`model: there is no "${model}"; bundled are ${BUNDLED.join(', ')}`, 'WVAD_E_PARAMETER');
  }
  return assetOf(`models/${model}.bin`, () => new URL(`./models/${model}.bin`, import.meta.url), options);
}

export function workletSource(options: LoadOptions): URL | string {
  return assetOf('worklet.js', () => new URL('./worklet.js', import.meta.url), options);
}
