// SPDX-License-Identifier: Apache-2.0
// Hears a recording off the page's own thread: {planes, rate, profile} in, {events, heard} after each ten seconds of it, {seconds} behind the last;
// {error} instead of them where it failed.
import { openStream } from '../dist/browser.js';

async function hear({ planes, rate, profile }) {
  const stream = await openStream(rate, { profile, channels: planes.length, probability: true, audio: true });
  const begin = performance.now();
  const frames = planes[0].length;
  for (let first = 0; first < frames; first += 10 * rate) {
    const events = stream.push(planes.map((plane) => plane.subarray(first, first + 10 * rate)));
    postMessage({ events, heard: Math.min(frames, first + 10 * rate) / rate });
  }
  postMessage({ events: stream.finish(), heard: frames / rate });
  postMessage({ seconds: (performance.now() - begin) / 1000 });
  stream.close();
}

onmessage = ({ data }) => hear(data).catch(({ message }) => postMessage({ error: message }));
