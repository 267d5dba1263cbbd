# SPDX-License-Identifier: Apache-2.0
import os
import tempfile
import unittest
import wave

import numpy as np

from audio_corpus import Corpus, mask_to_hops, read_audio, spans_to_mask
from mix_sessions import KINDS, Mixer, audible_weight, tail_weight, without_inaudible

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
            self.assertEqual(labels.shape, (len(samples) // 160, 3))
            self.assertLessEqual(labels[:, 0].max(), 1)
            self.assertLessEqual(np.abs(labels[:, 2]).max(), 80)  # ten times the log-odds

    def test_only_speech_sessions_hold_speech_and_they_do(self):
        kinds = set()
        for index in range(30):
            _, labels, about = self.mixer.make(index)
            kinds.add(about["kind"])
            self.assertEqual(bool(labels[:, 0].any()), about["kind"] in ("speech", "table", "gap"), about)
            if about["kind"] in ("noise", "music", "silence"):
                self.assertTrue((labels[:, 2] == -80).all())
        self.assertLessEqual(kinds, {name for name, _ in KINDS})
        self.assertIn("speech", kinds)
        self.assertIn("noise", kinds)

    def test_kinds_that_are_asked_for_alone_leave_the_others_as_they_are(self):
        about = {Mixer(self.corpus, "train", 1, only).make(3)[2]["kind"] for only in ("varied", "disguised")}
        self.assertEqual(about, {"varied", "disguised"})
        self.assertEqual([share for name, share in KINDS if name in about], [0.0, 0.0])

    def test_varied_noise_is_no_speech(self):
        samples, labels, about = Mixer(self.corpus, "train", 1, "varied").make(1)
        self.assertTrue(samples.any() and (labels == [0, 100, -80]).all(), about)

    def test_labels_of_disguised_speech_keep_pace_with_it(self):
        factors = []
        for index in range(4):
            samples, labels, about = Mixer(self.corpus, "train", 1, "disguised").make(index)
            factors.append(about["factor"])
            self.assertEqual(labels.shape, (len(samples) // 160, 3))
        self.assertTrue(min(factors) < 1.0 < max(factors), factors)

    def test_disguised_speech_stands_where_its_labels_say(self):
        mixer = Mixer(self.corpus, "train", 1)
        pulse = np.zeros(1000 * 160)
        pulse[400 * 160:600 * 160] = 1000.0 * np.sin(0.3 * np.arange(200 * 160))
        hard = (np.arange(1000) // 200 == 2).astype(np.uint8)
        mixer.speech_session = lambda rng, n, about: (pulse, hard, np.ones(1000), np.where(hard == 1, 8.0, -8.0))
        for seed in range(6):
            about = {}
            x, labels, _, log_odds = mixer.disguised_session(np.random.default_rng(seed), 160000, about)
            sounding = np.square(x.reshape(-1, 160)).mean(axis=1) > 100.0
            np.testing.assert_array_equal(labels == 1, log_odds > 0)
            self.assertLessEqual((sounding != (labels == 1)).sum(), 8, about)  # resonances ring a little beyond both edges
            self.assertAlmostEqual(labels.sum(), 200 / about["factor"], delta=1.5)

    def test_licences_can_be_left_out(self):
        self.assertEqual([r.path for r in self.corpus.excluded], ["m.wav"])
        self.assertEqual(self.mixer.backgrounds.music, [])

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


class Weights(unittest.TestCase):
    def test_speech_that_its_background_hides_weighs_nothing_and_silence_all(self):
        voice = np.repeat([1000.0, 1000.0, 1000.0], 160 * 20)
        background = np.repeat([100.0, 6000.0, 20000.0], 160 * 20)  # 20 dB, -15.6 dB, -26 dB
        weight = audible_weight(np.full(60, 3.0), voice, background)
        self.assertEqual([weight[10], weight[30], weight[50]], [1.0, 0.3, 0.0])
        self.assertTrue((audible_weight(np.full(60, -3.0), voice, background) == 1.0).all())

    def test_a_voice_of_a_few_steps_of_a_sample_is_no_speech(self):
        # Square waves of 2, 6 and 100 steps: -84.3, -74.7 and -50.3 dB of full scale.
        samples = np.repeat(np.int16([2, 6, 100]), 160 * 20)
        samples[1::2] *= -1
        rows = without_inaudible(samples, np.tile(np.int16([1, 100, 50]), (60, 1)))
        self.assertEqual(rows[[8, 30, 50]].tolist(), [[0, 100, -30], [1, 30, 50], [1, 100, 50]])
        silence = without_inaudible(samples, np.tile(np.int16([0, 100, -80]), (60, 1)))
        self.assertTrue((silence == [0, 100, -80]).all())

    def test_a_room_makes_the_hops_after_speech_count_less(self):
        hard = np.array([0, 1, 1] + [0] * 20, np.uint8)
        # 0.2 s of reverberation: 7 hops after the last one of speech.
        np.testing.assert_allclose(tail_weight(hard, 0.2), [1.0] * 3 + [0.4] * 7 + [1.0] * 13)
        np.testing.assert_allclose(tail_weight(hard, 0.0), 1.0)


class BetterLabels(unittest.TestCase):
    def corpus(self, folder):
        write_wav(os.path.join(folder, "a.wav"), np.zeros(1600))
        for name, spans in (("a.csv", "0.00,0.10"), ("labels_joined/a.csv", "0.05,0.07")):
            os.makedirs(os.path.dirname(os.path.join(folder, name)), exist_ok=True)
            with open(os.path.join(folder, name), "w", encoding="utf-8") as out:
                out.write(f"start_s,end_s\n{spans}\n")
        with open(os.path.join(folder, "manifest.csv"), "w", encoding="utf-8") as out:
            out.write(f"{COLUMNS}\na.wav,speech,read,a,train,GPL-2.0 or CC-BY-SA-4.0,a.csv,good,0.10,\n")
        with open(os.path.join(folder, "doubtful.csv"), "w", encoding="utf-8") as out:
            out.write("path,start_s,end_s\na.wav,0.02,0.04\n")
        with open(os.path.join(folder, "hidden_speech.csv"), "w", encoding="utf-8") as out:
            out.write("path,start_s,end_s,silero,firered\na.wav,0.01,0.02,0.9,0.8\na.wav,0.05,0.06,0.1,0.9\n")
        os.makedirs(os.path.join(folder, "posterior"))
        np.array([-128, 5, 127, -90, 0], np.int8).tofile(os.path.join(folder, "posterior", "a.i8"))
        return Corpus(folder, os.path.join(folder, "cache"))

    def test_joined_labels_and_log_odds_are_taken_where_there_are_some(self):
        with tempfile.TemporaryDirectory() as folder:
            corpus = self.corpus(folder)
            recording = corpus.recordings[0]  # the second of its two licences lets it in
            self.assertEqual(corpus.speech_spans(recording), [(800, 1120)])
            log_odds, clip = corpus.log_odds(recording, 6)
            np.testing.assert_allclose(log_odds, [-8.0, 0.5, 8.0, -8.0, 0.0, -8.0])  # held within 8; what the file lacks is no clip
            self.assertEqual(list(clip), [False, True, True, True, True, False])
            self.assertEqual(list(corpus.trusted(recording, 6)), [True, True, False, False, True, True])

    def test_a_voice_in_noise_is_what_both_detectors_hear(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(self.corpus(folder).hidden_speech, {"a.wav": [(160, 320)]})


if __name__ == "__main__":
    unittest.main()
