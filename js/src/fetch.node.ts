// SPDX-License-Identifier: Apache-2.0
/** Bytes from a file or an address, in Node.js: the build puts this in the place of fetch.ts. */
import { readFile } from 'node:fs/promises';

export async function fetchBytes(source: string | URL): Promise<Uint8Array> {
  if (/^https?:/.test(String(source))) {
    const response = await fetch(source);
    if (!response.ok) throw new Error(`${String(source)}: ${response.status} ${response.statusText}`);
    return new Uint8Array(await response.arrayBuffer());
  }
  return readFile(typeof source === 'string' && source.startsWith('file:') ? new URL(source) : source);
}
