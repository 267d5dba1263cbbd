// SPDX-License-Identifier: Apache-2.0
/**
 * What the module of WebAssembly asks of whoever runs it, and its memory as JavaScript sees it. Works wherever JavaScript does, an
 * AudioWorklet included: no script of the tool chain, no text coder, no clock but Date.
 */

/** The functions of include/wvad_stream.h and js/native/binding.cc that are called here. Addresses and counts are numbers. */
export interface Native {
  memory: WebAssembly.Memory;
  _initialize(): void;
  malloc(bytes: number): number;
  free(address: number): void;
  wvad_last_error(): number;
  wvad_status_name(status: number): number;
  wvad_stream_version(): number;
  wvad_profile_model(profile: number, rate: number): number;
  wvad_model_open_memory(data: number, bytes: number, model: number): number;
  wvad_model_close(model: number): number;
  wvad_js_model_rate(model: number): number;
  wvad_js_model_kind(model: number): number;
  wvad_js_describe(index: number, row: number, texts: number): number;
  wvad_js_stream_open(model: number, rate: number, channels: number, form: number, channel: number, want: number, settings: number,
                      stream: number): number;
  wvad_js_next_event(stream: number, row: number): number;
  wvad_js_stream_info(stream: number, row: number): number;
  wvad_stream_push(stream: number, samples: number, bytes: number): number;
  wvad_stream_finish(stream: number): number;
  wvad_stream_reset(stream: number): number;
  wvad_stream_close(stream: number): number;
}

const noFile = 8; // WASI's "bad file descriptor"

/** Imports for `memory`, which is there once the module has been instantiated. */
function importsFor(memory: () => WebAssembly.Memory): WebAssembly.Imports {
  const view = () => new DataView(memory().buffer);
  return {
    env: { emscripten_notify_memory_growth: () => undefined },
    wasi_snapshot_preview1: {
      clock_time_get: (_clock: number, _precision: bigint, time: number) => {
        view().setBigUint64(time, BigInt(Date.now()) * 1000000n, true);
        return 0;
      },
      environ_sizes_get: (count: number, bytes: number) => {
        view().setUint32(count, 0, true);
        view().setUint32(bytes, 0, true);
        return 0;
      },
      environ_get: () => 0,
      fd_close: () => noFile,
      fd_read: () => noFile,
      fd_seek: () => noFile,
      fd_write: () => noFile,
      proc_exit: (code: number) => {
        throw new Error(`the module ended itself with ${code}`);
      },
    },
  };
}

/** Instantiates the module, from its bytes or compiled; `_initialize` is to be called first. */
export async function instantiate(source: BufferSource | WebAssembly.Module): Promise<Native> {
  let native: Native | undefined;
  const imports = importsFor(() => (native as Native).memory);
  const made = source instanceof WebAssembly.Module ? await WebAssembly.instantiate(source, imports)
                                                    : (await WebAssembly.instantiate(source, imports)).instance;
  native = made.exports as unknown as Native;
  return native;
}

/** The text that ends with a zero at `address`, UTF-8. */
export function textAt(native: Native, address: number): string {
  const bytes = new Uint8Array(native.memory.buffer);
  let escaped = '';
  for (let at = address; bytes[at] !== 0; ++at) escaped += '%' + (bytes[at] as number).toString(16).padStart(2, '0');
  return decodeURIComponent(escaped);
}

/** Calls `step` with the address of `text` in UTF-8 with a zero behind it. */
export function withText<T>(native: Native, text: string, step: (address: number) => T): T {
  const bytes = [...unescape(encodeURIComponent(text))].map((c) => c.charCodeAt(0));
  return withRoom(native, bytes.length + 1, (address) => {
    new Uint8Array(native.memory.buffer, address, bytes.length + 1).set([...bytes, 0]);
    return step(address);
  });
}

/** Calls `step` with the address of `bytes` bytes, aligned for every number, which are given back behind it. */
export function withRoom<T>(native: Native, bytes: number, step: (address: number) => T): T {
  const address = native.malloc(Math.max(bytes, 1));
  if (address === 0) throw new RangeError(`no memory for ${bytes} bytes`);
  try {
    return step(address);
  } finally {
    native.free(address);
  }
}

// (module (func (result v128) i32.const 0 i8x16.splat i8x16.popcnt))
const probe = [0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11];

/** Whether this engine has the 128-bit instructions of WebAssembly. */
export function hasVectors(): boolean {
  return WebAssembly.validate(new Uint8Array(probe));
}
