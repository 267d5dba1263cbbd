# SPDX-License-Identifier: Apache-2.0
import json
import os
import tempfile
import types
import unittest

import numpy as np

import judged_sets
from audio_corpus import Corpus
from test_mix_sessions import COLUMNS, write_wav
from watched_sets import merit_of


def corpus_of(folder):
    rng = np.random.default_rng(5)
    rows = [COLUMNS]
    for name, category, sub, speaker, split, licence, label in (
            ("m", "meeting", "distant", "x", "judge", "CC-BY-4.0", "l.csv"), ("n", "natural", "long", "x", "train", "MIT", "l.csv"),
            ("read", "natural", "long", "reader", "train", "MIT", "l.csv"), ("lossy", "speech", "audiobook", "reader", "train", "MIT", "l.csv"),
            ("kept", "speech", "audiobook", "x", "train", "GPL-2.0", "l.csv"),
            ("rain", "noise", "rain", "x", "valid", "CC0-1.0", ""), ("known", "noise", "rain", "x", "train", "CC0-1.0", ""),
            ("keys/rain", "noise", "keys", "x", "train", "GPL-2.0", ""), ("crowd", "noise", "crowd (voices)", "x", "valid", "CC0-1.0", "")):
        os.makedirs(os.path.dirname(os.path.join(folder, name)), exist_ok=True)
        write_wav(os.path.join(folder, name + ".wav"), rng.normal(0, 1000, 96000))
        rows.append(f"{name}.wav,{category},{sub},{speaker},{split},{licence},{label},{'human' if label else ''},6.00,")
    with open(os.path.join(folder, "l.csv"), "w", encoding="utf-8") as out:
        out.write("start_s,end_s\n1.00,2.00\n")
    with open(os.path.join(folder, "manifest.csv"), "w", encoding="utf-8") as out:
        out.write("\n".join(rows) + "\n")
    with open(os.path.join(folder, "hidden_speech.csv"), "w", encoding="utf-8") as out:
        out.write("path,start_s,end_s,silero,firered\nrain.wav,0.10,0.20,0.9,0.9\n")
    return Corpus(folder, os.path.join(folder, "cache"), exclude_licence=None)


class Sets(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.out = os.path.join(cls.folder.name, "judged")
        cls.lines = judged_sets.build(corpus_of(cls.folder.name), cls.out)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def rows(self, name):
        index = next(line["index"] for line in self.lines if line["name"] == name)
        return np.load(os.path.join(self.out, "labels", f"{index:05d}.npy"))

    def test_noise_that_training_hears_is_not_judged_nor_are_voices_without_marks(self):
        self.assertEqual(sorted(line["name"] for line in self.lines if line["group"] == "noise"), ["keys/rain", "rain"])

    def test_two_files_of_one_name_in_two_folders_are_two_sources(self):
        self.assertEqual(len({line["name"] for line in self.lines if line["group"] == "noise"}), 2)

    def test_a_voice_that_training_hears_in_another_file_is_told_with_noise_behind_it_too(self):
        # Training leaves out the other file of the speaker of "n", for its licence.
        self.assertEqual({line["name"]: line.get("heard", False) for line in self.lines if line["group"] in ("meeting", "natural")},
                         {"m": False, "n": False, "read": True})
        self.assertEqual([line["group"] for line in self.lines if line.get("heard")], ["natural"] + 2 * ["natural at 10 dB"] + 2 * ["natural at 0 dB"])

    def test_natural_recordings_stand_clean_and_twice_with_each_noise_level(self):
        groups = [line["group"] for line in self.lines if line["name"] in ("m", "n")]
        self.assertEqual([groups.count(g) for g in ("meeting", "natural", "natural at 10 dB", "natural at 0 dB")], [1, 1, 2, 2])

    def test_marks_are_labels_and_voices_found_in_noise_weigh_nothing(self):
        self.assertEqual(list(np.flatnonzero(self.rows("m")[:, 0])), list(range(100, 200)))
        self.assertEqual(list(np.flatnonzero(self.rows("rain")[:, 1] == 0)), list(range(10, 20)))

    def test_noise_is_mixed_at_the_level_under_the_speech_that_is_asked_for(self):
        hard = np.array([0, 1, 0, 0], np.uint8)
        clean = np.repeat(np.int16([0, 1000, 0, 0]), 160)
        got = judged_sets.mixed(clean, hard, np.full(640, 37, np.int16), 20)
        self.assertEqual(list(got[[0, 200]]), [100, 1100])

    def test_the_list_of_files_follows_the_descriptions(self):
        with open(os.path.join(self.out, "sessions.jsonl"), encoding="utf-8") as handle:
            self.assertEqual([json.loads(line)["index"] for line in handle], list(range(len(self.lines))))


class WithoutNoise(unittest.TestCase):
    def built(self, *categories):
        """The groups that are made of recordings of these categories alone, and whether anything was written."""
        with tempfile.TemporaryDirectory() as folder:
            corpus = corpus_of(folder)
            corpus.recordings = [r for r in corpus.recordings if r.category in categories]
            out = os.path.join(folder, "judged")
            try:
                return [line["group"] for line in judged_sets.build(corpus, out)]
            finally:
                self.written = os.path.exists(out)

    def test_natural_recordings_without_noise_to_stand_behind_them_are_refused_before_anything_is_written(self):
        with self.assertRaisesRegex(SystemExit, 'no noise of the split "valid" that takes 5 s'):
            self.built("natural", "meeting")
        self.assertFalse(self.written)

    def test_other_recordings_need_none(self):
        self.assertEqual(self.built("meeting"), ["meeting"])


class Parts(unittest.TestCase):
    def test_shouted_and_acted_voices_are_a_part_of_languages_and_of_nothing_else(self):
        def of(group, subcategory):
            return judged_sets.part_of(group, types.SimpleNamespace(subcategory=subcategory))

        self.assertEqual([of("languages", "acted shouts, exclamations"), of("languages", "single words"), of("languages", "unacted"), of("natural", "acted")],
                         ["game voices", "other voices", "other voices", ""])


class Merit(unittest.TestCase):
    def test_areas_count_and_alarms_count_a_fifth(self):
        # All speech above all silence: area 1. Threshold at the lowest speech, 2.0; half of the noise and none of the music reaches it.
        spoken = (np.array([0.0, 1.0, 2.0, 3.0]), np.array([0, 0, 1, 1]))
        got = merit_of({"meeting": spoken, "noise": (np.array([5.0, -5.0]), np.zeros(2)), "music": (np.array([-1.0]), np.zeros(1))})
        self.assertEqual((got["meeting"], got["alarms"]), (1.0, [0.5, 0.0]))
        self.assertAlmostEqual(got["merit"], 1.0 - 0.2 * 0.25)


if __name__ == "__main__":
    unittest.main()
