// SPDX-License-Identifier: Apache-2.0
// What is used of Node.js.
declare module 'node:fs/promises' {
  export function readFile(path: string | URL): Promise<Uint8Array>;
}
