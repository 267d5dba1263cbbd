// SPDX-License-Identifier: Apache-2.0
// The page: a microphone or a recording in, chart and sentences out.
import { Microphone } from '../dist/browser.js';
import { Chart } from './chart.js';
import { download } from './labels.js';

const element = (id) => document.getElementById(id);
const chart = new Chart(element('chart'));
const player = { context: undefined, source: undefined };
let sentences = [];
let audioRate = 16000;
let name = 'microphone';
let live; // while the microphone is listened to
let worker;
let turn = 0; // counts what the page was told to hear
let again; // hears the same anew
let newestFirst = false;

function say(text, kind) {
  element('state').textContent = text;
  if (kind === undefined) delete element('state').dataset.kind;
  else element('state').dataset.kind = kind;
}

function clear(duration) {
  sentences = [];
  element('sentences').replaceChildren();
  element('speed').textContent = '';
  chart.clear(duration);
  showCount();
}

function showCount() {
  const seconds = sentences.reduce((sum, { duration }) => sum + duration, 0);
  element('count').textContent = sentences.length ? `${sentences.length}, ${seconds.toFixed(1)} s of speech` : '';
  element('downloads').hidden = element('sentences').parentElement.hidden = sentences.length === 0;
  element('hint').hidden = sentences.length > 0;
}

function addSentence(sentence) {
  sentences.push(sentence);
  chart.addSentence(sentence);
  const row = element('sentences').insertRow(newestFirst ? 0 : -1);
  const button = Object.assign(document.createElement('button'), { type: 'button', textContent: '▶', title: `Hear sentence ${sentence.number + 1}` });
  button.addEventListener('click', () => play(sentence));
  row.insertCell().append(button);
  const { begin, end, duration, level, snr } = sentence;
  for (const text of [`${begin.toFixed(2)} s`, `${end.toFixed(2)} s`, `${duration.toFixed(2)} s`, `${level.toFixed(1).replace("-", "\u2212")} dB`, Number.isNaN(snr) ? '' : `${snr.toFixed(0)} dB`]) {
    row.insertCell().textContent = text;
  }
  showCount();
}

function take(event) {
  if (event.kind === 'probability') chart.addProbability(event.time, event.probability);
  if (event.kind === 'sentenceBegin') chart.begin(event.time);
  if (event.kind === 'sentenceEnd') addSentence(event.sentence);
}

async function play({ audio }) {
  player.context ??= new AudioContext();
  player.source?.stop();
  const buffer = player.context.createBuffer(1, audio.length, audioRate);
  buffer.copyToChannel(audio, 0);
  player.source = new AudioBufferSourceNode(player.context, { buffer });
  player.source.connect(player.context.destination);
  player.source.start();
  await player.context.resume();
}

/** Shows how loud `source` is, which events do not say. Gives what ends it. */
function watch(source) {
  const { context } = source;
  const analyser = new AnalyserNode(context, { fftSize: 2048 });
  source.connect(analyser);
  const samples = new Float32Array(analyser.fftSize);
  const begin = context.currentTime;
  const timer = setInterval(() => {
    analyser.getFloatTimeDomainData(samples);
    const first = context.currentTime - begin - samples.length / context.sampleRate;
    samples.forEach((sample, i) => {
      const time = first + i / context.sampleRate;
      if (time >= 0) chart.addLoudness(time, Math.abs(sample));
    });
  }, 30);
  return () => clearInterval(timer);
}

/** Ends what is heard, if anything is. Gives what tells whether that which begins now is still what the page hears: another may follow at any time. */
async function takeOver() {
  const mine = ++turn;
  worker?.terminate();
  await stop();
  return () => mine === turn;
}

async function listen() {
  const current = await takeOver();
  if (!current()) return;
  say('getting ready', 'wait');
  const session = { current };
  try {
    session.stream = await navigator.mediaDevices.getUserMedia({ audio: true });
    session.context = new AudioContext();
    if (current()) await begin(session);
  } catch (error) {
    if (current()) throw error;
  } finally {
    if (live !== session) await end(session);
  }
}

/** Listens to the microphone of `session`. */
async function begin(session) {
  const { stream, context, current } = session;
  const profile = element('profile').value;
  let speech = false;
  const microphone = session.microphone = await Microphone.open({
    profile,
    stream,
    context,
    onEvent: (event) => current() && take(event),
    onSpeechStart: () => (speech = true),
    onMisfire: () => (speech = false),
    onSpeechEnd: () => (speech = false),
    onFrame: () => current() && say(speech ? 'speech' : 'listening', speech ? 'speech' : 'silence'),
    onError: (error) => stop().then(() => current() && say(error.message, 'error')),
  });
  if (!current()) return;
  clear();
  newestFirst = true;
  name = 'microphone';
  ({ audioRate } = microphone);
  await microphone.start();
  if (!current()) return;
  session.unwatch = watch(context.createMediaStreamSource(stream));
  live = session;
  again = listen;
  element('microphone').textContent = 'Stop';
  say('listening', 'silence');
  if (element('profile').value !== profile) await listen(); // chosen meanwhile
}

async function end({ microphone, stream, context, unwatch }) {
  unwatch?.();
  await microphone?.pause();
  await microphone?.destroy();
  stream?.getTracks().forEach((track) => track.stop());
  if (context !== undefined && context.state !== 'closed') await context.close();
}

async function stop() {
  const session = live;
  if (session === undefined) return;
  live = again = undefined;
  await end(session);
  element('microphone').textContent = 'Listen to the microphone';
  if (session.current()) say('');
}

async function hear(file) {
  const current = await takeOver();
  if (!current()) return;
  say('reading', 'wait');
  try {
    // Decoded at the rate that the models hear.
    const buffer = await new OfflineAudioContext(1, 1, 16000).decodeAudioData(await file.arrayBuffer());
    if (!current()) return;
    again = async () => {
      const stillCurrent = await takeOver();
      if (stillCurrent()) hearDecoded(buffer, file.name, stillCurrent);
    };
    hearDecoded(buffer, file.name, current);
  } catch (error) {
    if (current()) throw error;
  }
}

function hearDecoded(buffer, title, current) {
  const planes = Array.from({ length: buffer.numberOfChannels }, (_, channel) => buffer.getChannelData(channel).slice());
  name = title.replace(/\.[^.]*$/, '');
  audioRate = buffer.sampleRate;
  clear(buffer.duration);
  newestFirst = false;
  planes[0].forEach((sample, i) => i % 8 === 0 && chart.addLoudness(i / buffer.sampleRate, Math.abs(sample)));
  worker = new Worker(new URL('worker.js', import.meta.url), { type: 'module' });
  worker.onerror = ({ message }) => current() && say(message, 'error');
  worker.onmessage = ({ data }) => {
    if (!current()) return;
    if (data.error !== undefined) {
      say(data.error, 'error');
      return;
    }
    if (data.seconds !== undefined) {
      element('speed').textContent = `${buffer.duration.toFixed(1)} s heard in ${data.seconds.toFixed(2)} s`;
      say(title);
      return;
    }
    data.events.forEach(take);
    say(`${Math.round(100 * data.heard / buffer.duration)} %`, 'wait');
  };
  worker.postMessage({ planes, rate: buffer.sampleRate, profile: element('profile').value }, planes.map((plane) => plane.buffer));
}

const guarded = (step) => async (...values) => {
  try {
    await step(...values);
  } catch (error) {
    say(error.name === 'NotAllowedError' ? 'the microphone was not allowed' : error.name === 'EncodingError' ? 'not a recording that this browser can play' : error.message, 'error');
  }
};

element('microphone').addEventListener('click', guarded(async () => {
  element('microphone').disabled = true;
  try {
    await (live === undefined ? listen() : stop());
  } finally {
    element('microphone').disabled = false;
  }
}));
element('file').addEventListener('change', guarded(async ({ target }) => {
  if (target.files.length > 0) await hear(target.files[0]);
  target.value = '';
}));
element('profile').addEventListener('change', guarded(async () => again?.()));
element('downloads').addEventListener('click', ({ target }) => target.dataset.form && download(target.dataset.form, sentences, name));
element('chart').addEventListener('click', ({ offsetX }) => {
  const found = chart.sentenceAt(offsetX);
  if (found >= 0) play(sentences[found]);
});
for (const kind of ['dragover', 'dragleave', 'drop']) {
  document.addEventListener(kind, guarded(async (event) => {
    event.preventDefault();
    document.body.classList.toggle('over', kind === 'dragover');
    if (kind === 'drop' && event.dataTransfer.files.length > 0) await hear(event.dataTransfer.files[0]);
  }));
}
