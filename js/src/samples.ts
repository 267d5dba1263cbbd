// SPDX-License-Identifier: Apache-2.0
/** Samples in the forms that programs have them, on their way into the module's memory. */
import { WvadError } from './errors.js';
import { Native } from './host.js';
import { wordFor } from './settings.js';

/** Interleaved samples; floats have full scale 1.0. */
export type Interleaved = Float32Array | Int16Array | Int32Array;
/**
 * What is listened to: interleaved samples, an array with the samples of each channel (as an AudioWorklet has them), or an AudioBuffer.
 */
export type Samples = Interleaved | readonly Float32Array[] | AudioBufferLike;
/** What is used of an AudioBuffer. */
export interface AudioBufferLike {
  readonly numberOfChannels: number;
  readonly length: number;
  readonly sampleRate: number;
  getChannelData(channel: number): Float32Array;
}

/** WVAD_SAMPLE_... */
export type SampleForm = 1 | 3 | 4;

/** "Float32Array" and the like; not by its class, which another frame or context has a second time. */
const kindOf = (samples: unknown) => ArrayBuffer.isView(samples) ? String((samples as unknown as { [Symbol.toStringTag]: string })[Symbol.toStringTag]) : '';
const isInterleaved = (samples: unknown): samples is Interleaved => /^(Float32|Int16|Int32)Array$/.test(kindOf(samples));

export function formOf(samples: Samples): SampleForm {
  const kind = kindOf(samples);
  return kind === 'Int16Array' ? 1 : kind === 'Int32Array' ? 3 : 4;
}

/** Throws for an array whose memory was given to somebody else, which looks empty. */
function checkThere(array: Interleaved): void {
  if (array.length > 0) return;
  try {
    new Uint8Array(array.buffer as ArrayBuffer);
  } catch {
    throw new TypeError('the memory of the samples was transferred, and is not here any more');
  }
}

const isBuffer = (samples: unknown): samples is AudioBufferLike =>
    typeof samples === 'object' && samples !== null && 'getChannelData' in samples;

function planesOf(samples: Samples): readonly Float32Array[] | undefined {
  if (isInterleaved(samples)) {
    checkThere(samples);
    return undefined;
  }
  // A copy of an array has no holes, which every() would leave out.
  const planes = isBuffer(samples) ? Array.from({ length: samples.numberOfChannels }, (_, channel) => samples.getChannelData(channel))
                                   : Array.isArray(samples) ? [...samples] : [];
  if (planes.length === 0 || !planes.every((plane) => kindOf(plane) === 'Float32Array')) {
    throw new TypeError(`samples are Float32Array, Int16Array, Int32Array, an array of Float32Array, or an AudioBuffer, not ${wordFor(samples)}`);
  }
  planes.forEach(checkThere);
  const frames = planes[0].length;
  if (planes.some((plane) => plane.length !== frames)) throw new WvadError('the channels differ in length', 'WVAD_E_LENGTH');
  return planes;
}

/** Throws where an AudioBuffer has another rate than was said: its sentences would lie elsewhere. */
export function checkRate(samples: Samples, rate: number): void {
  if (isBuffer(samples) && samples.sampleRate !== rate) {
    throw new WvadError(`rate: the AudioBuffer has ${samples.sampleRate} Hz, not ${rate}`, 'WVAD_E_FORMAT');
  }
}

/** The number of channels that `samples` shows by itself; nothing for interleaved ones. */
export function channelsOf(samples: Samples): number | undefined {
  return planesOf(samples)?.length;
}

/** Sample frames of `samples`. */
export function framesOf(samples: Samples, channels: number): number {
  const planes = planesOf(samples);
  return planes === undefined ? Math.ceil((samples as Interleaved).length / channels) : planes[0]?.length ?? 0;
}

/** The frames from `first` to `last` - 1, without a copy. */
export function sliceOf(samples: Samples, channels: number, first: number, last: number): Samples {
  const planes = planesOf(samples);
  if (planes === undefined) return (samples as Interleaved).subarray(first * channels, last * channels);
  return planes.map((plane) => plane.subarray(first, last));
}

/** Above this floats can only be integers: no recording is so loud. */
const INTEGERS = 1000;
const LARGEST = 3.4e38;

/** What is said of floats that were not divided by their full scale, and are heard as one noise; nothing of others. */
function wordsOfScale(samples: Float32Array): string | undefined {
  let peak = 0;
  for (let i = 0; i < samples.length; ++i) peak = Math.max(peak, Math.abs(samples[i] as number));
  if (!(peak > INTEGERS && peak < LARGEST)) return undefined;
  return `samples go up to ${peak.toFixed(0)}; full scale is 1.0; samples that go up to 32768 have to be divided by that first`;
}

/** A piece for a stream of `channels` channels and samples of `form`, which has been found to be one. */
export class Piece {
  readonly bytes: number;
  private readonly planes: readonly Float32Array[] | undefined;

  constructor(private readonly samples: Samples, private readonly channels: number, readonly form: SampleForm) {
    if (formOf(samples) !== form) throw new TypeError('the pieces of a stream have one type');
    this.planes = planesOf(samples);
    if (this.planes === undefined) {
      this.bytes = (samples as Interleaved).byteLength;
      return;
    }
    if (this.planes.length !== channels) {
      throw new WvadError(`${this.planes.length} channels were given to a stream of ${channels}`, 'WVAD_E_FORMAT');
    }
    this.bytes = 4 * (this.planes[0] as Float32Array).length * channels;
  }

  /** Writes it, interleaved, to `address`; gives words of warning where its scale is wrong. */
  write(native: Native, address: number): string | undefined {
    const { buffer } = native.memory;
    if (this.planes !== undefined) {
      const target = new Float32Array(buffer, address, this.bytes / 4);
      this.planes.forEach((plane, channel) => {
        for (let i = 0, at = channel; i < plane.length; ++i, at += this.channels) target[at] = plane[i] as number;
      });
      return wordsOfScale(target);
    }
    if (this.form === 1) {
      new Int16Array(buffer, address, this.bytes / 2).set(this.samples as Int16Array);
    } else if (this.form === 3) {
      new Int32Array(buffer, address, this.bytes / 4).set(this.samples as Int32Array);
    } else {
      const target = new Float32Array(buffer, address, this.bytes / 4);
      target.set(this.samples as Float32Array);
      return wordsOfScale(target);
    }
    return undefined;
  }
}
