// SPDX-License-Identifier: Apache-2.0
/** Bytes from an address, in a page. */
export async function fetchBytes(source: string | URL): Promise<ArrayBuffer> {
  const response = await fetch(source);
  if (!response.ok) throw new Error(`${String(source)}: ${response.status} ${response.statusText}`);
  return response.arrayBuffer();
}
