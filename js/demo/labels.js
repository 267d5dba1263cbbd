// SPDX-License-Identifier: Apache-2.0
// The sentences as files that other programs read.

const clock = (seconds) => {
  const ms = Math.round(seconds * 1000);
  const two = (number) => String(number).padStart(2, '0');
  return `${two(Math.floor(ms / 3600000))}:${two(Math.floor(ms / 60000) % 60)}:${two(Math.floor(ms / 1000) % 60)}.${String(ms % 1000).padStart(3, '0')}`;
};

const times = ({ begin, end }) => [begin.toFixed(3), end.toFixed(3)];

export const FORMS = {
  txt: { type: 'text/plain', write: (sentences) => sentences.map((one) => `${times(one).join('\t')}\t${one.number + 1}\n`).join('') },
  vtt: {
    type: 'text/vtt',
    write: (sentences) => `WEBVTT\n${sentences.map((one) => `\n${one.number + 1}\n${clock(one.begin)} --> ${clock(one.end)}\nsentence ${one.number + 1}\n`).join('')}`,
  },
  csv: {
    type: 'text/csv',
    write: (sentences) => 'begin,end,level,snr\n' + sentences.map((one) => `${times(one).join()},${one.level.toFixed(1)},${Number.isNaN(one.snr) ? '' : one.snr.toFixed(1)}\n`).join(''),
  },
  json: {
    type: 'application/json',
    write: (sentences) => `${JSON.stringify(sentences.map(({ audio, features, ...plain }) => plain), null, 1)}\n`,
  },
};

/** Hands the user the sentences as a file named `name` with the ending of its form. */
export function download(form, sentences, name) {
  const { type, write } = FORMS[form];
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob([write(sentences)], { type }));
  link.download = `${name}.${form}`;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href));
}
