#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""page_test.py PROGRAM MODEL: the page of `wvad report` in a browser: it opens without a script error and without a network, answers pointer,
wheel and keys, tells what `wvad explain` tells, and looks as it did (look.png, made by page_test.py PROGRAM MODEL --write-look).

MODEL is the one that calls every frame speech, so that the floor decides: sound from a to b seconds is a sentence from a - 0.30 to b + 0.20.
Exit code 77 (a skipped test) where there is no Chromium."""
import array
import base64
import json
import math
import pathlib
import subprocess
import sys
import tempfile
import unittest
import wave

import browser

FOLDER = pathlib.Path(__file__).resolve().parent
LOOK = FOLDER / "look.png"
RATE = 16000
SPANS = ((1.0, 2.0), (3.0, 3.5))
SENTENCES = [[0.7, 2.2], [2.7, 3.7]]
SKIPPED = 77


def write_recording(path, seconds=5.0, spans=SPANS):
    """Two tones that rise, with all their overtones, and digital silence around them."""
    samples = array.array("h", bytes(2 * int(seconds * RATE)))
    for begin, end in spans:
        for i in range(int(begin * RATE), int(end * RATE)):
            t = (i / RATE - begin) / (end - begin)
            turn = (120 + 60 * t) * (i / RATE - begin)
            samples[i] = int(9000 * (0.4 + 0.6 * math.sin(math.pi * t)) * (2 * (turn % 1) - 1))
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(samples.tobytes())


# Means of blocks of 8 x 8 pixels of a picture, red, green and blue from 0 to 255: letters and edges blur, lanes and colours stay.
BLOCKS = """
async (png) => {
  const image = new Image();
  image.src = "data:image/png;base64," + png;
  await image.decode();
  const canvas = document.createElement("canvas");
  canvas.width = image.width; canvas.height = image.height;
  const context = canvas.getContext("2d");
  context.drawImage(image, 0, 0);
  const { data } = context.getImageData(0, 0, image.width, image.height);
  const across = Math.floor(image.width / 8), down = Math.floor(image.height / 8);
  const sums = new Array(across * down * 3).fill(0);
  for (let y = 0; y < down * 8; ++y) for (let x = 0; x < across * 8; ++x) for (let c = 0; c < 3; ++c)
    sums[((y >> 3) * across + (x >> 3)) * 3 + c] += data[(y * image.width + x) * 4 + c] / 64;
  return { across, down, sums };
}
"""


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.recording = pathlib.Path(cls.folder.name) / "made.wav"
        cls.page = pathlib.Path(cls.folder.name) / "made.html"
        write_recording(cls.recording)
        cls.wvad("report", cls.recording, "-o", cls.page, "--compare", "wvad_param_nEnergyThreshhood=40")
        cls.browser = browser.Browser(1200, 900)

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        cls.folder.cleanup()

    @staticmethod
    def wvad(command, *arguments):
        call = [PROGRAM, command, "-m", MODEL, *map(str, arguments)]
        return subprocess.run(call, check=True, capture_output=True, text=True).stdout

    def setUp(self):
        self.browser.forget()
        self.browser.resize(1200, 900)
        self.browser.open(self.page)

    def tearDown(self):
        self.assertEqual(self.browser.errors, [])

    def value(self, expression):
        return self.browser.evaluate(expression)

    def box(self, selector):
        """[left, top, width, height] of an element, brought into sight."""
        return self.value(f"(() => {{ const e = document.querySelector({json.dumps(selector)}); e.scrollIntoView({{block: 'nearest'}});"
                          "const b = e.getBoundingClientRect(); return [b.left, b.top, b.width, b.height]; })()")

    def x_of(self, seconds):
        left, _, width, _ = self.box("#lanes")
        start, end = self.value("[wvadPage.view.from, wvadPage.view.to]")
        return left + (seconds - start) / (end - start) * width

    def middle_of_row(self, number):
        _, top, _, height = self.box(f"#lanes > :nth-child({number})")
        return top + height / 2

    def bars_y(self):
        """Of the first track's sentences: ruler, wave, spectrum, heading and curve stand before them."""
        return self.middle_of_row(6)

    def test_asks_for_nothing_but_itself(self):
        self.assertEqual(self.value("document.documentElement.dataset.ready"), "yes")
        others = [url for url in self.browser.requests if not url.startswith(("file://", "blob:", "data:"))]
        self.assertEqual(others, [])
        self.assertEqual(len([url for url in self.browser.requests if url.startswith("file://")]), 1)

    def test_shows_the_sentences_of_each_track(self):
        self.assertEqual(self.value("wvadPage.tracks[0].sentences.map((s) => [s.begin, s.end])"), SENTENCES)
        self.assertEqual(self.value("[...document.querySelectorAll('#sentence-lists tbody tr')].length"), 2)
        self.assertIn("No sentence was found", self.value("document.getElementById('sentence-lists').textContent"))
        self.assertEqual(self.value("document.title"), str(self.recording))

    def test_tells_how_much_the_floor_takes_away(self):
        """The model calls all 496 frames speech that have a window; the floor leaves the 102 and 52 whose windows hold sound."""
        share = round(100 * (496 - 102 - 52) / 496)
        self.assertIn(f"{share} % of the network's speech lies under the energy floor",
                      self.value("document.querySelector('.track-head').textContent"))
        self.assertIn("100 % of the", self.value("document.querySelectorAll('.track-head')[1].textContent"))

    def test_tells_under_the_pointer_what_explain_tells(self):
        for seconds in (0.5, 0.985, 1.1, 1.5, 2.3, 2.405, 3.65, 4.995):
            told = json.loads(self.wvad("explain", self.recording, "--json", "--at", seconds))["files"][0]["stretches"][0]
            self.browser.move(self.x_of(seconds + 0.001), self.middle_of_row(2))
            shown = self.value("document.querySelector('#told .block').textContent")
            self.assertIn(told["verdict"], shown)
            for reason in told["because"]:
                self.assertIn(reason["topic"] + reason["words"], shown, seconds)
            number = f"number {told['sentence']['number']}," if told["sentence"] else "in none"
            self.assertIn(number, shown)

    def test_click_puts_the_cursor(self):
        self.browser.click(self.x_of(1.234), self.middle_of_row(2))
        self.assertAlmostEqual(self.value("wvadPage.view.cursor"), 1.234, delta=0.01)
        self.assertFalse(self.value("wvadPage.sound.playing"))

    def keep_what_plays(self):
        """From now on `window.played` is what the button said when the sound last began: to look for that while it plays might be too late."""
        self.value("wvadPage.sound.element.addEventListener('play', () => { window.played = document.getElementById('play').textContent; }), 0")

    def test_click_on_a_sentence_plays_it_to_its_end(self):
        self.keep_what_plays()
        self.value("wvadPage.sound.element.loop = true, 0")  # only the page ends it, however late it looks
        self.browser.click(self.x_of(3.2), self.bars_y())
        self.assertEqual(self.value("wvadPage.view.cursor"), 2.7)
        self.browser.wait_for("window.played")
        self.assertEqual(self.value("window.played"), "Pause")
        self.browser.wait_for("!wvadPage.sound.playing")
        self.assertGreater(self.value("wvadPage.sound.seconds"), 3.4)
        self.assertAlmostEqual(self.value("wvadPage.sound.element.duration"), 5.0, delta=0.05)

    def test_click_on_a_row_plays_too(self):
        left, top, width, height = self.box("#sentence-lists tbody tr:nth-child(1) button")
        self.keep_what_plays()
        self.browser.click(left + width / 2, top + height / 2)
        self.assertEqual(self.value("wvadPage.view.cursor"), 0.7)
        self.browser.wait_for("window.played")
        self.value("wvadPage.sound.pause(), 0")

    def test_linked_sound_plays_from_where_the_recording_lies(self):
        linked = pathlib.Path(self.folder.name) / "linked.html"
        self.wvad("report", self.recording, "--link-audio", "-o", linked)
        self.assertLess(linked.stat().st_size, self.page.stat().st_size)
        self.browser.open(linked)
        self.browser.click(self.x_of(3.2), self.bars_y())
        self.browser.wait_for("wvadPage.sound.seconds > 2.7")
        self.assertTrue(self.value("wvadPage.sound.element.src").endswith("/made.wav"))
        self.value("wvadPage.sound.pause(), 0")

    def test_recordings_of_next_to_nothing_open(self):
        for seconds in (0, 0.01, 0.05):
            recording = pathlib.Path(self.folder.name) / f"short-{seconds}.wav"
            page = recording.with_suffix(".html")
            write_recording(recording, seconds, ())
            self.wvad("report", recording, "-o", page)
            self.browser.open(page)
            self.assertEqual(self.value("document.documentElement.dataset.ready"), "yes", seconds)
            self.assertEqual(self.value("document.getElementById('play').disabled"), seconds == 0)

    def test_wheel_zooms_about_the_pointer_and_dragging_moves(self):
        x, y = self.x_of(2.0), self.middle_of_row(2)
        self.browser.wheel(x, y, -600)
        span = self.value("wvadPage.view.span")
        self.assertLess(span, 4)
        self.assertAlmostEqual(self.value(f"wvadPage.view.seconds({x} - document.getElementById('lanes').getBoundingClientRect().left)"), 2.0,
                               delta=0.02)
        before = self.value("wvadPage.view.from")
        self.browser.drag(x, y, x - 100)
        self.assertAlmostEqual(self.value("wvadPage.view.from"), before + 100 / self.box("#lanes")[2] * span, delta=0.02)
        self.browser.wheel(x, y, 6000)
        self.assertEqual(self.value("[wvadPage.view.from, wvadPage.view.to]"), [0, 5])

    def test_two_fingers_zoom_about_the_place_between_them(self):
        x, y = self.x_of(2.5), self.middle_of_row(2)

        def touch(kind, apart):
            points = [{"x": x + side * apart, "y": y, "id": number} for number, side in enumerate((-1, 1))] if apart else []
            self.browser.call("Input.dispatchTouchEvent", type=kind, touchPoints=points)

        touch("touchStart", 50)
        for apart in range(60, 201, 10):
            touch("touchMove", apart)
        touch("touchEnd", 0)
        self.browser.settle()
        self.assertAlmostEqual(self.value("wvadPage.view.span"), 5 / 4, delta=0.15)
        self.assertAlmostEqual(self.value("(wvadPage.view.from + wvadPage.view.to) / 2"), 2.5, delta=0.1)

    def test_keys_do_what_the_help_says(self):
        def cursor_after(*keys):
            for key in keys:
                self.browser.key(key)
            return self.value("wvadPage.view.cursor")

        self.assertEqual(cursor_after("n"), 0.7)
        self.assertEqual(cursor_after("n"), 2.7)
        self.assertEqual(cursor_after("p"), 0.7)
        self.assertEqual(cursor_after("ArrowRight", "ArrowRight"), 0.72)
        self.assertEqual(cursor_after("ArrowLeft"), 0.71)
        self.assertEqual(cursor_after("End"), 5)
        self.assertEqual(cursor_after("Home"), 0)
        self.browser.key("+")
        self.assertAlmostEqual(self.value("wvadPage.view.span"), 3.0, delta=0.01)
        self.browser.key("0")
        self.assertEqual(self.value("wvadPage.view.span"), 5)
        self.browser.key("?")
        self.assertTrue(self.value("document.getElementById('help-box').open"))
        self.value("document.getElementById('help-box').close(), 0")
        self.browser.key("t")
        self.assertEqual(self.value("document.documentElement.dataset.theme"), "dark")

    def test_what_can_be_seen_can_be_named(self):
        """Every control has a name, and the slider says where it stands."""
        nameless = self.value("[...document.querySelectorAll('button, [role]')].filter((e) => !(e.getAttribute('aria-label') || "
                              "e.getAttribute('aria-labelledby') || e.textContent.trim() || e.getAttribute('role') === 'status')).map((e) => e.outerHTML)")
        self.assertEqual(nameless, [])
        self.browser.key("n")
        self.assertIn("0:00.70, ", self.value("document.getElementById('timeline').getAttribute('aria-valuetext')"))
        self.assertEqual(self.value("document.getElementById('told').getAttribute('aria-live')"), "polite")

    def test_words_stand_out_from_what_is_behind_them(self):
        """4.5 to 1, as WCAG asks of small text, light and dark."""
        ratios = """(() => {
          const style = getComputedStyle(document.documentElement);
          const light = (name) => {
            const hex = style.getPropertyValue('--' + name).trim();
            const [r, g, b] = [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16) / 255).map((c) => c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
            return 0.2126 * r + 0.7152 * g + 0.0722 * b;
          };
          return [['ink', 'card'], ['ink', 'page'], ['muted', 'card'], ['muted', 'page'], ['on-sentence', 'sentence'], ['good-ink', 'good'], ['ink', 'plain'],
            ['ink', 'shade'], ['threshold', 'card'], ['energy', 'card'], ['probability', 'card']].map(([a, b]) => {
            const [low, high] = [light(a), light(b)].sort((x, y) => x - y);
            return [a + ' on ' + b, (high + 0.05) / (low + 0.05)];
          });
        })()"""
        for theme in ("light", "dark"):
            self.value(f"document.documentElement.dataset.theme = '{theme}'")
            for pair, ratio in self.value(ratios):
                self.assertGreaterEqual(ratio, 4.5, f"{pair}, {theme}")

    def test_narrow_window_needs_no_scrolling_sideways(self):
        for width in (320, 390, 700, 1200, 2000):
            self.browser.resize(width, 800)
            self.browser.settle()
            self.assertLessEqual(self.value("document.documentElement.scrollWidth"), width)

    def test_wide_view_and_narrow_view_draw_the_same_sound(self):
        """Pyramids lose no peak: least and greatest over the whole are those of the values."""
        self.assertEqual(self.value("(() => { const p = wvadPage.tracks[0].energy; const all = Array.from({ length: p.length }, (_, i) => p.base.low(i));"
                                    "const o = p.over(0, p.length); return [Math.fround(Math.min(...all)) === Math.fround(o.low), "
                                    "Math.fround(Math.max(...all)) === Math.fround(o.high)]; })()"), [True, True])

    def picture(self):
        """The lanes of the first track, as PNG in base64."""
        self.browser.resize(1200, 1400)
        # Words in the fonts of this system would move what is below them.
        self.value("document.querySelectorAll('.track-head, .tag').forEach((e) => { e.style.display = 'none'; }), 0")
        self.value("wvadPage.view.putCursor(1.5), 0")
        self.browser.settle()
        left, top, width, _ = self.box("#lanes > :nth-child(2)")
        _, last, _, height = self.box("#lanes > :nth-child(6)")
        return base64.b64encode(self.browser.screenshot([left, top, width, last + height - top])).decode()

    def test_looks_as_it_did(self):
        now = self.value(f"({BLOCKS})('{self.picture()}')")
        then = self.value(f"({BLOCKS})('{base64.b64encode(LOOK.read_bytes()).decode()}')")
        self.assertEqual((now["across"], now["down"]), (then["across"], then["down"]))
        apart = [abs(a - b) for a, b in zip(now["sums"], then["sums"])]
        # Fonts differ between systems: the few blocks with letters may, the picture as a whole may not.
        self.assertLess(sum(apart) / len(apart), 2)
        self.assertLess(sum(1 for difference in apart if difference > 24) / len(apart), 0.015)

    def test_look_tells_a_lane_that_is_empty(self):
        """The comparison can fail: without any one of the lanes it would."""
        then = self.value(f"({BLOCKS})('{base64.b64encode(LOOK.read_bytes()).decode()}')")["sums"]
        for number in (2, 3, 5, 6):
            self.value(f"document.querySelector('#lanes > :nth-child({number}) canvas').style.visibility = 'hidden', 0")
            now = self.value(f"({BLOCKS})('{self.picture()}')")["sums"]
            self.value(f"document.querySelector('#lanes > :nth-child({number}) canvas').style.visibility = '', 0")
            self.assertGreater(sum(1 for a, b in zip(now, then) if abs(a - b) > 24) / len(then), 0.015, number)


def write_look():
    PageTest.setUpClass()
    try:
        test = PageTest("picture")
        test.setUp()
        LOOK.write_bytes(base64.b64decode(test.picture()))
    finally:
        PageTest.tearDownClass()


if __name__ == "__main__":
    if browser.find() is None:
        print("skipped: there is no Chromium (Debian's package chromium)")
        sys.exit(SKIPPED)
    PROGRAM, MODEL = sys.argv[1:3]
    if sys.argv[3:] == ["--write-look"]:
        write_look()
    else:
        unittest.main(argv=sys.argv[:1] + sys.argv[3:])
