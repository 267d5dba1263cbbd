// SPDX-License-Identifier: Apache-2.0
/** Endless audio in pieces of any length, events out. */
import { Channel, checkedChannel } from './channel.js';
import { checked, WvadError } from './errors.js';
import { Event, eventOf, ROW_LENGTH } from './events.js';
import { Native, withRoom, withText } from './host.js';
import { checkRate, formOf, Piece, SampleForm, Samples } from './samples.js';
import { checkWhole, Settings, SETTINGS, settingsText } from './settings.js';

export interface StreamOptions extends Settings {
  /** Of the input, 1 where it is left out. */
  channels?: number;
  /** That is listened to: from 1, or "mix" for the mean of all, as initially. */
  channel?: Channel;
  /** An event for each 10 ms. */
  probability?: boolean;
  /** The samples of each sentence. */
  audio?: boolean;
  /** The features of each sentence. */
  features?: boolean;
}

export const STREAM_OPTIONS = [...SETTINGS, 'channels', 'channel', 'probability', 'audio', 'features'];

/** How a stream stands. Counts are of sample frames of the input. */
export interface StreamInfo {
  /** Taken, and of these handed to the detector. */
  samples: number;
  heard: number;
  sentences: number;
  /** Of the session inside; nothing is lost in one. */
  renewals: number;
  inSentence: boolean;
  finished: boolean;
  /** Mixing the channels takes the sound away: choose one of them. */
  cancels: boolean;
  /** What mixing does to the power, in dB. */
  mixLoss: number;
}

/** An address that the module keeps for the pieces of all its streams, longer when it has to be. */
export class Room {
  private address = 0;
  private bytes = 0;

  constructor(private readonly native: Native) {}

  of(bytes: number): number {
    if (bytes > this.bytes) {
      const address = this.native.malloc(bytes);
      if (address === 0) throw new RangeError(`no memory for ${bytes} bytes`);
      this.native.free(this.address);
      this.address = address;
      this.bytes = bytes;
    }
    return this.address;
  }
}

/** A model in the module's memory. The detector and each of its streams hold it; the last that lets go closes it. */
export class Model {
  private holders = 1;

  constructor(private readonly native: Native, readonly handle: number) {}

  hold(): void {
    ++this.holders;
  }

  letGo(): void {
    if (--this.holders > 0) return;
    withRoom(this.native, 4, (address) => {
      new Uint32Array(this.native.memory.buffer, address, 1)[0] = this.handle;
      checked(this.native, this.native.wvad_model_close(address));
    });
  }
}

/** What a stream listens with. */
export interface Listening {
  native: Native;
  model: Model;
  room: Room;
}

export class Stream {
  readonly rate: number;
  readonly channels: number;
  private handle = 0;
  /** What the library's stream takes, and whether pieces have shown that it is theirs. */
  private form: SampleForm = 4;
  private formIsKnown = false;
  private scaleIsTold = false;
  private finished = false;
  private readonly options: StreamOptions;

  /** Made by Detector.stream. */
  constructor(private readonly on: Listening, rate: number, options: StreamOptions) {
    this.options = { ...options };
    this.rate = rate;
    this.channels = options.channels ?? 1;
    // Refused at once, not with the first piece. The type of the samples shows only then.
    this.open();
    on.model.hold();
  }

  private open(): void {
    const { native, model } = this.on;
    const { probability, audio, features } = this.options;
    const channel = checkedChannel(this.options.channel);
    const want = (probability ? 1 : 0) + (audio ? 2 : 0) + (features ? 4 : 0);
    checkWhole('rate', this.rate);
    checkWhole('channels', this.channels);
    withText(native, settingsText(this.options), (settings) => withRoom(native, 4, (out) => {
      checked(native, native.wvad_js_stream_open(model.handle, this.rate, this.channels, this.form, channel, want, settings, out));
      this.handle = new Uint32Array(native.memory.buffer, out, 1)[0] as number;
    }));
  }

  private opened(): number {
    if (this.handle === 0) throw new WvadError('the stream is closed', 'WVAD_E_STATE');
    return this.handle;
  }

  /** Takes the next piece; gives what is known now. A refused piece is not taken, and the stream goes on. */
  push(samples: Samples): Event[] {
    this.opened();
    checkRate(samples, this.rate);
    const piece = new Piece(samples, this.channels, this.formIsKnown ? this.form : formOf(samples));
    if (piece.form !== this.form && piece.bytes > 0 && !this.finished) {
      this.closeHandle();
      this.form = piece.form;
      this.open();
    }
    const { native, room } = this.on;
    const address = room.of(piece.bytes);
    const words = piece.write(native, address);
    if (words !== undefined && !this.scaleIsTold) console.warn(`wvad: ${words}`);
    this.scaleIsTold ||= words !== undefined;
    checked(native, native.wvad_stream_push(this.handle, address, piece.bytes));
    if (piece.bytes > 0) this.formIsKnown = true;
    return this.events();
  }

  /** The audio is over: ends an open sentence; gives the last events, streamEnd behind them. */
  finish(): Event[] {
    checked(this.on.native, this.on.native.wvad_stream_finish(this.opened()));
    this.finished = true;
    return this.events();
  }

  /** Begins anew, finished or not. The next piece may have another type. */
  reset(): void {
    checked(this.on.native, this.on.native.wvad_stream_reset(this.opened()));
    this.formIsKnown = false;
    this.finished = false;
  }

  get info(): StreamInfo {
    const { native } = this.on;
    return withRoom(native, 72, (address) => {
      checked(native, native.wvad_js_stream_info(this.opened(), address));
      const [samples, heard, sentences, renewals, , inSentence, finished, cancels, mixLoss] =
          new Float64Array(native.memory.buffer, address, 9) as unknown as [number, number, number, number, number, number, number, number, number];
      return { samples, heard, sentences, renewals, inSentence: inSentence === 1, finished: finished === 1, cancels: cancels === 1, mixLoss };
    });
  }

  /** Gives its memory back; a closed stream takes nothing more. Twice is fine. */
  close(): void {
    if (this.handle === 0) return;
    this.closeHandle();
    this.on.model.letGo();
  }

  private closeHandle(): void {
    const { native } = this.on;
    withRoom(native, 4, (address) => {
      new Uint32Array(native.memory.buffer, address, 1)[0] = this.handle;
      checked(native, native.wvad_stream_close(address));
    });
    this.handle = 0;
  }

  private events(): Event[] {
    const { native } = this.on;
    return withRoom(native, 8 * ROW_LENGTH, (address) => {
      const events: Event[] = [];
      while (checked(native, native.wvad_js_next_event(this.handle, address)) === 1) {
        const event = eventOf(new Float64Array(native.memory.buffer, address, ROW_LENGTH), this.rate, native);
        if (event !== undefined) events.push(event);
      }
      return events;
    });
  }
}
