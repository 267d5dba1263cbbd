// SPDX-License-Identifier: Apache-2.0
// Compiled by types.test.mjs, never run. A line behind "@ts-expect-error" that compiles is an error.
import { Detector, load, Microphone, openStream, scores, segment, Sentence, WvadError } from 'wvad';

async function program(samples: Float32Array, buffer: AudioBuffer): Promise<void> {
  const sentences: Sentence[] = await segment(samples, 16000, { profile: 'fast', minSilence: 0.3, audio: true });
  const first = sentences[0];
  if (first?.audio) samples.set(first.audio);
  await segment(buffer, buffer.sampleRate, { channel: 2, model: new URL('https://example.org/model.bin') });
  await segment([samples, samples], 48000);
  const values: Float32Array = await scores(new Int16Array(3), 8000);

  const detector: Detector = await load({ model: new Uint8Array(4), vectors: false });
  const stream = detector.stream(48000, { probability: true });
  for (const event of stream.push(samples)) {
    switch (event.kind) {
      case 'probability':
        values[0] = event.probability;
        break;
      case 'sentenceEnd':
        values[1] = event.sentence.snr;
        break;
      case 'turnEnd':
        values[2] = event.number;
        break;
    }
    // @ts-expect-error: only some kinds have it
    values[3] = event.probability;
  }
  (await openStream(16000)).close();

  const microphone = await Microphone.open({
    profile: 'dictation',
    onSpeechEnd: (audio, { level }) => (values[4] = (audio[0] ?? 0) + level),
    onFrame: (probability, time) => (values[5] = probability + time),
    constraints: { echoCancellation: true },
    channel: 2,
  });
  await microphone.start();
  await microphone.pause();
  await microphone.destroy();
  // @ts-expect-error: a callback that there is not
  await Microphone.open({ onSpeechStop: () => undefined });

  // @ts-expect-error: a channel that is neither a number nor the mix
  await Microphone.open({ channel: 'left' });

  // @ts-expect-error: a misspelt option
  await segment(samples, 16000, { minSilense: 1 });
  // @ts-expect-error: a profile that is none
  await segment(samples, 16000, { profile: 'slow' });
  // @ts-expect-error: samples of a kind that is not taken
  stream.push(new Uint8Array(3));
  // @ts-expect-error: the rate is missing
  await segment(samples);
  try {
    stream.finish();
  } catch (error) {
    if (error instanceof WvadError) throw new Error(error.status);
  }
}

export { program };
