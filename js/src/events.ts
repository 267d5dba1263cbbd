// SPDX-License-Identifier: Apache-2.0
/** Events as plain objects. Times in seconds from the stream's start; a name that ends in Frame is the same in the input's samples, exact. */
import { Native } from './host.js';

/** A sentence. */
export interface Sentence {
  /** From 0, in the stream. */
  number: number;
  /** With the margins padBefore and padAfter; `end` is the first time outside. */
  begin: number;
  end: number;
  beginFrame: number;
  endFrame: number;
  duration: number;
  /** Mean power of the speech in dB of full scale (0 is a full square wave). */
  level: number;
  /** `level` over the noise, in dB; NaN in the first half second of a stream. */
  snr: number;
  /** Share of its samples at full scale, 0 to 1. */
  clipped: number;
  /** Cut off there, by an end of the audio or by maxSentence. */
  beganInSpeech: boolean;
  endedInSpeech: boolean;
  /** How much had been heard when it was known. */
  knownAt: number;
  /** One channel at the model's rate, -1 to 1, where `audio` was asked for. */
  audio?: Float32Array;
  /** 115 values for each of its 10 ms, one after the other, where `features` were asked for. */
  features?: Float32Array;
}

interface Told {
  /** What the event speaks of. */
  time: number;
  timeFrame: number;
  /** How much had been heard by then: `knownAt - time` is the delay. */
  knownAt: number;
}

/** Speech may have begun: told at once. Followed by sentenceBegin or onsetDropped. */
export type OnsetEvent = Told & { kind: 'onset' };
/** What was told as onset was none. */
export type OnsetDroppedEvent = Told & { kind: 'onsetDropped' };
/** A sentence has begun, at `time`. */
export type SentenceBeginEvent = Told & { kind: 'sentenceBegin'; number: number };
/** A sentence has ended, at `time`. */
export type SentenceEndEvent = Told & { kind: 'sentenceEnd'; sentence: Sentence };
/** For turnSilence nothing has followed the last speech of sentence `number`, which ended at `time`. */
export type TurnEndEvent = Told & { kind: 'turnEnd'; number: number };
/** Silence since `begin`, up to `time`. */
export type SilenceEvent = Told & { kind: 'silence'; begin: number };
/** The 10 ms from `time` on are speech with `probability`. */
export type ProbabilityEvent = Told & { kind: 'probability'; probability: number };
/** The stream is finished; `time` is its length. */
export type StreamEndEvent = Told & { kind: 'streamEnd' };

export type Event = OnsetEvent | OnsetDroppedEvent | SentenceBeginEvent | SentenceEndEvent | TurnEndEvent | SilenceEvent | ProbabilityEvent |
    StreamEndEvent;

/** Doubles that the binding writes for an event. */
export const ROW_LENGTH = 15;

const BEGAN_IN_SPEECH = 1;
const ENDED_IN_SPEECH = 2;

function sentenceOf(row: Float64Array, rate: number, native: Native): Sentence {
  const [, , knownAt, number, begin, end, flags, , level, snr, clipped, audioAt, audioCount, featuresAt, featuresCount] = row as unknown as number[] as
      [number, number, number, number, number, number, number, number, number, number, number, number, number, number, number];
  const sentence: Sentence = {
    number,
    begin: begin / rate,
    end: end / rate,
    beginFrame: begin,
    endFrame: end,
    duration: (end - begin) / rate,
    level,
    snr,
    clipped,
    beganInSpeech: (flags & BEGAN_IN_SPEECH) !== 0,
    endedInSpeech: (flags & ENDED_IN_SPEECH) !== 0,
    knownAt: knownAt / rate,
  };
  if (audioAt !== 0) sentence.audio = Float32Array.from(new Int16Array(native.memory.buffer, audioAt, audioCount), (sample) => sample / 32768);
  if (featuresAt !== 0) sentence.features = new Float32Array(native.memory.buffer, featuresAt, featuresCount * 115).slice();
  return sentence;
}

/** The event of a row of the binding; nothing for a kind that is not known here. */
export function eventOf(row: Float64Array, rate: number, native: Native): Event | undefined {
  const timeFrame = row[1] as number;
  const number = row[3] as number;
  const told = { time: timeFrame / rate, timeFrame, knownAt: (row[2] as number) / rate };
  switch (row[0]) {
    case 1:
      return { kind: 'onset', ...told };
    case 2:
      return { kind: 'onsetDropped', ...told };
    case 3:
      return { kind: 'sentenceBegin', ...told, number };
    case 4:
      return { kind: 'sentenceEnd', ...told, sentence: sentenceOf(row, rate, native) };
    case 5:
      return { kind: 'turnEnd', ...told, number };
    case 6:
      return { kind: 'silence', ...told, begin: (row[4] as number) / rate };
    case 7:
      return { kind: 'probability', ...told, probability: row[7] as number };
    case 8:
      return { kind: 'streamEnd', ...told };
    default:
      return undefined;
  }
}
