// SPDX-License-Identifier: Apache-2.0
//
// Puts the parts together, once everything has been unpacked.

/** "light" or "dark": what was chosen here, else what the system asks for. */
function scheme() {
  const chosen = document.documentElement.dataset.theme;
  return chosen || (matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light");
}

/** The lanes from top to bottom; `bars` maps the canvas of each track's sentences to its lane. */
function makeLanes(view, wave, spectrum, tracks, box) {
  const lanes = [new Ruler(view), new WaveLane(view, wave, tracks), new SpectrumLane(view, spectrumLevels(spectrum, page.spectrum.bands))];
  const bars = new Map();
  box.append(...lanes.map((lane) => lane.element));
  for (const track of tracks) {
    const curve = new CurveLane(view, track), sentences = new SentenceLane(view, track);
    bars.set(sentences.canvas, sentences);
    lanes.push(curve, sentences);
    box.append(trackHeading(track), curve.element, sentences.element);
  }
  return { lanes, bars };
}

/** What draws everything that depends on the view. */
function makePainter(view, sound, lanes, bars, texts) {
  const cursor = document.getElementById("cursor"), head = document.getElementById("head"), time = document.getElementById("clock");
  const place = (element, seconds) => {
    const there = seconds !== null && seconds >= view.from && seconds <= view.to;
    element.style.display = there ? "block" : "none";
    if (there) element.style.transform = `translateX(${view.x(seconds)}px)`;
  };
  return () => {
    const colours = readColours();
    for (const [, lane] of bars) lane.marked = view.pointer === null ? -1 : sentenceAt(lane.track.sentences, view.pointer);
    for (const lane of lanes) lane.draw(colours);
    place(cursor, view.place);
    place(head, sound.playing ? sound.seconds : null);
    time.textContent = clock(sound.playing ? sound.seconds : view.place);
    for (const text of texts) text.draw();
  };
}

/** What keys and pointer bring about, beyond moving the view. `choose` plays sentence `i` of a track. */
function makeActions(view, tracks, choose) {
  return {
    goSentence(direction) {
      const { sentences } = tracks[0];
      const at = lastBegun(sentences, view.cursor);
      const i = direction > 0 ? at + 1 : at >= 0 && view.cursor > sentences[at].begin ? at : at - 1;
      if (!sentences[i]) return;
      view.putCursor(sentences[i].begin, false);
      view.reveal(sentences[i].begin, sentences[i].end);
    },
    playHere() {
      const track = tracks.find((one) => sentenceAt(one.sentences, view.cursor) >= 0);
      if (track) choose(track, sentenceAt(track.sentences, view.cursor));
    },
    theme() {
      document.documentElement.dataset.theme = scheme() === "dark" ? "light" : "dark";
      view.changed();
    },
    help() { document.getElementById("help-box").showModal(); },
  };
}

/** The button says what it does, and where the sound cannot be played that is said. */
function watchSound(view, sound) {
  document.getElementById("play").disabled = !sound.there;
  sound.listeners.push(() => {
    document.getElementById("play").textContent = sound.playing ? "Pause" : "Play";
    if (sound.element.error) {
      const what = page.sound.link ? ` of ${page.sound.link}` : "";
      document.getElementById("notes").replaceChildren(makeElement("p", {}, `This browser cannot play the sound${what}.`));
    }
    view.changed();
  });
}

async function start() {
  const [wave, spectrum, ...tracks] = await Promise.all([
    loadWave(), unpack("spectrum", Uint8Array), ...page.tracks.map((track, i) => loadTrack(track, i))]);
  const view = new View(page.seconds);
  const sound = new Sound(view, document.getElementById("sound"));
  const timeline = document.getElementById("timeline"), box = document.getElementById("lanes");
  const { lanes, bars } = makeLanes(view, wave, spectrum, tracks, box);
  const overview = new Overview(view, wave, tracks);
  const choose = (track, i) => {
    const { begin, end } = track.sentences[i];
    view.putCursor(begin, false);
    view.reveal(begin, end);
    sound.play(begin, end);
  };
  writeHeading(tracks);
  writeOrigin(tracks);
  timeline.setAttribute("aria-valuemax", view.total.toFixed(2));
  const draw = makePainter(view, sound, [overview, ...lanes], bars, [new Told(view, tracks), new SentenceLists(view, tracks, choose)]);
  view.listeners.push(draw);
  watchSound(view, sound);
  followKeys(view, sound, makeActions(view, tracks, choose));
  followOverview(view, overview.canvas);
  followPointer(view, timeline, (seconds, event) => {
    view.putCursor(seconds, false);
    const lane = bars.get(document.elementsFromPoint(event.clientX, event.clientY).find((element) => bars.has(element)));
    const i = lane ? sentenceAt(lane.track.sentences, seconds) : -1;
    if (i >= 0) choose(lane.track, i);
    else if (sound.playing) sound.play(seconds);
  });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => view.changed());
  new ResizeObserver(() => {
    view.width = Math.max(1, box.clientWidth);
    view.changed();
  }).observe(box);
  view.width = Math.max(1, box.clientWidth);
  draw();
  document.documentElement.dataset.ready = "yes";
  globalThis.wvadPage = { page, view, sound, tracks };  // for whoever wants to look from the console
}

start().catch((error) => {
  document.documentElement.dataset.ready = "failed";
  document.getElementById("notes").append(makeElement("p", {}, `The page could not be put together: ${error.message}`));
  throw error;
});
