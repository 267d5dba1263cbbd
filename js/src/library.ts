// SPDX-License-Identifier: Apache-2.0
/** The module of WebAssembly, instantiated: what it knows without a model, and models. Detectors of one library share its memory. */
import { Detector } from './detector.js';
import { checked, WvadError } from './errors.js';
import { instantiate, Native, textAt, withRoom } from './host.js';
import { checkWhole, describe, noProfile, Profile, PROFILES, SettingInfo } from './settings.js';
import { Model, Room } from './stream.js';

export class Library {
  private readonly room: Room;

  private constructor(private readonly native: Native) {
    this.room = new Room(native);
  }

  /** From the module's bytes, or compiled. */
  static async of(wasm: BufferSource | WebAssembly.Module): Promise<Library> {
    const native = await instantiate(wasm);
    if (typeof native.wvad_js_stream_open !== 'function') throw new WvadError('wasm: this is not the module of wvad');
    native._initialize();
    return new Library(native);
  }

  get version(): string {
    return textAt(this.native, this.native.wvad_stream_version());
  }

  /** The settings, with their ranges. */
  settings(): SettingInfo[] {
    return describe(this.native);
  }

  /** The name of the bundled model that suits a profile best for audio of `rate` Hz. */
  suitableModel(profile: Profile, rate: number): string {
    checkWhole('rate', rate);
    const name = this.native.wvad_profile_model(PROFILES.indexOf(profile), rate);
    if (name === 0) throw noProfile(profile);
    return textAt(this.native, name);
  }

  /** Opens the bytes of a model file. `whenClosed` is called when the detector is closed; `profile` is that of streams that name none. */
  open(model: BufferSource, whenClosed?: () => void, profile?: Profile): Detector {
    const { native, room } = this;
    const bytes = ArrayBuffer.isView(model) ? new Uint8Array(model.buffer, model.byteOffset, model.byteLength) : new Uint8Array(model);
    return withRoom(native, bytes.length, (data) => withRoom(native, 4, (out) => {
      new Uint8Array(native.memory.buffer, data, bytes.length).set(bytes);
      checked(native, native.wvad_model_open_memory(data, bytes.length, out));
      const handle = new Uint32Array(native.memory.buffer, out, 1)[0] as number;
      return new Detector({ native, room, model: new Model(native, handle) }, whenClosed, profile);
    }));
  }
}
