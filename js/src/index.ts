// SPDX-License-Identifier: Apache-2.0
/** wvad for JavaScript: sentences in recordings, arrays and live audio. docs/javascript.md is the guide. */
import { bytesOf, LoadOptions, LOAD_OPTIONS, modelSource, wasmSource } from './assets.js';
import { Detector, ScoresOptions, SegmentOptions } from './detector.js';
import { Sentence } from './events.js';
import { Library } from './library.js';
import { Samples } from './samples.js';
import { checkOptions, SettingInfo } from './settings.js';
import { Stream, StreamOptions, STREAM_OPTIONS } from './stream.js';

export type { LoadOptions, Source } from './assets.js';
export { Detector } from './detector.js';
export type { ScoresOptions, SegmentOptions } from './detector.js';
export { WvadError } from './errors.js';

export type { Event, Sentence } from './events.js';
export { hasVectors } from './host.js';
export { Library } from './library.js';
export type { AudioBufferLike, Samples } from './samples.js';
export type { Profile, SettingInfo, Settings } from './settings.js';
export { Stream } from './stream.js';
export type { StreamInfo, StreamOptions } from './stream.js';

const libraries = new Map<string, Promise<Library>>();
const detectors = new Map<string, Promise<Detector>>();

/** The promise that `make` gives for `key`, made once; what fails is forgotten. Without a key it is made anew. */
function kept<T>(store: Map<string, Promise<T>>, key: string | undefined, make: () => Promise<T>): Promise<T> {
  if (key === undefined) return make();
  let promise = store.get(key);
  if (promise === undefined) {
    promise = make();
    store.set(key, promise);
    promise.catch(() => store.delete(key));
  }
  return promise;
}

const keyOf = (source: unknown) => typeof source === 'string' || source instanceof URL ? String(source) : undefined;

function libraryOf(options: LoadOptions): Promise<Library> {
  const source = wasmSource(options);
  return kept(libraries, keyOf(source), async () => Library.of(await bytesOf(source)));
}

/** A detector, and whether it is nobody else's: what comes from no address is not kept. */
async function detectorOf(options: LoadOptions): Promise<{ detector: Detector; own: boolean }> {
  checkOptions(options, LOAD_OPTIONS);
  const library = await libraryOf(options);
  const { model: wanted = library.suitableModel(options.profile ?? 'default', options.rate ?? 16000) } = options;
  const model = modelSource(wanted, options);
  const [wasmKey, modelKey] = [keyOf(wasmSource(options)), keyOf(model)];
  const key = wasmKey === undefined || modelKey === undefined ? undefined : `${wasmKey} ${modelKey} ${options.profile ?? 'default'}`;
  const forget = () => void (key !== undefined && detectors.delete(key));
  return { detector: await kept(detectors, key, async () => library.open(await bytesOf(model), forget, options.profile)), own: key === undefined };
}

/** A model, ready to listen. What was loaded from an address is kept, and shared, until it is closed: a second call costs nothing. */
export async function load(options: LoadOptions = {}): Promise<Detector> {
  return (await detectorOf(options)).detector;
}

/** What `step` gives for a detector, which is closed behind it where nobody else can have it. */
async function withDetector<T>(options: LoadOptions, step: (detector: Detector) => T): Promise<T> {
  const { detector, own } = await detectorOf(options);
  try {
    return step(detector);
  } finally {
    if (own) detector.close();
  }
}

function split<T extends object>(rate: number, options: T & Omit<LoadOptions, 'rate'>): [LoadOptions, T] {
  checkOptions(options, [...LOAD_OPTIONS, ...STREAM_OPTIONS].filter((name) => name !== 'rate'));
  const { model, wasm, assets, vectors, ...rest } = options;
  const loading: LoadOptions = { rate };
  if (options.profile !== undefined) loading.profile = options.profile;
  if (model !== undefined) loading.model = model;
  if (wasm !== undefined) loading.wasm = wasm;
  if (assets !== undefined) loading.assets = assets;
  if (vectors !== undefined) loading.vectors = vectors;
  return [loading, rest as unknown as T];
}

type Loading = Omit<LoadOptions, 'rate'>;

/** The sentences of `samples`, of `rate` Hz. */
export async function segment(samples: Samples, rate: number, options: SegmentOptions & Loading = {}): Promise<Sentence[]> {
  const [loading, rest] = split<SegmentOptions>(rate, options);
  return withDetector(loading, (detector) => detector.segment(samples, rate, rest));
}

/** The probability of speech for each whole 10 ms of `samples`. */
export async function scores(samples: Samples, rate: number, options: ScoresOptions & Loading = {}): Promise<Float32Array> {
  const [loading, rest] = split<ScoresOptions>(rate, options);
  return withDetector(loading, (detector) => detector.scores(samples, rate, rest));
}

/** A stream for samples of `rate` Hz that come piece by piece. */
export async function openStream(rate: number, options: StreamOptions & Loading = {}): Promise<Stream> {
  const [loading, rest] = split<StreamOptions>(rate, options);
  return withDetector(loading, (detector) => detector.stream(rate, rest));
}

/** The settings, with their ranges. */
export async function describe(options: LoadOptions = {}): Promise<SettingInfo[]> {
  checkOptions(options, LOAD_OPTIONS);
  return (await libraryOf(options)).settings();
}
