// SPDX-License-Identifier: Apache-2.0
// Serves the demonstration: node js/demo/serve.mjs [PORT], then http://localhost:8080/demo/. On this machine alone, where browsers allow the
// microphone without https.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join, normalize } from 'node:path';
import { fileURLToPath } from 'node:url';

const kinds = { '.html': 'text/html', '.js': 'text/javascript', '.mjs': 'text/javascript', '.css': 'text/css', '.wasm': 'application/wasm', '.wav': 'audio/wav' };

/** Serves the files below `folder`, and `extra`, contents by path. Gives {address, close}. */
export async function serve(folder, { port = 0, extra = {} } = {}) {
  const server = createServer(async (request, response) => {
    try {
      const path = normalize(decodeURIComponent(new URL(request.url, 'http://localhost').pathname)).replace(/\/$/, '/index.html');
      const content = extra[path] ?? await readFile(join(folder, path));
      response.writeHead(200, { 'content-type': kinds[extname(path)] ?? 'application/octet-stream' }).end(content);
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((resolve, reject) => server.once('error', reject).listen(port, '127.0.0.1', resolve));
  return { address: `http://localhost:${server.address().port}`, close: () => server.close() };
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const [, , port = '8080', ...rest] = process.argv;
  if (rest.length > 0 || !/^[0-9]{1,5}$/.test(port) || Number(port) > 65535) {
    console.error('usage: node js/demo/serve.mjs [PORT]   PORT from 0 (any that is free) to 65535, 8080 where it is left out');
    process.exit(2);
  }
  try {
    const { address } = await serve(fileURLToPath(new URL('..', import.meta.url)), { port: Number(port) });
    console.log(`${address}/demo/`);
  } catch ({ code, message }) {
    console.error(code === 'EADDRINUSE' ? `port ${port} is taken` : message);
    process.exit(1);
  }
}
