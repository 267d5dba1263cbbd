# SPDX-License-Identifier: Apache-2.0
import os
import tempfile
import unittest
import wave

import numpy as np

from audio_corpus import Corpus, mask_to_hops, read_audio, spans_to_mask
from mix_sessions import KINDS, Mixer, mu_law

COLUMNS = "path,category,subcategory,speaker,split,licence,label,label_quality,seconds,clips"


def write_wav(path, samples, rate=16000):
    with wave.open(path, "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(rate)
        out.writeframes(np.asarray(samples, np.int16).tobytes())


def make_corpus(folder):
    """Two speakers, a noise, a tune and a room, all synthetic."""
    rng = np.random.default_rng(3)
    t = np.arange(48000) / 16000.0
    rows = [COLUMNS]
    for speaker in ("a", "b"):
        voiced = 6000 * np.sin(2 * np.pi * (150 if speaker == "a" else 210) * t) * ((t > 0.5) & (t < 2.5))
        write_wav(os.path.join(folder, f"{speaker}.wav"), voiced)
        with open(os.path.join(folder, f"{speaker}.csv"), "w", encoding="utf-8") as out:
            out.write("start_s,end_s\n0.50,2.50\n")
        rows.append(f"{speaker}.wav,speech,read,{speaker},train,CC0-1.0,{speaker}.csv,good,3.00,")
    write_wav(os.path.join(folder, "n.wav"), rng.normal(0, 1000, 48000))
    rows.append("n.wav,noise,rain,n,train,CC0-1.0,,,3.00,")
    write_wav(os.path.join(folder, "m.wav"), 3000 * np.sin(2 * np.pi * 440 * t))
    rows.append("m.wav,music,instrumental,m,train,GPL-2.0,,,3.00,")
    impulse = np.zeros(4000)
    impulse[80], impulse[900] = 29000, 9000
    write_wav(os.path.join(folder, "r.wav"), impulse)
    rows.append("r.wav,rir,room,r,train,CC0-1.0,,,0.25,")
    with open(os.path.join(folder, "manifest.csv"), "w", encoding="utf-8") as out:
        out.write("\n".join(rows) + "\n")


class Sessions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        make_corpus(cls.folder.name)
        cls.corpus = Corpus(cls.folder.name, os.path.join(cls.folder.name, "cache"))
        cls.mixer = Mixer(cls.corpus, "train", 1)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_same_index_gives_the_same_session_whatever_came_before(self):
        first = self.mixer.make(5)
        self.mixer.make(9)
        again = Mixer(self.corpus, "train", 1).make(5)
        np.testing.assert_array_equal(first[0], again[0])
        np.testing.assert_array_equal(first[1], again[1])
        self.assertEqual(first[2], again[2])

    def test_another_seed_gives_another_session(self):
        self.assertFalse(np.array_equal(self.mixer.make(5)[0], Mixer(self.corpus, "train", 2).make(5)[0]))

    def test_one_label_row_a_hop(self):
        for index in range(8):
            samples, labels, _ = self.mixer.make(index)
            self.assertEqual(labels.shape, (len(samples) // 160, 2))
            self.assertLessEqual(labels[:, 0].max(), 1)

    def test_only_speech_sessions_hold_speech_and_they_do(self):
        kinds = set()
        for index in range(30):
            _, labels, about = self.mixer.make(index)
            kinds.add(about["kind"])
            self.assertEqual(bool(labels[:, 0].any()), about["kind"] == "speech", about)
        self.assertLessEqual(kinds, {name for name, _ in KINDS})
        self.assertIn("speech", kinds)
        self.assertIn("noise", kinds)

    def test_licences_can_be_left_out(self):
        self.assertEqual([r.path for r in self.corpus.excluded], ["m.wav"])
        self.assertEqual(self.mixer.music, [])

    def test_shares_of_kinds_add_up(self):
        self.assertAlmostEqual(sum(share for _, share in KINDS), 1.0)


class Reading(unittest.TestCase):
    def test_another_rate_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "x.wav")
            write_wav(path, np.zeros(100), 8000)
            with self.assertRaises(ValueError):
                read_audio(path)

    def test_a_missing_file_is_an_error(self):
        with self.assertRaises(OSError):
            read_audio("/nowhere/x.wav")

    def test_a_hop_is_speech_from_half_of_its_samples_on(self):
        # 0.5 s to 0.516 s: samples 8000 to 8256, that is hop 50 whole and 96 samples of hop 51; then 79 samples of hop 60.
        mask = spans_to_mask([(8000, 8256), (9600, 9679)], 16000)
        self.assertEqual(list(np.flatnonzero(mask_to_hops(mask))), [50, 51])

    def test_mu_law_keeps_full_scale_and_zero(self):
        np.testing.assert_allclose(mu_law(np.array([0.0, 32768.0, -32768.0])), [0.0, 32768.0, -32768.0], atol=1e-6)


if __name__ == "__main__":
    unittest.main()
