// SPDX-License-Identifier: Apache-2.0
//
// Pointer, wheel, touch and keys.

/** The pointer over the lanes: what lies under it is explained, dragging moves, two fingers zoom, a click chooses. */
function followPointer(view, timeline, click) {
  const down = new Map();  // where each pressed pointer is
  let moved = 0;
  const x = (event) => event.clientX - timeline.getBoundingClientRect().left;
  timeline.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    moved = down.size ? Infinity : 0;
    down.set(event.pointerId, x(event));
    timeline.setPointerCapture(event.pointerId);
  });
  timeline.addEventListener("pointermove", (event) => {
    const now = x(event);
    view.pointer = Math.min(Math.max(0, view.seconds(now)), view.total);
    const before = down.get(event.pointerId);
    if (before !== undefined && down.size === 1) {
      moved += Math.abs(now - before);
      if (moved > 4) view.pan(((before - now) / view.width) * view.span);
    } else if (before !== undefined && down.size === 2) {
      const [other] = [...down].find(([id]) => id !== event.pointerId).slice(1);
      const apart = Math.max(8, Math.abs(before - other)), apartNow = Math.max(8, Math.abs(now - other));
      view.zoom(apart / apartNow, view.seconds((before + other) / 2));
      view.pan((((before - now) / 2) / view.width) * view.span);
    }
    if (before === undefined || moved > 4) down.has(event.pointerId) && down.set(event.pointerId, now);
    view.changed();
  });
  const up = (event) => {
    if (down.delete(event.pointerId) && moved <= 4 && event.type === "pointerup") click(view.seconds(x(event)), event);
    if (event.pointerType !== "mouse") view.pointer = null;
    view.changed();
  };
  timeline.addEventListener("pointerup", up);
  timeline.addEventListener("pointercancel", up);
  timeline.addEventListener("pointerleave", () => {
    view.pointer = null;
    view.changed();
  });
  timeline.addEventListener("wheel", (event) => {
    event.preventDefault();
    const unit = event.deltaMode === 1 ? 16 : event.deltaMode === 2 ? 400 : 1;
    const across = event.shiftKey ? event.deltaY || event.deltaX : event.deltaX;
    if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      view.pan((across * unit / view.width) * view.span);
    } else {
      view.zoom(Math.exp(event.deltaY * unit * (event.ctrlKey ? 0.01 : 0.0015)), view.seconds(x(event)));
    }
  }, { passive: false });
}

/** In the overview a press puts the middle of the view there. */
function followOverview(view, overview) {
  const go = (event) => {
    if (!(event.buttons & 1)) return;
    const box = overview.getBoundingClientRect();
    view.show(((event.clientX - box.left) / box.width) * view.total - view.span / 2, view.span);
  };
  overview.addEventListener("pointerdown", (event) => {
    overview.setPointerCapture(event.pointerId);
    go(event);
  });
  overview.addEventListener("pointermove", go);
}

function followKeys(view, sound, actions) {
  const middle = () => (view.cursor >= view.from && view.cursor <= view.to ? view.cursor : (view.from + view.to) / 2);
  const step = (event, direction) => view.putCursor(Math.round((view.cursor + direction * (event.shiftKey ? 1 : 0.01)) * 100) / 100);
  const keys = {
    " ": () => sound.toggle(),
    Enter: () => actions.playHere(),
    ArrowLeft: (event) => step(event, -1),
    ArrowRight: (event) => step(event, 1),
    PageUp: () => { view.putCursor(view.cursor - view.span, false); view.pan(-view.span); },
    PageDown: () => { view.putCursor(view.cursor + view.span, false); view.pan(view.span); },
    Home: () => view.putCursor(0),
    End: () => view.putCursor(view.total),
    "+": () => view.zoom(0.6, middle()),
    "=": () => view.zoom(0.6, middle()),
    "-": () => view.zoom(1 / 0.6, middle()),
    "−": () => view.zoom(1 / 0.6, middle()),
    0: () => view.show(0, view.total),
    n: () => actions.goSentence(1),
    p: () => actions.goSentence(-1),
    t: () => actions.theme(),
    "?": () => actions.help(),
  };
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || document.getElementById("help-box").open) return;
    const elsewhere = event.target.closest("button, summary, a, .scroll");
    // What these do with the keys themselves stays theirs.
    if (elsewhere && (event.key.length > 1 || event.key === " ")) return;
    const action = keys[event.key];
    if (!action) return;
    event.preventDefault();
    view.pointer = null;
    action(event);
  });
  document.getElementById("zoom-in").addEventListener("click", keys["+"]);
  document.getElementById("zoom-out").addEventListener("click", keys["-"]);
  document.getElementById("zoom-all").addEventListener("click", keys[0]);
  document.getElementById("play").addEventListener("click", keys[" "]);
  document.getElementById("theme").addEventListener("click", keys.t);
  document.getElementById("help").addEventListener("click", keys["?"]);
}
