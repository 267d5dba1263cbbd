// SPDX-License-Identifier: Apache-2.0
/**
 * The AudioWorklet of microphone.ts: the module of WebAssembly, a model and a stream on the thread of the audio. The page's own thread gets
 * events and nothing else to do.
 *
 * The page sends the bytes of the module, gets the name of the model that suits, sends the bytes of a model, and gets "ready". Audio that comes
 * before is not heard. A pause ends what is open; its events come with the answer, and there is always one.
 */
import { noChannel } from './channel.js';
import { WvadError } from './errors.js';
import { Event } from './events.js';
import { Library } from './library.js';
import { Profile } from './settings.js';
import { Stream, StreamOptions } from './stream.js';

export type ToWorklet =
    { type: 'module'; wasm: ArrayBuffer; profile: Profile } |
    { type: 'model'; model: ArrayBuffer; options: StreamOptions; channel: number } |
    { type: 'pause' | 'resume' | 'close' };
export type FromWorklet =
    { type: 'suits'; model: string } |
    { type: 'ready'; rate: number } |
    { type: 'events' | 'paused'; events: Event[] } |
    { type: 'error'; name: string; message: string; status: string };

// What an AudioWorklet has and TypeScript's library does not declare.
declare const sampleRate: number;
declare class AudioWorkletProcessor {
  readonly port: MessagePort;
}
declare function registerProcessor(name: string, processor: new () => AudioWorkletProcessor): void;

class Listener extends AudioWorkletProcessor {
  private library: Library | undefined;
  private stream: Stream | undefined;
  /** Counted from 1; 0 where the node has mixed them to one. */
  private channel = 0;
  private listens = true;
  private open = true;

  constructor() {
    super();
    this.port.onmessage = ({ data }: MessageEvent<ToWorklet>) => this.guard(() => this.take(data));
  }

  /** Called with 128 frames of each channel. Gives whether it wants to be called again. */
  process([input]: [Float32Array[]]): boolean {
    const { stream } = this;
    if (stream !== undefined && this.listens && input.length > 0) this.guard(() => this.tell('events', stream.push([this.heard(input)])));
    return this.open;
  }

  /** The samples that are listened to, of those of all channels. */
  private heard(input: Float32Array[]): Float32Array {
    const heard = input[Math.max(0, this.channel - 1)];
    if (heard === undefined) throw noChannel(this.channel, input.length);
    return heard;
  }

  private take(message: ToWorklet): void {
    switch (message.type) {
      case 'module':
        Library.of(message.wasm).then((library) => this.guard(() => {
          this.library = library;
          this.post({ type: 'suits', model: library.suitableModel(message.profile, sampleRate) });
        }), (error) => this.fail(error));
        return;
      case 'model':
        if (this.library !== undefined) {
          const detector = this.library.open(message.model);
          this.channel = message.channel;
          this.stream = detector.stream(sampleRate, message.options);
          this.post({ type: 'ready', rate: detector.modelRate });
        }
        return;
      case 'pause':
        // What is said ends here, and does not go on behind the pause.
        this.listens = false;
        this.tell('paused', this.stream?.finish() ?? []);
        return;
      case 'resume':
        this.stream?.reset();
        this.listens = true;
        return;
      case 'close':
        this.open = false;
        this.stream?.close();
        this.stream = undefined;
        this.library = undefined;
    }
  }

  /** Samples of sentences are handed over, not copied. */
  private tell(type: 'events' | 'paused', events: Event[]): void {
    const samples = events.flatMap((event) => (event.kind === 'sentenceEnd' && event.sentence.audio ? [event.sentence.audio.buffer] : []));
    if (events.length > 0 || type === 'paused') this.post({ type, events }, samples);
  }

  private post(message: FromWorklet, transfer: Transferable[] = []): void {
    this.port.postMessage(message, transfer);
  }

  private guard(step: () => void): void {
    try {
      step();
    } catch (error) {
      this.fail(error);
    }
  }

  private fail(error: unknown): void {
    this.stream = undefined;
    const [name, message] = error instanceof Error ? [error.name, error.message] : ['Error', String(error)];
    this.post({ type: 'error', name, message, status: error instanceof WvadError ? error.status : '' });
  }
}

registerProcessor('wvad', Listener);
