// SPDX-License-Identifier: Apache-2.0
//
// What is said in words and tables: the explanation of a place, the sentences of each track, and what the page was made with.

/** The explanation of the place under the pointer, or else at the cursor. */
class Told {
  constructor(view, tracks) {
    this.view = view;
    this.tracks = tracks;
    this.box = document.getElementById("told");
    this.shown = "";
  }

  draw() {
    const seconds = Math.min(this.view.place, this.view.total - 1e-6);
    const frame = Math.floor(seconds * 100 + 1e-6);
    const timeline = document.getElementById("timeline");
    timeline.setAttribute("aria-valuenow", this.view.cursor.toFixed(2));
    if (this.shown === String(frame)) return;
    this.shown = String(frame);
    document.getElementById("told-at").textContent = `at ${clock(frame / 100)}`;
    // Only what the keys lead to is read out: the pointer would never be quiet.
    this.box.setAttribute("aria-live", this.view.pointer === null ? "polite" : "off");
    this.box.replaceChildren(...this.tracks.map((track) => this.block(track, frame / 100)));
    timeline.setAttribute("aria-valuetext", `${clock(this.view.cursor)}, ${decisionAt(this.tracks[0], this.view.cursor).verdict}`);
  }

  block(track, seconds) {
    const { rows, verdict } = decisionAt(track, seconds);
    const list = makeElement("dl");
    for (const [topic, words] of rows) {
      list.append(makeElement("dt", {}, topic), makeElement("dd", {}, ...withParameters(track, words)));
    }
    const name = this.tracks.length > 1 ? [makeElement("h3", {}, trackName(track))] : [];
    return makeElement("div", { class: "block" }, makeElement("div", { class: "block-head" }, ...name,
      makeElement("span", { class: `verdict ${verdict.split(" ")[0]}` }, verdict)), list);
  }
}

/** One table of sentences for each track. */
class SentenceLists {
  static FIRST = 400;  // rows at once; the others when they are asked for

  constructor(view, tracks, choose) {
    this.view = view;
    this.choose = choose;
    this.current = tracks.map(() => -1);
    this.tracks = tracks;
    this.bodies = tracks.map((track) => this.table(track));
  }

  table(track) {
    const box = document.getElementById("sentence-lists");
    if (this.tracks.length > 1) box.append(makeElement("h3", {}, trackName(track)));
    if (!track.sentences.length) {
      box.append(makeElement("p", { class: "empty" }, "No sentence was found."));
      return null;
    }
    const heads = ["", "begin", "end", "duration", "level", "SNR", "vol"].map((name) => makeElement("th", { scope: "col" }, name));
    const body = makeElement("tbody");
    const table = makeElement("table", { class: "sentences" }, makeElement("thead", {}, makeElement("tr", {}, ...heads)), body);
    box.append(makeElement("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": `Sentences of ${trackName(track)}` }, table));
    this.fill(track, body, 0, Math.min(track.sentences.length, SentenceLists.FIRST));
    if (track.sentences.length > SentenceLists.FIRST) {
      const more = makeElement("button", { onclick: () => {
        more.remove();
        this.fill(track, body, SentenceLists.FIRST, track.sentences.length);
      } }, `Show all ${track.sentences.length}`);
      box.append(more);
    }
    return body;
  }

  fill(track, body, from, to) {
    for (let i = from; i < to; ++i) {
      const sentence = track.sentences[i];
      const button = makeElement("button", { class: "play-one", "aria-label": `Play sentence ${i + 1}` }, `▶ ${i + 1}`);
      const vol = sentence.vol === null ? "–" : sentence.vol.toFixed(1);
      const cells = [clock(sentence.begin), clock(sentence.end), sentence.duration.toFixed(2), `${decibels(sentence.level)} dB`,
        sentence.snr === null ? "–" : `${decibels(sentence.snr)} dB`, sentence.trig ? `${vol} (faint)` : vol];
      const row = makeElement("tr", {}, makeElement("td", {}, button), ...cells.map((text) => makeElement("td", {}, text)));
      row.addEventListener("click", () => this.choose(track, i));
      body.append(row);
    }
  }

  /** The row of the sentence at the cursor is marked. */
  draw() {
    this.tracks.forEach((track, k) => {
      const i = sentenceAt(track.sentences, this.view.cursor);
      if (i === this.current[k]) return;
      const rows = this.bodies[k]?.rows ?? [];
      rows[this.current[k]]?.classList.remove("current");
      rows[i]?.classList.add("current");
      this.current[k] = i;
    });
  }
}

/** A parameter's value; the greatest number stands for a limit that is out of force. */
function limit(value) {
  return value === "2147483647" ? "no limit" : value || "–";
}

/** Program, models, checksums, parameters: those that somebody has set first, the others behind a fold. */
function writeOrigin(tracks) {
  const box = document.getElementById("origin");
  const facts = [["program", page.program], ["recording", `${page.file}, ${clock(page.seconds)}, heard at ${page.rate} Hz`]];
  box.append(makeElement("dl", { class: "facts" }, ...facts.flatMap(([name, value]) => [makeElement("dt", {}, name), makeElement("dd", {}, value)])));
  for (const track of tracks) {
    const table = (rows) => makeElement("table", { class: "parameters" },
      makeElement("thead", {}, makeElement("tr", {}, ...["parameter", "in force", "built in"].map((name) => makeElement("th", { scope: "col" }, name)))),
      makeElement("tbody", {}, ...rows.map(([name, value, builtIn]) =>
        makeElement("tr", { class: value === builtIn ? "" : "set" }, makeElement("th", { scope: "row" }, makeElement("code", {}, name)),
          makeElement("td", {}, limit(value)), makeElement("td", {}, limit(builtIn))))));
    const changed = track.parameters.filter(([, value, builtIn]) => value !== builtIn);
    box.append(
      makeElement("h3", {}, trackName(track)),
      makeElement("dl", { class: "facts" }, makeElement("dt", {}, "model"), makeElement("dd", {}, track.model),
        makeElement("dt", {}, "its SHA-256"), makeElement("dd", {}, makeElement("code", { class: "checksum" }, track.checksum)),
        makeElement("dt", {}, "settings"), makeElement("dd", {}, track.settings.join(", ") || "none")),
      ...(changed.length ? [makeElement("p", {}, "Other than built in (by the model, by a setting, or because a recording is gone through to its end):"), table(changed)] : []),
      makeElement("details", {}, makeElement("summary", {}, `All ${track.parameters.length} parameters in force`), table(track.parameters)));
  }
}

/** "4 sentences, 9.4 s of speech (85 %)". */
function sums(track) {
  const speech = track.sentences.reduce((sum, sentence) => sum + sentence.duration, 0);
  const length = speech < 100 ? `${speech.toFixed(1)} s` : clock(speech, 0);
  return `${plural(track.sentences.length, "sentence")}, ${length} of speech (${Math.round((100 * speech) / Math.max(page.seconds, 0.01))} %)`;
}

function writeHeading(tracks) {
  document.getElementById("name").textContent = page.file.replace(/^.*\//, "");
  const found = tracks.length === 1 ? [sums(tracks[0]), trackName(tracks[0])] : [plural(tracks.length, "track")];
  document.getElementById("summary").textContent = [clock(page.seconds), ...found, page.program].join(" · ");
  const notes = document.getElementById("notes");
  for (const note of [page.damage && `The recording is damaged: ${page.damage}.`, page.note && `Note: ${page.note}.`]) {
    if (note) notes.append(makeElement("p", {}, note));
  }
}

function trackHeading(track) {
  const lost = track.lost < 0.05 ? []
    : [makeElement("span", { class: "lost" }, `${Math.round(100 * track.lost)} % of the network's speech lies under the energy floor`)];
  const key = (name, words) => makeElement("span", { class: `key ${name}` }, words);
  return makeElement("div", { class: "track-head" }, makeElement("h3", {}, trackName(track)),
    makeElement("span", { class: "sums" }, sums(track)), ...lost,
    makeElement("span", { class: "keys", "aria-hidden": "true" }, key("probability", "probability"), key("energy", "energy"),
      key("under", "under the floor"), key("held", "held over")));
}
