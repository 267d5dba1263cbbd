// SPDX-License-Identifier: Apache-2.0
// What the functions promise in Node.js: kinds of samples, options, refusals, streams. The numbers of the detector are those of the native
// library (equal.test.mjs); here it counts that each way to it leads to the same ones.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import { runInNewContext } from 'node:vm';
import { describe, hasVectors, Library, load, Microphone, openStream, scores, segment, Stream, WvadError } from 'wvad';
import { atRate, jfkSentences, recording, toFloat } from './audio.mjs';

const jfk = recording('jfk');
const times = (sentences) => sentences.map(({ begin, end }) => [begin, end]);

test('the sentences of a recording are those of the program', async () => {
  const sentences = await segment(jfk, 16000);
  assert.deepEqual(times(sentences), jfkSentences);
  const [first] = sentences;
  assert.equal(first.number, 0);
  assert.equal(first.beginFrame, 480);
  assert.equal(first.endFrame, 37760);
  assert.ok(Math.abs(first.duration - 2.33) < 1e-12);
  assert.equal(first.audio, undefined);
});

test('every kind of samples gives the same sentences', async () => {
  const float = toFloat(jfk);
  const buffer = { numberOfChannels: 1, length: float.length, sampleRate: 16000, getChannelData: () => float };
  const int32 = Int32Array.from(jfk, (sample) => sample * 65536);
  for (const samples of [float, int32, [float], [float, float], buffer]) assert.deepEqual(times(await segment(samples, 16000)), jfkSentences);
  const silentLeft = Int16Array.from({ length: 2 * jfk.length }, (_, i) => (i % 2 ? jfk[i >> 1] : 0));
  assert.deepEqual(times(await segment(silentLeft, 16000, { channels: 2, channel: 2 })), jfkSentences);
  assert.deepEqual(await segment(silentLeft, 16000, { channels: 2, channel: 1 }), []);
});

test('a sentence comes with its samples and features where they are asked for', async () => {
  const [first] = await segment(jfk, 16000, { audio: true, features: true });
  assert.deepEqual(first.audio, toFloat(jfk.subarray(first.beginFrame, first.endFrame)));
  assert.equal(first.features.length, 115 * 233);
});

test('probabilities: one for each whole 10 ms, without a gap', async () => {
  const values = await scores(jfk.subarray(0, 16000 + 159), 16000);
  assert.equal(values.length, 100);
  assert.ok(values.every((value) => value >= 0 && value <= 1));
  assert.deepEqual(await scores(new Int16Array(0), 16000), new Float32Array(0));
  assert.deepEqual(await scores(new Int16Array(320), 16000), new Float32Array(2), 'nothing was told of so little: 0');
});

test('a stream tells each event once, whatever the pieces', async () => {
  const stream = await openStream(16000);
  const whole = [...stream.push(jfk), ...stream.finish()];
  stream.reset();
  const pieces = [];
  for (let first = 0; first < jfk.length; first += 333) pieces.push(...stream.push(jfk.subarray(first, first + 333)));
  pieces.push(...stream.finish());
  assert.deepEqual(pieces, whole);
  assert.deepEqual(whole.map(({ kind }) => kind),
                   [...Array(4)].flatMap(() => ['onset', 'sentenceBegin', 'sentenceEnd']).concat('streamEnd'));
  assert.equal(whole.at(-1).time, 11);
  assert.deepEqual(stream.info, { samples: 176000, heard: 176000, sentences: 4, renewals: 0, inSentence: false, finished: true,
                                  cancels: false, mixLoss: 0 });
  stream.close();
  stream.close();
  assert.throws(() => stream.push(jfk), { name: 'WvadError', status: 'WVAD_E_STATE' });
});

test('turns, silence, profiles', async () => {
  const stream = await openStream(16000, { profile: 'fast', turnSilence: 0.5, stillEvery: 1 });
  const events = [...stream.push(jfk), ...stream.push(new Int16Array(5 * 16000)), ...stream.finish()];
  stream.close();
  const turn = events.find(({ kind }) => kind === 'turnEnd');
  assert.ok(turn.knownAt - turn.time >= 0.5);
  const silences = events.filter(({ kind }) => kind === 'silence');
  assert.ok(silences.length >= 4);
  assert.ok(silences.every(({ begin, time }) => time > begin));
});

test('a refused piece is not taken', async () => {
  const stream = await openStream(16000, { channels: 2 });
  const bad = new Float32Array(20);
  bad[13] = NaN;
  assert.throws(() => stream.push(bad), (error) => error instanceof WvadError && error.status === 'WVAD_E_SAMPLES' && /frame 6/.test(error.message));
  assert.throws(() => stream.push(new Float32Array(3)), { status: 'WVAD_E_LENGTH' });
  assert.throws(() => stream.push([new Float32Array(3)]), { status: 'WVAD_E_FORMAT' });
  assert.throws(() => stream.push([new Float32Array(3), new Float32Array(4)]), { status: 'WVAD_E_LENGTH' });
  assert.throws(() => stream.push(new Uint8Array(4)), TypeError);
  assert.throws(() => stream.push([1, 2]), TypeError);
  assert.equal(stream.info.samples, 0);
  stream.push(new Float32Array(20));
  assert.throws(() => stream.push(new Int16Array(20)), TypeError, 'the first piece says the type');
  assert.equal(stream.info.samples, 10);
  stream.finish();
  assert.throws(() => stream.push(new Float32Array(2)), { status: 'WVAD_E_STATE' });
  stream.close();
});

test('channels that differ in length are refused, not cut', async () => {
  const [long, short] = [new Float32Array(32000), new Float32Array(16000)];
  for (const samples of [[short, long], [long, short]]) {
    await assert.rejects(segment(samples, 16000), { status: 'WVAD_E_LENGTH', message: 'the channels differ in length' });
    await assert.rejects(scores(samples, 16000), { status: 'WVAD_E_LENGTH' });
  }
});

test('whole numbers are not taken modulo 2^32', async () => {
  for (const wrap of [2 ** 32, -(2 ** 32)]) {
    await assert.rejects(segment(jfk, 16000 + wrap), { status: 'WVAD_E_FORMAT', message: /^rate: -?[0-9]+ is outside of its range$/ });
    await assert.rejects(openStream(16000, { channels: 1 + wrap }), { status: 'WVAD_E_FORMAT', message: /^channels: / });
    await assert.rejects(openStream(16000, { channel: 1 + wrap }), { status: 'WVAD_E_FORMAT', message: /^channel: / });
    await assert.rejects(load({ rate: 8000 + wrap }), { status: 'WVAD_E_FORMAT' });
  }
});

test('an AudioBuffer has the rate that is said', async () => {
  const buffer = { numberOfChannels: 1, length: 44100, sampleRate: 44100, getChannelData: () => new Float32Array(44100) };
  const refusal = { status: 'WVAD_E_FORMAT', message: 'rate: the AudioBuffer has 44100 Hz, not 16000' };
  await assert.rejects(segment(buffer, 16000), refusal);
  await assert.rejects(scores(buffer, 16000), refusal);
  const stream = await openStream(16000);
  assert.throws(() => stream.push(buffer), refusal);
  stream.close();
  assert.deepEqual(await segment(buffer, 44100), []);
});

test('the type of the samples is that of the first ones taken', async () => {
  const stream = await openStream(16000);
  assert.throws(() => stream.push(new Float32Array([NaN])), { status: 'WVAD_E_SAMPLES' });
  stream.push(new Float32Array(0));
  stream.push(new Int32Array(0));
  const whole = [...stream.push(jfk), ...stream.finish()];
  assert.equal(whole.at(-1).timeFrame, 176000);
  stream.reset();
  const again = [...stream.push(toFloat(jfk)), ...stream.finish()];
  assert.deepEqual(again, whole);
  assert.throws(() => stream.push(jfk), TypeError);
  stream.reset();
  stream.finish();
  assert.throws(() => stream.push(jfk), { status: 'WVAD_E_STATE' }, 'what is finished stays so, whatever the type');
  stream.close();
});

test('options are those of the moment in which a stream is opened', async () => {
  const options = { threshold: 0.5 };
  const stream = await openStream(16000, options);
  options.threshold = 0.99;
  assert.equal([...stream.push(jfk), ...stream.finish()].filter(({ kind }) => kind === 'sentenceEnd').length, 4);
  stream.close();
});

test('options that are none are refused in words', async () => {
  await assert.rejects(segment(jfk, 16000, { threshold: 2 }), { status: 'WVAD_E_RANGE', message: /^threshold: 2 is outside of its range, 0\.01 to 0\.99$/ });
  await assert.rejects(segment(jfk, 16000, { minSilense: 1 }), /there is no option "minSilense"/);
  await assert.rejects(segment(jfk, 16000, { minSilence: '1' }), TypeError);
  await assert.rejects(segment(jfk, 16000, { minSilence: NaN }), { status: 'WVAD_E_RANGE' });
  await assert.rejects(segment(jfk, 16000, { profile: 'slow' }), { status: 'WVAD_E_PARAMETER' });
  await assert.rejects(segment(jfk, 1600), { status: 'WVAD_E_FORMAT' });
  await assert.rejects(segment(jfk, 16000.5), TypeError);
  await assert.rejects(segment(jfk, 16000, { channel: 2 }), { status: 'WVAD_E_FORMAT' });
  await assert.rejects(segment(jfk, 16000, { channel: 0 }), { status: 'WVAD_E_FORMAT' });
  await assert.rejects(load({ threshold: 0.5 }), /there is no option "threshold"/);
});

test('refusals of the library have the names that options have here', async () => {
  const refused = (options, rate = 16000) => openStream(rate, options).then(() => assert.fail(), (error) => error.message);
  assert.equal(await refused({ minSilence: 99 }), 'minSilence: 99 s is outside of its range, 0.05 to 10 s');
  assert.match(await refused({}, 7), /^rate: /);
  const profiles = '; choose default, fast, dictation, meeting or telephone';
  for (const profile of ['slow', 'so slow']) assert.equal(await refused({ profile }), `profile: there is no "${profile}"${profiles}`);
});

test('the profile of a detector is that of its calls, as far as they name none', async () => {
  const fast = await load({ profile: 'fast' });
  const begins = (sentences) => sentences.map(({ beginFrame }) => beginFrame);
  const [usual, quick] = [await segment(jfk, 16000, { model: 'lstm_fb40' }), await segment(jfk, 16000, { profile: 'fast' })];
  assert.notDeepEqual(begins(usual), begins(quick));
  assert.deepEqual(begins(fast.segment(jfk, 16000)), begins(quick));
  assert.deepEqual(begins(fast.segment(jfk, 16000, { profile: undefined })), begins(quick));
  assert.deepEqual(begins(fast.segment(jfk, 16000, { profile: 'default' })), begins(usual));
  assert.notEqual(await load({ model: 'lstm_fb40' }), fast);
  assert.equal(await load({ profile: 'fast' }), fast);
});

test('options that are inherited are refused, since copies leave them behind', async () => {
  class Options { get profile() { return 'fast'; } }
  for (const options of [Object.create({ profile: 'fast' }), new Options()]) {
    await assert.rejects(segment(jfk, 16000, options), { name: 'TypeError', message: 'profile is inherited; options have to be members of the object itself' });
  }
  assert.deepEqual(await segment(new Int16Array(0), 16000, Object.create(null)), []);
});

test('samples whose memory was transferred are refused, and those of another context taken', async () => {
  for (const wrap of [(array) => array, (array) => [array]]) {
    const gone = new Float32Array(16000);
    structuredClone(gone.buffer, { transfer: [gone.buffer] });
    await assert.rejects(segment(wrap(gone), 16000), { name: 'TypeError', message: /^the memory of the samples was transferred/ });
  }
  const foreign = runInNewContext('(numbers) => [Float32Array.from(numbers, (x) => x / 32768), Int16Array.from(numbers)]')(jfk);
  assert.equal(foreign[0] instanceof Float32Array, false);
  const expected = (await segment(jfk, 16000)).map(({ beginFrame, endFrame }) => [beginFrame, endFrame]);
  for (const samples of foreign) {
    assert.deepEqual((await segment(samples, 16000)).map(({ beginFrame, endFrame }) => [beginFrame, endFrame]), expected);
  }
});

test('floats that were not divided are warned of, once a stream', async (context) => {
  const warn = context.mock.method(console, 'warn', () => {});
  const stream = await openStream(16000);
  const words = 'wvad: samples go up to 30000; full scale is 1.0; samples that go up to 32768 have to be divided by that first';
  stream.push(Float32Array.of(0, 999, -999));
  assert.equal(warn.mock.callCount(), 0);
  stream.push([Float32Array.of(0, -30000)]);
  stream.push(Float32Array.of(20000));
  assert.deepEqual(warn.mock.calls.map((call) => call.arguments), [[words]]);
  stream.close();
  await segment(new Int16Array(1600).fill(30000), 16000);
  assert.equal(warn.mock.callCount(), 1);
});

test('values of a wrong kind are TypeErrors that say what came', async () => {
  for (const samples of [undefined, null, 'samples', 3, Promise.resolve(jfk), [new Float32Array(2), , new Float32Array(2)]]) { // eslint-disable-line no-sparse-arrays
    for (const use of [segment, scores]) await assert.rejects(use(samples, 16000), { name: 'TypeError', message: /^samples are Float32Array.*, not / });
  }
  await assert.rejects(segment(Promise.resolve(jfk), 16000), /not a promise: await it first$/);
  const stream = await openStream(16000);
  for (const samples of [undefined, null, 'samples']) assert.throws(() => stream.push(samples), { name: 'TypeError', message: /^samples are/ });
  stream.close();
  const detector = await load();
  for (const options of [5, null, [], 'fast', () => 1]) {
    const refusal = { name: 'TypeError', message: /^options are an object, not / };
    for (const use of [segment, scores]) await assert.rejects(use(jfk, 16000, options), refusal);
    await assert.rejects(openStream(16000, options), refusal);
    await assert.rejects(load(options), refusal);
    await assert.rejects(describe(options), refusal);
    for (const name of ['segment', 'scores']) assert.throws(() => detector[name](jfk, 16000, options), refusal);
    assert.throws(() => detector.stream(16000, options), refusal);
  }
  const wrong = [[{ audio: 'no' }, 'audio is true or false, not "no"'], [{ features: 1 }, 'features is true or false, not 1'],
                 [{ vectors: 'yes' }, 'vectors is true or false, not "yes"'], [{ profile: null }, 'profile is a text, not null'],
                 [{ threshold: '0.5' }, 'threshold is a number, not "0.5"'], [{ channel: 'left' }, 'channel is "mix" or a number from 1, not "left"'],
                 [{ channels: null }, 'channels is a number, not null'], [{ channels: 1.5 }, 'channels is a whole number, not 1.5'],
                 [{ model: Promise.resolve() }, 'model and wasm are an address, bytes, a Blob or a Response, not a promise: await it first'],
                 [{ model: null }, 'model and wasm are an address, bytes, a Blob or a Response, not null'],
                 [{ model: 5 }, 'model and wasm are an address, bytes, a Blob or a Response, not 5'], [{ assets: 5 }, 'assets is an address, not 5']];
  for (const [options, message] of wrong) await assert.rejects(openStream(16000, options), { name: 'TypeError', message });
  (await openStream(16000, { threshold: undefined, model: undefined, audio: undefined })).close();
});

test('a model that is not there is said with those that are', async () => {
  await assert.rejects(load({ model: 'lstm_fb57' }),
                       { name: 'WvadError', status: 'WVAD_E_PARAMETER', message: 'model: there is no "lstm_fb57"; bundled are lstm_fb75, lstm_fb40, lstm_fb75_8k, lstm_fb40_8k' });
  await assert.rejects(load({ model: new Response('none', { status: 404 }) }), { message: 'the Response: 404' });
  await assert.rejects(load({ wasm: new Uint8Array([0, 97, 115, 109, 1, 0, 0, 0]) }), { name: 'WvadError', message: 'wasm: this is not the module of wvad' });
});

test('the folder of the files, with a slash behind it and without', async () => {
  const url = new URL('../dist', import.meta.url);
  for (const assets of [url, new URL(`${url}/`), url.pathname, `${url.pathname}/`]) assert.equal((await load({ assets, model: 'lstm_fb40' })).modelKind, 'lstm_fb40');
});

test('in Node.js the microphone has a name, and says what it needs', async () => {
  await assert.rejects(Microphone.open(), { message: 'the microphone needs a browser: a stream of openStream listens anywhere' });
});

test('models: by name, as a file, as an address, as bytes, by profile and rate', async () => {
  const file = new URL('../dist/models/lstm_fb40.bin', import.meta.url);
  const bytes = await readFile(file);
  const ways = ['lstm_fb40', file, file.href, file.pathname, bytes, bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length), new Blob([bytes])];
  for (const model of ways) assert.equal((await load({ model })).modelKind, 'lstm_fb40');
  assert.equal(await load({ model: 'lstm_fb40' }), await load({ model: 'lstm_fb40' }), 'what has a name is loaded once');
  assert.equal((await load({ rate: 8000 })).modelRate, 8000);
  assert.equal((await load({ profile: 'fast' })).modelKind, 'lstm_fb40');
  assert.equal((await load()).modelKind, 'lstm_fb75');
});

test('what is no model is refused', async () => {
  await assert.rejects(load({ model: 'nowhere/model.bin' }), { code: 'ENOENT' });
  await assert.rejects(load({ model: new Uint8Array(100) }), { name: 'WvadError', status: /WVAD_E_MODEL/ });
  const bytes = await readFile(new URL('../dist/models/lstm_fb40.bin', import.meta.url));
  await assert.rejects(load({ model: bytes.subarray(0, 1000) }), { status: 'WVAD_E_MODEL_DAMAGED' });
});

test('the table of settings', async () => {
  const rows = await describe();
  assert.deepEqual(rows.map(({ name }) => name),
                   ['threshold', 'minSpeech', 'minSilence', 'padBefore', 'padAfter', 'maxSentence', 'energyFloorDb', 'turnSilence', 'stillEvery']);
  assert.deepEqual({ ...rows[2], meaning: '' }, { name: 'minSilence', unit: 's', low: 0.05, high: 10, zeroIsOff: false, initial: 0.4, meaning: '' });
});

test('the parts: a library of bytes, vectors or not', async () => {
  assert.ok(hasVectors(), 'this engine has vectors');
  for (const name of ['wvad.wasm', 'wvad-plain.wasm']) {
    const wasm = await readFile(new URL(`../dist/${name}`, import.meta.url));
    const library = await Library.of(await WebAssembly.compile(wasm));
    assert.equal(library.version, '0.1.0');
    assert.equal(library.suitableModel('telephone', 8000), 'lstm_fb75_8k');
    assert.throws(() => library.suitableModel('none', 8000), { status: 'WVAD_E_PARAMETER' });
  }
});

test('memory is given back: a thousand streams need no more than ten', async () => {
  const detector = await load({ model: 'lstm_fb40' });
  const open = (count) => {
    for (let i = 0; i < count; ++i) {
      const stream = detector.stream(48000, { audio: true });
      stream.push(new Float32Array(4800));
      stream.close();
    }
  };
  open(10);
  const before = detector.memoryBytes;
  open(1000);
  assert.equal(detector.memoryBytes, before);
  const stream = detector.stream(48000);
  for (let frames = 10000; frames <= 1000000; frames += 10000) stream.push(new Float32Array(frames));
  stream.close();
  // The pieces make 202 MB together.
  assert.ok(detector.memoryBytes < before + 64e6, `a stream and room for 4 MB of samples take ${detector.memoryBytes - before}`);
});

test('memory of models is given back', async () => {
  const bytes = await readFile(new URL('../dist/models/lstm_fb40.bin', import.meta.url));
  const wasm = new URL('../dist/wvad.wasm', import.meta.url);
  const detector = await load({ wasm, model: 'lstm_fb40' });
  const each = async () => {
    (await load({ wasm, model: bytes })).close();
    await segment(new Int16Array(16000), 16000, { wasm, model: new Blob([bytes]) });
    await scores(new Int16Array(16000), 16000, { wasm, model: bytes });
    const stream = await openStream(16000, { wasm, model: bytes });
    stream.push(new Int16Array(160));
    stream.close();
    await assert.rejects(segment(jfk, 16000, { wasm, model: bytes, threshold: 2 }), { status: 'WVAD_E_RANGE' });
  };
  await each();
  const before = detector.memoryBytes;
  for (let i = 0; i < 10; ++i) await each(); // 50 models of 1.2 MB
  assert.equal(detector.memoryBytes, before);
});

test('a closed detector is refused, and its streams go on', async () => {
  const bytes = await readFile(new URL('../dist/models/lstm_fb75.bin', import.meta.url));
  const detector = await load({ model: bytes });
  const stream = detector.stream(16000);
  detector.close();
  detector.close();
  for (const use of [() => detector.stream(16000), () => detector.segment(jfk, 16000), () => detector.scores(jfk, 16000)]) {
    assert.throws(use, { name: 'WvadError', status: 'WVAD_E_STATE', message: 'the detector is closed' });
  }
  // The first piece shows the type of the samples: the stream is opened anew inside, with the same model.
  const events = [...stream.push(jfk), ...stream.finish()];
  assert.equal(events.filter(({ kind }) => kind === 'sentenceEnd').length, 4);
  stream.close();
});

test('a detector that is kept is loaded anew once it has been closed', async () => {
  const first = await load({ model: 'lstm_fb40_8k' });
  first.close();
  const second = await load({ model: 'lstm_fb40_8k' });
  assert.notEqual(first, second);
  first.close();
  assert.equal(await load({ model: 'lstm_fb40_8k' }), second, 'closing twice forgets nothing of others');
  second.stream(8000).close();
});

test('CommonJS has the same names', async () => {
  const required = createRequire(import.meta.url)('wvad');
  assert.deepEqual(Object.keys(required).sort(), ['Detector', 'Library', 'Microphone', 'Stream', 'WvadError', 'describe', 'hasVectors', 'load', 'openStream', 'scores', 'segment']);
  assert.deepEqual(times(await required.segment(jfk, 16000)), jfkSentences);
  assert.equal(typeof Stream, 'function');
});

test('a recording of another rate', async () => {
  const sentences = await segment(toFloat(atRate(jfk, 16000, 48000)), 48000);
  assert.equal(sentences.length, jfkSentences.length);
  times(sentences).forEach(([begin, end], i) => {
    assert.ok(Math.abs(begin - jfkSentences[i][0]) <= 0.05 && Math.abs(end - jfkSentences[i][1]) <= 0.05, `${begin} to ${end}`);
  });
});
