// SPDX-License-Identifier: Apache-2.0
/** A model, ready to listen: sentences and probabilities of samples that are there, and streams. All of it runs where it is called. */
import { WvadError } from './errors.js';
import { Sentence } from './events.js';
import { textAt } from './host.js';
import { channelsOf, checkRate, framesOf, Samples, sliceOf } from './samples.js';
import { checkOptions, Profile } from './settings.js';
import { Listening, Stream, StreamOptions, STREAM_OPTIONS } from './stream.js';

export interface SegmentOptions extends Omit<StreamOptions, 'probability'> {}
export interface ScoresOptions extends Omit<StreamOptions, 'probability' | 'audio' | 'features'> {}

/** The probabilities that `told` gives, one for each of `count` 10 ms. What was not told (the end, whose windows the audio does not fill:
 * 40 ms, with "lstm_fb40" 20) is as what stands before it. */
export function eachTenMs(told: readonly { timeFrame: number; probability: number }[], rate: number, count: number): Float32Array {
  const values = new Float32Array(count).fill(NaN);
  for (const { timeFrame, probability } of told) {
    values[Math.round(timeFrame * 100 / rate)] = probability; // what lies behind the last goes nowhere
  }
  const first = values.findIndex((value) => !Number.isNaN(value));
  let last = first < 0 ? 0 : values[first] as number;
  for (let i = 0; i < count; ++i) {
    if (Number.isNaN(values[i])) values[i] = last;
    last = values[i] as number;
  }
  return values;
}

export class Detector {
  /** Hz that the model listens at; audio of other rates is resampled to it. */
  readonly modelRate: number;
  /** "dnn_fb75", "lstm_fb75" or "lstm_fb40". */
  readonly modelKind: string;
  private closed = false;

  /** Made by Library.open; `profile` is that of streams that name none. */
  constructor(private readonly on: Listening, private readonly whenClosed: () => void = () => undefined, private readonly profile: Profile = 'default') {
    this.modelRate = on.native.wvad_js_model_rate(on.model.handle);
    this.modelKind = textAt(on.native, on.native.wvad_js_model_kind(on.model.handle));
  }

  /**
   * Gives the model's memory back; a closed detector opens nothing more. Its streams go on, and keep the model until they are closed too. Twice is
   * fine.
   */
  close(): void {
    if (this.closed) return;
    this.closed = true;
    this.on.model.letGo();
    this.whenClosed();
  }

  /** The memory of the module, shared by its detectors. It grows where it has to and is given back with the module. */
  get memoryBytes(): number {
    return this.on.native.memory.buffer.byteLength;
  }

  /** A stream for samples of `rate` Hz. Close it when it is not needed any more. */
  stream(rate: number, options: StreamOptions = {}): Stream {
    checkOptions(options, STREAM_OPTIONS);
    if (this.closed) throw new WvadError('the detector is closed', 'WVAD_E_STATE');
    return new Stream(this.on, rate, { ...options, profile: options.profile ?? this.profile });
  }

  /** The sentences of `samples`. */
  segment(samples: Samples, rate: number, options: SegmentOptions = {}): Sentence[] {
    checkOptions(options, STREAM_OPTIONS);
    const sentences: Sentence[] = [];
    this.listen(samples, rate, options, (stream, piece) => {
      for (const event of piece === undefined ? stream.finish() : stream.push(piece)) {
        if (event.kind === 'sentenceEnd') sentences.push(event.sentence);
      }
    });
    return sentences;
  }

  /** The probability of speech for each whole 10 ms of `samples`. */
  scores(samples: Samples, rate: number, options: ScoresOptions = {}): Float32Array {
    checkOptions(options, STREAM_OPTIONS);
    const told: { timeFrame: number; probability: number }[] = [];
    const frames = this.listen(samples, rate, { ...options, probability: true }, (stream, piece) => {
      for (const event of piece === undefined ? stream.finish() : stream.push(piece)) {
        if (event.kind === 'probability') told.push(event);
      }
    });
    return eachTenMs(told, rate, Math.floor(frames * 100 / rate));
  }

  /** Hands `step` the samples second by second, and nothing behind the last; gives their number of frames. */
  private listen(samples: Samples, rate: number, options: StreamOptions, step: (stream: Stream, piece: Samples | undefined) => void): number {
    checkRate(samples, rate);
    const channels = options.channels ?? channelsOf(samples) ?? 1;
    const stream = this.stream(rate, { ...options, channels });
    try {
      const frames = framesOf(samples, channels);
      for (let first = 0; first < frames; first += rate) {
        step(stream, first + rate < frames ? sliceOf(samples, channels, first, first + rate) : sliceOf(samples, channels, first, frames));
      }
      step(stream, undefined);
      return frames;
    } finally {
      stream.close();
    }
  }
}
