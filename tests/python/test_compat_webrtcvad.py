# SPDX-License-Identifier: Apache-2.0
"""wvad.compat.webrtcvad: the documented calls with their names, kinds of results and refusals."""
import unittest

import numpy as np
import wvad
from support import JFK
from wvad.compat import webrtcvad


class Vad(unittest.TestCase):
    def test_frames_of_a_recording(self):
        samples = (wvad.audio.read(JFK)[0][:, 0] * 32767).astype("<i2")
        sentences = wvad.segment(JFK)
        for frame_ms in (10, 20, 30):
            vad = webrtcvad.Vad(2)
            count = 16 * frame_ms
            answers = [vad.is_speech(samples[i:i + count].tobytes(), 16000) for i in range(0, len(samples) - count, count)]
            self.assertEqual({type(one) for one in answers}, {bool})

            def share(begin, end):
                inside = answers[round(begin * 1000 / frame_ms):round(end * 1000 / frame_ms)]
                return sum(inside) / len(inside)

            self.assertGreater(share(0.7, 2.1), 0.9)  # words
            self.assertLess(share(2.75, 2.95), 0.1)  # the pause behind them
            self.assertEqual(round(sentences[0].end, 2), 2.36)

    def test_a_higher_mode_lets_less_through(self):
        samples = (wvad.audio.read(JFK)[0][:, 0] * 32767).astype("<i2")
        counts = []
        for mode in range(4):
            vad = webrtcvad.Vad()
            vad.set_mode(mode)
            counts.append(sum(vad.is_speech(samples[i:i + 320].tobytes(), 16000) for i in range(0, len(samples) - 320, 320)))
        self.assertEqual(counts, sorted(counts, reverse=True))
        self.assertGreater(counts[0], counts[3])

    def test_rates_and_lengths_that_are_served(self):
        for rate in (8000, 16000, 32000, 48000):
            for ms in (10, 20, 30):
                self.assertIs(webrtcvad.valid_rate_and_frame_length(rate, rate * ms // 1000), True)
                self.assertIs(webrtcvad.Vad(1).is_speech(bytes(2 * rate * ms // 1000), rate), False)
        for rate, length in ((16000, 161), (16000, 0), (44100, 441), (0, 0), (8000, 320)):
            self.assertIs(webrtcvad.valid_rate_and_frame_length(rate, length), False)
            with self.assertRaises(webrtcvad.Error):
                webrtcvad.Vad().is_speech(bytes(2 * length), rate)

    def test_another_rate_begins_anew(self):
        samples = (wvad.audio.read(JFK)[0][:, 0] * 32767).astype("<i2")
        vad = webrtcvad.Vad(2)
        self.assertTrue([vad.is_speech(samples[i:i + 320].tobytes(), 16000) for i in range(0, 24000, 320)][-1])
        self.assertFalse(vad.is_speech(bytes(320), 8000))
        self.assertFalse(vad.is_speech(samples[24000:24320].tobytes(), 16000))

    def test_length_says_how_much_of_the_frame_is_meant(self):
        vad = webrtcvad.Vad()
        self.assertIs(vad.is_speech(bytes(1000), 16000, length=160), False)
        self.assertIs(vad.is_speech(np.zeros(160, np.int16), 16000), False)
        with self.assertRaisesRegex(IndexError, "buffer has 80 frames, but length argument was 160"):
            vad.is_speech(bytes(160), 16000, length=160)

    def test_modes_that_there_are_not(self):
        for mode in (-1, 4):
            with self.assertRaises(webrtcvad.Error):
                webrtcvad.Vad(mode)
        with self.assertRaises(TypeError):
            webrtcvad.Vad("2")


if __name__ == "__main__":
    unittest.main()
