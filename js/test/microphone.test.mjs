// SPDX-License-Identifier: Apache-2.0
// The package in Chromium: the microphone, from what it hears to whatever ends under it.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { openPage, skip } from './page.mjs';

let page;
let browser;

before(async () => {
  if (skip) return;
  page = await openPage();
  browser = page.browser;
});

after(() => page?.close());

test('the microphone: sentences with their samples, frames, a pause, a second start, the end', { skip, timeout: 60000 }, async () => {
  const heard = await browser.run(async () => {
    const told = { starts: 0, ends: [], frames: 0, misfires: 0, times: [] };
    let next;
    const sentence = () => new Promise((resolve) => (next = resolve));
    const microphone = await wvad.Microphone.open({
      profile: 'fast',
      onSpeechStart: () => ++told.starts,
      onSpeechEnd: (audio, { begin, end }) => {
        told.ends.push({ begin, end, samples: audio.length, peak: audio.reduce((most, sample) => Math.max(most, Math.abs(sample)), 0) });
        next?.();
      },
      onMisfire: () => ++told.misfires,
      onFrame: (probability, time) => {
        told.times.push(time);
        if (!(probability >= 0 && probability <= 1)) throw new Error(`probability ${probability}`);
        ++told.frames;
      },
    });
    told.rate = microphone.audioRate;
    const first = sentence();
    await microphone.start();
    told.listening = microphone.listening;
    await first;
    await microphone.pause();
    told.paused = !microphone.listening;
    told.times = [];
    const second = sentence();
    await microphone.start();
    await second;
    await microphone.destroy();
    told.refused = await microphone.start().catch((error) => error.status);
    return told;
  });
  assert.equal(heard.rate, 16000);
  assert.ok(heard.listening && heard.paused);
  assert.equal(heard.times[0], 0, 'nothing comes of the pause, and a start begins anew');
  assert.ok(heard.times.every((time, i) => i === 0 || Math.abs(time - heard.times[i - 1] - 0.01) < 1e-9), 'a frame each 10 ms');
  assert.ok(heard.ends.length >= 2);
  assert.ok(heard.starts >= 2);
  assert.ok(heard.frames > 50);
  for (const { begin, end, samples, peak } of heard.ends) {
    assert.equal(samples, Math.round((end - begin) * 16000));
    assert.ok(peak > 0.05, 'there is something in it');
  }
  assert.equal(heard.refused, 'WVAD_E_STATE');
  assert.deepEqual(browser.errors, []);
});

test('the microphone: what cannot be is refused', { skip, timeout: 60000 }, async () => {
  const refusals = await browser.run(async () => {
    const attempts = [{ onSpeechStop() {} }, { threshold: 2 }, { model: '/nowhere.bin' }, { model: new Uint8Array(10) }, { profile: 'slow' },
                      { threshold: 'x' }, { onSpeechEnd: 'x' }, { onFrame: null }, { stream: 5 }, { channel: 'left' }];
    return Promise.all(attempts.map((options) => wvad.Microphone.open(options).then(() => 'opened', (error) => `${error.name} ${error.status ?? ''} ${error.message}`)));
  });
  assert.match(refusals[0], /^TypeError  there is no option "onSpeechStop"/);
  assert.match(refusals[1], /^WvadError WVAD_E_RANGE threshold: 2 is outside/);
  assert.match(refusals[2], /^Error  .*nowhere\.bin: 404/);
  assert.match(refusals[3], /^WvadError WVAD_E_MODEL/);
  assert.match(refusals[4], /^WvadError WVAD_E_PARAMETER/);
  assert.deepEqual(refusals.slice(5), ['TypeError  threshold is a number, not "x"', 'TypeError  onSpeechEnd is a function, not "x"',
                                       'TypeError  onFrame is a function, not null', 'TypeError  stream is an object, not 5',
                                       'TypeError  channel is "mix" or a number from 1, not "left"']);
});

test('the microphone on a page that is not secure', { skip, timeout: 60000 }, async () => {
  const refused = await browser.run(async () => {
    Object.defineProperty(globalThis, 'isSecureContext', { value: false, configurable: true });
    const refused = await wvad.Microphone.open().catch(({ message }) => message);
    Object.defineProperty(globalThis, 'isSecureContext', { value: true, configurable: true });
    return refused;
  });
  assert.equal(refused, 'the microphone needs a page of https or localhost');
});

test('pause settles, however often and on whatever context', { skip, timeout: 60000 }, async () => {
  const told = await browser.run(async () => {
    const context = new AudioContext();
    const microphone = await wvad.Microphone.open({ context });
    await microphone.start();
    await Promise.all([microphone.pause(), microphone.start(), microphone.pause(), microphone.pause()]);
    await Promise.all([microphone.start(), microphone.pause(), microphone.start()]);
    const told = [microphone.listening];
    const pausing = microphone.pause();
    await context.close();
    await pausing;
    await microphone.pause();
    told.push(await microphone.start().catch(({ name, status, message }) => [name, status, message]));
    await microphone.destroy();
    return told;
  });
  assert.deepEqual(told, [true, ['WvadError', 'WVAD_E_STATE', 'the AudioContext is closed']]);
});

test('a context that is closed while module or model load is told, and the microphone is given back', { skip, timeout: 60000 }, async () => {
  const told = await browser.run(async () => {
    const told = [];
    const tracks = [];
    const { mediaDevices } = navigator;
    const getUserMedia = mediaDevices.getUserMedia.bind(mediaDevices);
    mediaDevices.getUserMedia = async (constraints) => {
      const media = await getUserMedia(constraints);
      tracks.push(...media.getTracks());
      return media;
    };
    const files = { wasm: '/dist/wvad.wasm', model: '/dist/models/lstm_fb40.bin' };
    for (const [name, path] of Object.entries(files)) {
      const bytes = await (await fetch(path)).arrayBuffer();
      const context = new AudioContext();
      const closing = { arrayBuffer: async () => context.close().then(() => bytes) };
      told.push(await wvad.Microphone.open({ context, [name]: closing }).then(() => 'opened', ({ status, message }) => [status, message]));
    }
    delete mediaDevices.getUserMedia;
    return [told, tracks.map(({ readyState }) => readyState)];
  });
  assert.deepEqual(told, [[['WVAD_E_STATE', 'the AudioContext is closed'], ['WVAD_E_STATE', 'the AudioContext is closed']], ['ended', 'ended']]);
});

test('what was begun on the context of the page ends where opening fails', { skip, timeout: 60000 }, async () => {
  const sent = await browser.run(async () => {
    const sent = [];
    const Node = AudioWorkletNode;
    globalThis.AudioWorkletNode = class extends Node {
      constructor(...values) {
        super(...values);
        const types = [];
        const post = this.port.postMessage.bind(this.port);
        this.port.postMessage = (message, transfer) => {
          types.push(message.type);
          post(message, transfer);
        };
        sent.push(types);
      }
    };
    const context = new AudioContext();
    for (const options of [{ profile: 'slow' }, { model: '/nowhere.bin' }, { model: new Uint8Array(10) }, { threshold: 2 }]) {
      await wvad.Microphone.open({ context, ...options }).catch(() => undefined);
    }
    await (await wvad.Microphone.open({ context })).destroy();
    await context.close();
    globalThis.AudioWorkletNode = Node;
    return sent;
  });
  // The profile fails with the module, the address before the model is sent, the bytes and the setting with it.
  assert.deepEqual(sent, [['module', 'close'], ['module', 'close'], ['module', 'model', 'close'], ['module', 'model', 'close'], ['module', 'model', 'close']]);
});

test('a worklet that fails as it begins is told', { skip, timeout: 60000 }, async () => {
  const refused = await browser.run(async () => {
    const context = new AudioContext();
    const script = "registerProcessor('wvad', class extends AudioWorkletProcessor { constructor() { throw new Error('no room'); } });";
    await context.audioWorklet.addModule(URL.createObjectURL(new Blob([script], { type: 'text/javascript' })));
    const refused = await wvad.Microphone.open({ context }).then(() => 'opened', ({ message }) => message);
    await context.close();
    return refused;
  });
  assert.equal(refused, 'the AudioWorklet failed');
  browser.errors.length = 0; // the second processor of that name, and what the first one threw
});

test('a context that is closed while it listens is an error, told once', { skip, timeout: 60000 }, async () => {
  const errors = await browser.run(async () => {
    const errors = [];
    const context = new AudioContext();
    let done;
    const failed = new Promise((resolve) => (done = resolve));
    const microphone = await wvad.Microphone.open({ context, onError: ({ message }) => done(errors.push(message)) });
    await microphone.start();
    await context.close();
    await failed;
    await microphone.pause();
    await microphone.destroy();
    return errors;
  });
  assert.deepEqual(errors, ['the AudioContext is closed']);
});

test('a microphone that goes away: the open sentence, the error, and nothing behind it', { skip, timeout: 60000 }, async () => {
  const { calls, listening, again, opened } = await browser.run(async () => {
    const calls = [];
    const context = new AudioContext();
    const stream = await navigator.mediaDevices.getUserMedia({ audio: true });
    const [track] = stream.getAudioTracks();
    let begun;
    let failed;
    const speech = new Promise((resolve) => (begun = resolve));
    const failure = new Promise((resolve) => (failed = resolve));
    const microphone = await wvad.Microphone.open({
      stream,
      context,
      onEvent: ({ kind }) => {
        if (kind === 'probability' && calls.at(-1) === kind) return;
        calls.push(kind);
        if (kind === 'sentenceBegin') begun();
      },
      onError: ({ message }) => failed(calls.push(message)),
    });
    await microphone.start();
    await speech;
    track.stop();
    track.dispatchEvent(new Event('ended')); // as where the device is unplugged
    await failure;
    const listening = microphone.listening;
    const again = await microphone.start().catch(({ message }) => message);
    const opened = await wvad.Microphone.open({ stream, context }).catch(({ status, message }) => [status, message]);
    await microphone.pause();
    await microphone.destroy();
    await context.close();
    return { calls, listening, again, opened };
  });
  assert.deepEqual(calls.slice(-3), ['sentenceEnd', 'streamEnd', 'the microphone is gone']);
  assert.equal(listening, false);
  assert.equal(again, 'the microphone is gone');
  assert.deepEqual(opened, ['WVAD_E_STATE', 'stream: its sound has ended']);
});

test('a microphone that goes away in a pause is refused by the next start', { skip, timeout: 60000 }, async () => {
  const refused = await browser.run(async () => {
    const stream = await navigator.mediaDevices.getUserMedia({ audio: true });
    const microphone = await wvad.Microphone.open({ stream });
    stream.getTracks().forEach((track) => track.stop());
    const refused = await microphone.start().catch(({ message }) => message);
    await microphone.destroy();
    return [refused, microphone.listening];
  });
  assert.deepEqual(refused, ['the microphone is gone', false]);
});

test('one channel of a stream is heard, and one that it has not is refused', { skip, timeout: 60000 }, async () => {
  const told = await browser.run(async () => {
    // The left channel is silent; speech is in the right.
    const context = new AudioContext({ sampleRate: 16000 });
    const buffer = context.createBuffer(2, samples.length, 16000);
    buffer.copyToChannel(samples, 1);
    const heard = async (channel) => {
      const player = new AudioBufferSourceNode(context, { buffer });
      const outlet = new MediaStreamAudioDestinationNode(context, { channelCount: 2, channelCountMode: 'explicit' });
      player.connect(outlet);
      let loudest = -200;
      const microphone = await wvad.Microphone.open({ stream: outlet.stream, context, channel, model: 'lstm_fb40', padBefore: 0, onSpeechEnd: (_, { level }) => (loudest = Math.max(loudest, level)) });
      await microphone.start();
      const ended = new Promise((resolve) => (player.onended = resolve));
      player.start(0, 0, 3);
      await ended;
      await microphone.destroy();
      return loudest;
    };
    const [silent, speech, mix] = [await heard(1), await heard(2), await heard('mix')];
    const failed = await new Promise((resolve) => {
      const outlet = new MediaStreamAudioDestinationNode(context, { channelCount: 2, channelCountMode: 'explicit' });
      new ConstantSourceNode(context).connect(outlet);
      wvad.Microphone.open({ stream: outlet.stream, context, channel: 3, model: 'lstm_fb40', onError: resolve }).then((one) => one.start(), resolve);
    });
    await context.close();
    return { silent, speech, mix, failed: [failed.status, failed.message] };
  });
  assert.equal(told.silent, -200);
  assert.ok(told.speech > -40, `${told.speech} dB`);
  assert.ok(Math.abs(told.speech - told.mix - 6.02) < 1, `the mean of speech and silence is half as loud: ${told.speech} and ${told.mix} dB`);
  assert.deepEqual(told.failed, ['WVAD_E_FORMAT', 'channel: 3 is asked for, and the sound has 2']);
});

test('what was no sentence is told as a misfire', { skip, timeout: 60000 }, async () => {
  const told = await browser.run(async () => {
    const calls = [];
    let done;
    const misfired = new Promise((resolve) => (done = resolve));
    const microphone = await wvad.Microphone.open({
      minSpeech: 2, // longer than half of what is said
      onSpeechStart: () => calls.push('start'),
      onSpeechEnd: () => calls.push('end'),
      onMisfire: () => {
        calls.push('misfire');
        done();
      },
    });
    await microphone.start();
    await misfired;
    await microphone.destroy();
    return calls;
  });
  assert.equal(told.at(-2), 'start');
  assert.equal(told.at(-1), 'misfire');
});

test('a callback that throws does not take the others along', { skip, timeout: 60000 }, async () => {
  const times = await browser.run(async () => {
    const times = [];
    let done;
    const ended = new Promise((resolve) => (done = resolve));
    const fail = () => {
      throw new Error('on purpose');
    };
    const microphone = await wvad.Microphone.open({
      profile: 'fast',
      onSpeechStart: fail,
      onFrame: fail,
      onSpeechEnd: () => done(),
      onEvent: ({ kind, time }) => kind === 'probability' && times.push(time),
    });
    await microphone.start();
    await ended;
    await microphone.destroy();
    return times;
  });
  times.forEach((time, i) => assert.ok(Math.abs(time - i / 100) < 1e-9, `${time} is told as the frame ${i}`));
  assert.ok(browser.errors.length > 0 && browser.errors.every((error) => /on purpose/.test(error)));
});
