// SPDX-License-Identifier: Apache-2.0
// Chromium without a window, driven through its debugging pipe: no package is needed for it.
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

/** A browser with one page. */
export class Chromium {
  #process;
  #profile = mkdtempSync(join(tmpdir(), 'wvad-chromium-'));
  #waiting = new Map();
  #over;  // the error with which everything is answered behind its end
  #ended;
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
    try {
      const { targetInfos } = await browser.#send('Target.getTargets', {}, false);
      const { targetId } = targetInfos.find(({ type }) => type === 'page');
      ({ sessionId: browser.#session } = await browser.#send('Target.attachToTarget', { targetId, flatten: true }, false));
      await browser.#send('Page.enable');
      await browser.#send('Runtime.enable');
      return browser;
    } catch (error) {
      browser.#process.kill();
      await browser.close();
      throw error;
    }
  }

  static program = process.env.CHROMIUM ?? '/usr/bin/chromium';

  #listen() {
    let rest = '';
    this.#process.stdio[4].setEncoding('utf8').on('data', (text) => {
      const messages = (rest + text).split('\0');
      rest = messages.pop();
      for (const message of messages) this.#take(JSON.parse(message));
    });
    for (const pipe of this.#process.stdio.slice(3)) pipe.on('error', () => undefined); // its end is told once, here:
    this.#ended = new Promise((resolve) => {
      const end = (error) => {
        this.#over = error;
        this.#waiting.forEach(({ reject }) => reject(error));
        resolve();
      };
      this.#process.on('exit', () => end(new Error('Chromium ended'))).on('error', end);
    });
  }

  #take({ id, result, error, method, params }) {
    if (method === 'Runtime.exceptionThrown') this.errors.push(params.exceptionDetails.exception?.description ?? params.exceptionDetails.text);
    if (method === 'Runtime.consoleAPICalled' && params.type === 'error') this.errors.push(params.args.map(({ value }) => value).join(' '));
    const waiting = this.#waiting.get(id);
    this.#waiting.delete(id);
    if (error) waiting?.reject(new Error(error.message));
    else waiting?.resolve(result);
  }

  async #send(method, params = {}, inPage = true) {
    if (this.#over) throw this.#over;
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

  /** Processor time that the page's thread has used, in seconds. */
  async processorTime() {
    await this.#send('Performance.enable', { timeDomain: 'threadTicks' });
    const { metrics } = await this.#send('Performance.getMetrics');
    return metrics.find(({ name }) => name === 'ThreadTime').value;
  }

  /** Chooses files for the input that `selector` names, as a user would. */
  async choose(selector, ...files) {
    const { root } = await this.#send('DOM.getDocument');
    const { nodeId } = await this.#send('DOM.querySelector', { nodeId: root.nodeId, selector });
    await this.#send('DOM.setFileInputFiles', { nodeId, files });
  }

  /** Whether the page is shown dark, for those who prefer it. */
  async shade(dark) {
    await this.#send('Emulation.setEmulatedMedia', { features: [{ name: 'prefers-color-scheme', value: dark ? 'dark' : 'light' }] });
  }

  /** Where downloads go. */
  async downloadTo(folder) {
    await this.#send('Browser.setDownloadBehavior', { behavior: 'allow', downloadPath: folder, eventsEnabled: true }, false);
  }

  /** Shows the page on a screen of `width` times `height` pixels, as a telephone's. */
  async resize(width, height) {
    await this.#send('Emulation.setDeviceMetricsOverride', { width, height, deviceScaleFactor: 1, mobile: width < 600 });
  }

  /** What the page looks like, a PNG. */
  async picture() {
    const { data } = await this.#send('Page.captureScreenshot', { captureBeyondViewport: true });
    return Buffer.from(data, 'base64');
  }

  async close() {
    this.#send('Browser.close', {}, false).catch(() => undefined);
    await this.#ended;
    rmSync(this.#profile, { recursive: true, force: true, maxRetries: 5 });
  }
}
