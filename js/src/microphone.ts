// SPDX-License-Identifier: Apache-2.0
/** Live audio of a page: from the microphone or any MediaStream, heard in an AudioWorklet, told through callbacks. */
/// <reference lib="dom" />
import { bytesOf, LoadOptions, modelSource, wasmSource, workletSource } from './assets.js';
import { Channel, checkedChannel, noChannel } from './channel.js';
import { WvadError } from './errors.js';
import { Event, Sentence } from './events.js';
import { checkOptions, Settings, SETTINGS } from './settings.js';
import { StreamOptions } from './stream.js';
import { FromWorklet, ToWorklet } from './worklet.js';

export interface MicrophoneOptions extends Settings, Omit<LoadOptions, 'rate' | 'profile'> {
  /** Speech has begun, as it seems; told at once. */
  onSpeechStart?: (event: Event) => void;
  /** A sentence has ended; `audio` are its samples, at `microphone.audioRate`. */
  onSpeechEnd?: (audio: Float32Array, sentence: Sentence) => void;
  /** What was told as onSpeechStart was none. */
  onMisfire?: () => void;
  /** For turnSilence nothing has followed a sentence. */
  onTurnEnd?: (event: Event) => void;
  /** The probability of speech for 10 ms; `time` is in seconds from the last start. */
  onFrame?: (probability: number, time: number) => void;
  /** Every event, as a stream tells it. */
  onEvent?: (event: Event) => void;
  /** Listening broke off: the module, the model or the microphone failed. */
  onError?: (error: Error) => void;
  /** What is listened to instead of the microphone. It is not stopped by `destroy`. */
  stream?: MediaStream;
  /** For getUserMedia, where `stream` is left out. */
  constraints?: MediaTrackConstraints;
  /** What is heard of several channels: their mix ("mix", the default), or one, counted from 1. */
  channel?: Channel;
  /** Of the page's own, instead of one that is made and closed with the microphone. */
  context?: AudioContext;
}

const CALLBACKS = ['onSpeechStart', 'onSpeechEnd', 'onMisfire', 'onTurnEnd', 'onFrame', 'onEvent', 'onError'];
const KNOWN = [...SETTINGS, ...CALLBACKS, 'model', 'wasm', 'assets', 'vectors', 'stream', 'constraints', 'channel', 'context'];

/** Bytes that may be handed over to another thread. */
async function ownBytes(source: Parameters<typeof bytesOf>[0]): Promise<ArrayBuffer> {
  const bytes = await bytesOf(source);
  return ArrayBuffer.isView(bytes) ? bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength) as ArrayBuffer : bytes.slice(0);
}

const contextClosed = () => new WvadError('the AudioContext is closed', 'WVAD_E_STATE');
const workletFailed = () => new Error('the AudioWorklet failed');

/** What `work` gives. Rejects where the context is closed before that: nothing that was asked for there would be answered. */
function unlessClosed<T>(context: AudioContext, work: Promise<T>): Promise<T> {
  let changed = () => {};
  const closed = new Promise<never>((_, reject) => {
    changed = () => {
      if (context.state === 'closed') reject(contextClosed());
    };
    context.addEventListener('statechange', changed);
    changed();
  });
  return Promise.race([closed, work]).catch((error) => {
    throw context.state === 'closed' ? contextClosed() : error; // that it is closed may be known before it is told
  }).finally(() => context.removeEventListener('statechange', changed));
}

/** Sends `message` and gives the answer of the kind `type`. */
function asked<T extends FromWorklet['type']>(node: AudioWorkletNode, message: ToWorklet, transfer: Transferable[], type: T):
    Promise<Extract<FromWorklet, { type: T }>> {
  return new Promise((resolve, reject) => {
    node.onprocessorerror = () => reject(workletFailed());
    node.port.onmessage = ({ data }: MessageEvent<FromWorklet>) => {
      if (data.type === type) resolve(data as Extract<FromWorklet, { type: T }>);
      if (data.type === 'error') reject(errorOf(data));
    };
    node.port.postMessage(message, transfer);
  });
}

/** The error that the worklet told of, as it was there. */
function errorOf({ name, message, status }: Extract<FromWorklet, { type: 'error' }>): Error {
  return status !== '' ? new WvadError(message, status) : name === 'TypeError' ? new TypeError(message) : new Error(message);
}

const hasEnded = (media: MediaStream) => media.getAudioTracks().some((track) => track.readyState === 'ended');

/** What a MediaStream is known to have, where the browser tells. */
const channelsOf = (media: MediaStream) => (media.getAudioTracks()[0]?.getSettings() as { channelCount?: number } | undefined)?.channelCount;

export class Microphone {
  /** Rate of the samples that onSpeechEnd gets: that of the model. */
  readonly audioRate: number;
  private state: 'paused' | 'listening' | 'destroyed' = 'paused';
  /** Pauses that the worklet has not answered, in their order, and the last of them. */
  private pausing: (() => void)[] = [];
  private paused = Promise.resolve();
  /** What listening broke off with. */
  private broken: Error | undefined;

  private constructor(private readonly options: MicrophoneOptions, private readonly context: AudioContext, private readonly node: AudioWorkletNode,
                      private readonly source: MediaStreamAudioSourceNode, audioRate: number) {
    this.audioRate = audioRate;
    node.port.onmessage = ({ data }: MessageEvent<FromWorklet>) => this.take(data);
    node.onprocessorerror = () => this.fail(workletFailed());
    for (const track of source.mediaStream.getAudioTracks()) {
      track.addEventListener('ended', () => this.lose(new Error('the microphone is gone')));
    }
    context.addEventListener('statechange', () => {
      if (context.state !== 'closed') return;
      this.settle();
      if (this.state === 'listening') this.fail(contextClosed());
    });
  }

  /**
   * Asks for the microphone, loads module and model and makes ready. Listens from `start` on. Call it, or `start`, from a click: browsers let no
   * page hear before.
   */
  static async open(options: MicrophoneOptions = {}): Promise<Microphone> {
    checkOptions(options, KNOWN);
    if (typeof AudioContext === 'undefined') throw new Error('the microphone needs a browser: a stream of openStream listens anywhere');
    if (!globalThis.isSecureContext) throw new Error('the microphone needs a page of https or localhost');
    if (options.stream !== undefined && hasEnded(options.stream)) throw new WvadError('stream: its sound has ended', 'WVAD_E_STATE');
    const channel = checkedChannel(options.channel);
    const media = options.stream ?? await navigator.mediaDevices.getUserMedia({ audio: { channelCount: Math.max(1, channel), ...options.constraints } });
    const context = options.context ?? new AudioContext();
    try {
      const channels = channelsOf(media);
      if (channels !== undefined && channels < channel) throw noChannel(channel, channels);
      return await unlessClosed(context, Microphone.on(media, context, options));
    } catch (error) {
      if (options.stream === undefined) media.getTracks().forEach((track) => track.stop());
      if (options.context === undefined) await context.close();
      throw error;
    }
  }

  private static async on(media: MediaStream, context: AudioContext, options: MicrophoneOptions): Promise<Microphone> {
    const [wasm] = await Promise.all([ownBytes(wasmSource(options)), context.audioWorklet.addModule(workletSource(options))]);
    const channel = checkedChannel(options.channel);
    const node = new AudioWorkletNode(context, 'wvad', { numberOfOutputs: 0, channelCount: 1, channelCountMode: channel === 0 ? 'explicit' : 'max' });
    try {
      const rate = await Microphone.prepare(node, wasm, channel, options);
      return new Microphone(options, context, node, context.createMediaStreamSource(media), rate);
    } catch (error) {
      node.port.postMessage({ type: 'close' }); // or it would live, with module and memory, as long as the page's context
      throw error;
    }
  }

  /** Hands the worklet module, model and settings. Gives the rate of the model. */
  private static async prepare(node: AudioWorkletNode, wasm: ArrayBuffer, channel: number, options: MicrophoneOptions): Promise<number> {
    const suits = await asked(node, { type: 'module', wasm, profile: options.profile ?? 'default' }, [wasm], 'suits');
    const model = await ownBytes(modelSource(options.model === undefined ? suits.model : options.model, options));
    const stream: StreamOptions = { audio: true, probability: options.onFrame !== undefined || options.onEvent !== undefined };
    for (const name of SETTINGS) if (name in options) (stream as Record<string, unknown>)[name] = options[name as keyof MicrophoneOptions];
    return (await asked(node, { type: 'model', model, options: stream, channel }, [model], 'ready')).rate;
  }

  /** Whether it listens. */
  get listening(): boolean {
    return this.state === 'listening';
  }

  /** Listens, from now on. Times begin anew. Rejects where listening has broken off, and where microphone or context are gone. */
  async start(): Promise<void> {
    if (this.state === 'destroyed') throw new WvadError('the microphone is destroyed', 'WVAD_E_STATE');
    if (this.broken !== undefined) throw this.broken;
    if (this.context.state === 'closed') throw contextClosed();
    if (hasEnded(this.source.mediaStream)) throw new Error('the microphone is gone');
    if (this.state === 'listening') return;
    this.state = 'listening';
    this.send({ type: 'resume' });
    this.source.connect(this.node);
    await this.context.resume();
  }

  /** Does not listen until the next start. A sentence that is open ends here; its callback comes before this returns, which it always does. */
  async pause(): Promise<void> {
    if (this.state === 'listening') {
      this.state = 'paused';
      this.source.disconnect();
      if (this.context.state !== 'closed') this.paused = new Promise((resolve) => this.pausing.push(resolve));
      this.send({ type: 'pause' });
    }
    await this.paused;
  }

  /** Gives microphone, module and context back. No callback comes behind it. */
  async destroy(): Promise<void> {
    if (this.state === 'destroyed') return;
    this.state = 'destroyed';
    this.source.disconnect();
    this.send({ type: 'close' });
    this.node.port.onmessage = null;
    this.settle();
    if (this.options.stream === undefined) this.source.mediaStream.getTracks().forEach((track) => track.stop());
    if (this.options.context === undefined && this.context.state !== 'closed') await this.context.close();
  }

  /** Ends all waiting for an answer: there will be none. */
  private settle(): void {
    for (const settled of this.pausing.splice(0)) settled();
  }

  private send(message: ToWorklet): void {
    this.node.port.postMessage(message);
  }

  private take(message: FromWorklet): void {
    if (message.type === 'error') return this.fail(errorOf(message));
    if (message.type !== 'events' && message.type !== 'paused') return;
    for (const event of message.events) {
      if (this.state === 'destroyed') return; // by a callback
      try {
        this.tell(event);
      } catch (error) {
        // A callback's own: the page sees it, and the events behind it come all the same.
        setTimeout(() => {
          throw error;
        });
      }
    }
    if (message.type === 'paused') this.pausing.shift()?.();
  }

  private tell(event: Event): void {
    const { options } = this;
    options.onEvent?.(event);
    switch (event.kind) {
      case 'onset':
        return options.onSpeechStart?.(event);
      case 'onsetDropped':
        return options.onMisfire?.();
      case 'sentenceEnd':
        return options.onSpeechEnd?.(event.sentence.audio as Float32Array, event.sentence);
      case 'turnEnd':
        return options.onTurnEnd?.(event);
      case 'probability':
        return options.onFrame?.(event.probability, event.time);
    }
  }

  /** The microphone is gone: what was said until then is told first. */
  private async lose(error: Error): Promise<void> {
    if (this.state !== 'listening') return;
    await this.pause();
    this.fail(error);
  }

  /** Listening has broken off: onError is the last callback. */
  private fail(error: Error): void {
    if (this.state === 'destroyed' || this.broken !== undefined) return;
    this.broken = error;
    this.state = 'paused';
    this.source.disconnect();
    this.send({ type: 'close' });
    this.node.port.onmessage = null;
    this.settle();
    this.options.onError?.(error);
  }
}
