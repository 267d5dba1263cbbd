// SPDX-License-Identifier: Apache-2.0
// Chromium without a window, driven through its debugging pipe, and a server for its pages. No package is needed for either.
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { extname, join, normalize } from 'node:path';

const kinds = { '.html': 'text/html', '.js': 'text/javascript', '.mjs': 'text/javascript', '.css': 'text/css', '.wasm': 'application/wasm', '.wav': 'audio/wav' };

/** Serves the files below `folder`, and `extra`, contents by path. Gives {address, close}. */
export async function serve(folder, extra = {}) {
  const server = createServer(async (request, response) => {
    const path = normalize(decodeURIComponent(new URL(request.url, 'http://localhost').pathname));
    try {
      const content = extra[path] ?? await readFile(join(folder, path));
      response.writeHead(200, { 'content-type': kinds[extname(path)] ?? 'application/octet-stream' }).end(content);
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  return { address: `http://127.0.0.1:${server.address().port}`, close: () => server.close() };
}

/** A browser with one page. */
export class Chromium {
  #process;
  #profile = mkdtempSync(join(tmpdir(), 'wvad-chromium-'));
  #waiting = new Map();
  #next = 1;
  #session;
  /** Uncaught errors of the page, and what it wrote to its console as errors. */
  errors = [];

  /** `microphone`: a WAV file that is played into the page, over and over. */
  static async start({ microphone, size = [1200, 900] } = {}) {
    const browser = new Chromium();
    const options = ['--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--mute-audio', '--no-first-run', '--remote-debugging-pipe',
                     '--autoplay-policy=no-user-gesture-required', '--use-fake-ui-for-media-stream', '--use-fake-device-for-media-stream',
                     `--user-data-dir=${browser.#profile}`, `--window-size=${size.join(',')}`];
    if (microphone !== undefined) options.push(`--use-file-for-fake-audio-capture=${microphone}`);
    browser.#process = spawn(Chromium.program, [...options, 'about:blank'], { stdio: ['ignore', 'ignore', 'ignore', 'pipe', 'pipe'] });
    browser.#listen();
    const { targetInfos } = await browser.#send('Target.getTargets', {}, false);
    const { targetId } = targetInfos.find(({ type }) => type === 'page');
    ({ sessionId: browser.#session } = await browser.#send('Target.attachToTarget', { targetId, flatten: true }, false));
    await browser.#send('Page.enable');
    await browser.#send('Runtime.enable');
    return browser;
  }

  static program = process.env.CHROMIUM ?? '/usr/bin/chromium';

  #listen() {
    let rest = '';
    this.#process.stdio[4].setEncoding('utf8').on('data', (text) => {
      const messages = (rest + text).split('\0');
      rest = messages.pop();
      for (const message of messages) this.#take(JSON.parse(message));
    });
    this.#process.on('exit', () => this.#waiting.forEach(({ reject }) => reject(new Error('Chromium ended'))));
  }

  #take({ id, result, error, method, params }) {
    if (method === 'Runtime.exceptionThrown') this.errors.push(params.exceptionDetails.exception?.description ?? params.exceptionDetails.text);
    if (method === 'Runtime.consoleAPICalled' && params.type === 'error') this.errors.push(params.args.map(({ value }) => value).join(' '));
    const waiting = this.#waiting.get(id);
    this.#waiting.delete(id);
    if (error) waiting?.reject(new Error(error.message));
    else waiting?.resolve(result);
  }

  #send(method, params = {}, inPage = true) {
    const id = this.#next++;
    this.#process.stdio[3].write(`${JSON.stringify({ id, method, params, ...(inPage && { sessionId: this.#session }) })}\0`);
    return new Promise((resolve, reject) => this.#waiting.set(id, { resolve, reject }));
  }

  async open(address) {
    await this.#send('Page.navigate', { url: address });
    await this.run(() => new Promise((resolve) => (document.readyState === 'complete' ? resolve() : addEventListener('load', () => resolve()))));
  }

  /** Runs `step` in the page with `values`, which go as JSON, and gives what it, or its promise, gives. As by a click of the user. */
  async run(step, ...values) {
    const expression = `(${step})(...${JSON.stringify(values)})`;
    const { result, exceptionDetails } = await this.#send('Runtime.evaluate', { expression, awaitPromise: true, returnByValue: true, userGesture: true });
    if (exceptionDetails) throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
    return result.value;
  }

  /** What the page looks like, a PNG. */
  async picture() {
    const { data } = await this.#send('Page.captureScreenshot', { captureBeyondViewport: true });
    return Buffer.from(data, 'base64');
  }

  async close() {
    const ended = new Promise((resolve) => this.#process.once('exit', resolve));
    this.#send('Browser.close', {}, false).catch(() => undefined);
    await ended;
    rmSync(this.#profile, { recursive: true, force: true, maxRetries: 5 });
  }
}
