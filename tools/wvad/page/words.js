// SPDX-License-Identifier: Apache-2.0
//
// Words: times, and what was decided on a frame. Which statements hold of it, and their texts, come from the program that wrote the page;
// here they are filled in.

/** "1:02.50"; hours where there are any. `digits` behind the seconds' point. */
function clock(seconds, digits = 2) {
  const unit = 10 ** digits;
  const whole = Math.round(seconds * unit);
  const s = (whole % (60 * unit)) / unit;
  const minutes = Math.floor(whole / (60 * unit));
  const rest = s.toFixed(digits).padStart(digits ? digits + 3 : 2, "0");
  return minutes < 60 ? `${minutes}:${rest}` : `${Math.floor(minutes / 60)}:${String(minutes % 60).padStart(2, "0")}:${rest}`;
}

function decibels(value) {
  return value === null || value === undefined ? "–" : value.toFixed(1).replace("-", "−");
}

function plural(count, word) {
  return `${count} ${word}${count === 1 ? "" : "s"}`;
}

function makeElement(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name === "class") element.className = value;
    else if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (value !== false && value !== null) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

/** What a track is called: its model, and the settings that it does not share with the others. */
function trackName(track) {
  const shared = page.tracks.length > 1 ? track.settings.filter((setting) => page.tracks.every((other) => other.settings.includes(setting))) : [];
  const own = track.settings.filter((setting) => !shared.includes(setting)).map((setting) => setting.replace(/^wvad_param_/, ""));
  return [track.model.replace(/^.*\//, ""), ...own].join(", ");
}

/** Text with each parameter in it as code that tells its value. */
function withParameters(track, text) {
  return text.split(/(\bwvad_param_\w+)/).map((part) => {
    if (!part.startsWith("wvad_param_")) return part;
    const row = track.parameters.find(([name]) => name === part);
    return makeElement("code", { title: row ? `${part} = ${row[1]}` : part }, part);
  });
}

function filled(text, track, frame) {
  const energy = (value) => (value > NO_NUMBER ? value.toFixed(2) : "no number");
  const values = {
    probability: () => track.p(frame).toFixed(4), threshold: () => String(track.threshold),
    energy: () => energy(track.e(frame)), floor: () => energy(track.f(frame)),
    count: () => (track.count[frame] / 100).toFixed(2), need: () => (track.need[frame] / 100).toFixed(2),
    frames: () => String(track.count[frame]), wanted: () => String(track.need[frame]),
  };
  return text.replace(/\{(\w+)\}/g, (whole, name) => (values[name] ? values[name]() : whole));
}

function sentenceWords(track, seconds) {
  const i = sentenceAt(track.sentences, seconds);
  if (i < 0) return "in none";
  const sentence = track.sentences[i];
  let part = "";
  if (seconds < sentence.speech_begin) part = ", in its margin before the speech (wvad_param_nFrameStartMargin)";
  if (seconds >= sentence.speech_end) part = ", in its margin behind the speech (wvad_param_nFrameEndMargin)";
  return `number ${i + 1}, ${clock(sentence.begin)} to ${clock(sentence.end)}${part}`;
}

/** [topic, words] of all that was decided on the 10 ms that hold `seconds`, and the verdict: "speech", "silence" or "not decided". */
function decisionAt(track, seconds) {
  const frame = Math.max(0, Math.min(track.statements.length - 1, Math.floor(seconds * 100 + 1e-6)));
  const bits = track.statements[frame] ?? 0;
  const rows = [];
  page.statements.forEach((statement, i) => {
    if (bits & (1 << i) && statement.topic !== "verdict") rows.push([statement.topic, filled(track.words[i], track, frame)]);
  });
  if (!bits) rows.push(["window", "the audio ends within the window of this frame"]);
  rows.push(["sentence", sentenceWords(track, frame / 100)]);
  return { rows, verdict: !bits ? "not decided" : bits & STATEMENT.speech ? "speech" : "silence" };
}
