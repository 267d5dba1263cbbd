# SPDX-License-Identifier: Apache-2.0
import json
import os
import tempfile
import unittest

import numpy as np

import cut_pieces


class Draws:
    """Whole numbers that were chosen by hand, in the order in which they are drawn."""

    def __init__(self, *numbers):
        self.numbers, self.bounds = list(numbers), []

    def integers(self, low, high):
        self.bounds.append((low, high))
        return self.numbers.pop(0)


class Places(unittest.TestCase):
    def test_pieces_follow_each_other_with_what_was_drawn_between_them_and_the_last_ends_with_the_session(self):
        # From 100 for 400 frames, 200 further from 700 for what is left of 1050: 350, though 500 were drawn; 1250 lies behind the end.
        draws = Draws(100, 400, 200, 500, 200)
        self.assertEqual(list(cut_pieces.places(draws, np.ones(1050, np.uint8), 1050)), [(100, 400), (700, 350)])
        self.assertEqual(draws.bounds, [(0, 300), (300, 800), (200, 1500), (300, 800), (200, 1500)])

    def test_of_a_session_with_speech_no_piece_is_without(self):
        labels = np.zeros(1399, np.uint8)
        labels[899] = 1
        self.assertEqual(list(cut_pieces.places(Draws(0, 300, 200, 400, 200), labels, 1399)), [(500, 400)])
        labels[899] = 0
        self.assertEqual(list(cut_pieces.places(Draws(0, 300, 200, 400, 200), labels, 1399)), [(0, 300), (500, 400)])

    def test_a_session_shorter_than_a_piece_gives_none_and_one_as_long_gives_one(self):
        self.assertEqual(list(cut_pieces.places(Draws(0), np.ones(299, np.uint8), 299)), [])
        self.assertEqual(list(cut_pieces.places(Draws(0, 799, 200), np.ones(300, np.uint8), 300)), [(0, 300)])


class Folder(unittest.TestCase):
    def make(self, folder, sessions, frames=2000):
        for sub in ("pcm", "labels", "taught"):
            os.makedirs(os.path.join(folder, sub))
        rng = np.random.default_rng(5)
        with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as out:
            for index in range(sessions):
                out.write(json.dumps({"index": index, "kind": "speech", "seconds": frames / 100}) + "\n")
                rng.integers(-30000, 30000, 160 * frames).astype("<i2").tofile(os.path.join(folder, "pcm", f"{index:05d}.s16"))
                rows = np.stack([np.ones(frames), np.full(frames, 100), np.arange(frames) % 100], axis=1).astype(np.int8)
                np.save(os.path.join(folder, "labels", f"{index:05d}.npy"), rows)
                if index % 2 == 0:  # the other was not taught
                    np.save(os.path.join(folder, "taught", f"{index:05d}.npy"), np.arange(frames - 3).astype(np.float16))

    def test_samples_labels_and_what_was_taught_are_those_of_the_same_place(self):
        with tempfile.TemporaryDirectory() as folder:
            source, out = os.path.join(folder, "in"), os.path.join(folder, "out")
            self.make(source, 2)
            pieces = cut_pieces.cut(source, out, 1.0, 6)
            whole = [np.fromfile(os.path.join(source, "pcm", f"0000{k}.s16"), "<i2") for k in (0, 1)]
            self.assertGreater(len(pieces.lines), 3)
            for line in pieces.lines:
                name = f"{line['index']:05d}"
                samples = np.fromfile(os.path.join(out, "pcm", name + ".s16"), "<i2")
                rows = np.load(os.path.join(out, "labels", name + ".npy"))
                self.assertEqual(len(samples), 160 * len(rows))
                self.assertEqual(line["seconds"], len(rows) / 100)
                # Noise is like itself at one place only.
                session, at = next((k, np.flatnonzero(w[:-1] == samples[0])[np.argmax(w[1:][np.flatnonzero(w[:-1] == samples[0])] == samples[1])])
                                   for k, w in enumerate(whole) if ((w[:-1] == samples[0]) & (w[1:] == samples[1])).any())
                np.testing.assert_array_equal(whole[session][at:at + len(samples)], samples)
                self.assertEqual((line["cut_from"], line["cut_at"]), (session, at // 160))
                np.testing.assert_array_equal(rows[:, 2], np.arange(at // 160, at // 160 + len(rows)) % 100)
                taught = os.path.join(out, "taught", name + ".npy")
                self.assertEqual(os.path.exists(taught), session == 0)
                if session == 0:
                    # The teacher's last word was of frame 1996; what lies behind it has the same.
                    expected = np.minimum(np.arange(at // 160, at // 160 + len(rows)), 1996).astype(np.float16)
                    np.testing.assert_array_equal(np.load(taught), expected)
            with open(os.path.join(out, "sessions.txt"), encoding="utf-8") as handle:
                listed = handle.read().split()
            self.assertEqual(listed, [os.path.join(out, "pcm", f"{k:05d}.s16") for k in range(len(pieces.lines))])
            self.assertTrue(all(map(os.path.exists, listed)))

    def test_it_stops_behind_the_session_with_which_there_are_hours_enough(self):
        with tempfile.TemporaryDirectory() as folder:
            source = os.path.join(folder, "in")
            self.make(source, 6)
            few = cut_pieces.cut(source, os.path.join(folder, "few"), 5.0 / 3600, 6)
            again = cut_pieces.cut(source, os.path.join(folder, "again"), 5.0 / 3600, 6)
            every = cut_pieces.cut(source, os.path.join(folder, "all"), 1.0, 6)
        self.assertGreater(few.frames, 500)
        self.assertLess(few.frames, 2001)
        self.assertEqual(few.lines, again.lines)
        self.assertGreater(every.frames, 3 * few.frames)


if __name__ == "__main__":
    unittest.main()
