# SPDX-License-Identifier: Apache-2.0
"""The picture of a result: what stands in it and where, and that any length of audio and any name come to one of bounded size."""
import re
import unittest
import xml.etree.ElementTree as ElementTree

import numpy as np
import wvad
from support import MODEL, bursts
from wvad._picture import _LEFT, _RIGHT, _WIDTH, _clock, _ticks
from wvad._track import Outline, mono

SVG = "{http://www.w3.org/2000/svg}"


def picture(samples, **options):
    return ElementTree.fromstring(wvad.segment(samples, 16000, model=MODEL, **options)._repr_html_())


class Picture(unittest.TestCase):
    def test_sentences_stand_where_they_are(self):
        root = picture(bursts(10, [(1, 2), (4, 5)]))
        width = _WIDTH - _LEFT - _RIGHT
        rectangles = [(float(one.get("x")), float(one.get("width"))) for one in root.iter(SVG + "rect")]
        self.assertEqual(len(rectangles), 2)
        for (x, wide), (begin, end) in zip(rectangles, ((0.7, 2.2), (3.7, 5.2))):
            self.assertAlmostEqual(x, _LEFT + width * begin / 10, delta=0.06)
            self.assertAlmostEqual(wide, width * (end - begin) / 10, delta=0.11)
        titles = [one.text for one in root.iter(SVG + "title")]
        self.assertRegex(titles[0], "2 sentences in 10.00 s")
        self.assertRegex(titles[1], "^0: 0.70 to 2.20 s, -12")

    def test_the_waveform_rises_where_there_is_sound(self):
        root = picture(bursts(10, [(1, 2)]))
        path = next(one for one in root.iter(SVG + "path") if one.get("fill") != "none").get("d")
        points = [tuple(map(float, point.split())) for point in re.split("[ML]", path.rstrip("Z")) if point]
        width = _WIDTH - _LEFT - _RIGHT
        loud = [x for x, y in points if y < 25]  # at the upper border
        self.assertAlmostEqual(min(loud), _LEFT + width * 0.1, delta=2)
        self.assertAlmostEqual(max(loud), _LEFT + width * 0.2, delta=2)

    def test_there_is_nothing_that_runs_or_is_fetched(self):
        text = wvad.segment(bursts(3, [(1, 2)]), 16000, model=MODEL)._repr_html_()
        self.assertNotRegex(text, "<script|onload|href|@import|url\\(")

    def test_names_cannot_break_out(self):
        blocks = type('<b onload="x">&', (list,), {})([bursts(3, [(1, 2)])])
        root = picture(blocks)
        self.assertRegex(root.find(SVG + "title").text, '<<b onload="x">&>: 1 sentence in')

    def test_each_channel_has_a_lane_up_to_eight(self):
        samples = np.zeros((16000, 10), np.int16)
        root = picture(samples, channel="all")
        self.assertEqual(sum(one.get("fill") == "none" for one in root.iter(SVG + "path")), 8)
        self.assertRegex(root.find(SVG + "title").text, "2 further channels")

    def test_no_audio_makes_a_picture_too(self):
        self.assertRegex(picture(np.empty(0, np.int16)).find(SVG + "title").text, "0 sentences in 0.00 s")

    def test_ticks_are_round_and_few(self):
        self.assertEqual(_ticks(11)[:3], [(0, "0 s"), (2, "2 s"), (4, "4 s")])
        for seconds in (0.05, 0.3, 1, 7, 59, 61, 119, 121, 3599, 3601, 86400, 1e6):
            self.assertLessEqual(len(_ticks(seconds)), 13)
        self.assertEqual([_clock(3723, 4000), _clock(123, 300)], ["1:02:03", "2:03"])


class Outlines(unittest.TestCase):
    def test_columns_are_halved_and_keep_what_stood_out(self):
        outline = Outline(100)  # a column is a frame
        samples = np.zeros(100000, np.float32)
        samples[[5, 77777]] = 1, -1
        for part in np.split(samples, [3, 4000, 4001, 50001]):
            outline.add_samples(part)
            outline.add_probabilities([(0, 0.5)])
        low, high, probability = outline.columns()
        self.assertLess(len(low), 4096)
        column = outline.column_frames
        self.assertEqual([int(i) for i in np.flatnonzero(high)], [5 // column])
        self.assertEqual([int(i) for i in np.flatnonzero(low)], [77777 // column])
        self.assertEqual(probability[0], 0.5)
        self.assertTrue(np.isnan(probability[1:]).all())
        self.assertEqual(len(low), -(-100000 // column))

    def test_probabilities_are_means(self):
        outline = Outline(100)
        outline.add_samples(np.zeros(5000, np.float32))
        outline.add_probabilities([(2, 0.25), (3, 0.75), (4, 1.0)])
        self.assertEqual(outline.column_frames, 2)
        self.assertEqual(outline.columns()[2][1:3].tolist(), [0.5, 1.0])

    def test_one_channel_of_any_type(self):
        block = np.array([[16384, -32768], [0, 16384]], np.int16)
        self.assertEqual(mono(block, 0).tolist(), [-0.25, 0.25])
        self.assertEqual(mono(block, 2).tolist(), [-1.0, 0.5])
        self.assertEqual(mono(np.array([2**30], np.int32), 0).tolist(), [0.5])


if __name__ == "__main__":
    unittest.main()
