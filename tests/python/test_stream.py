# SPDX-License-Identifier: Apache-2.0
"""Stream: events of made signals as they were worked out by hand, pieces of any length and form, and every refusal."""
import ctypes
import pickle
import re
import subprocess
import sys
import threading
import unittest

import numpy as np
import wvad
from support import MODEL, bursts
from wvad import EventKind

SIGNAL = bursts(6, [(1, 2)])


def run(samples, pieces=160, **options):
    with wvad.Stream(16000, model=MODEL, **options) as stream:
        events = []
        for begin in range(0, len(samples), pieces):
            events += stream.push(samples[begin:begin + pieces])
        return events + stream.finish()


class Events(unittest.TestCase):
    def test_a_sentence_is_told_from_onset_to_turn_end(self):
        events = run(SIGNAL)
        self.assertEqual([event.kind.name for event in events], ["ONSET", "SENTENCE_BEGIN", "SENTENCE_END", "TURN_END", "STREAM_END"])
        # The first frame whose window reaches into the burst; pad_before; pad_after; the fall, exact to a frame; the length.
        for event, time in zip(events, (0.98, 0.7, 2.2, 2.0, 6.0)):
            self.assertAlmostEqual(event.time, time, delta=0.011)
        self.assertEqual([event.number for event in events], [None, 0, 0, 0, None])
        self.assertEqual([event.begin for event in events], [None, 0.7, 0.7, None, None])
        self.assertEqual([event.sentence is not None for event in events], [False, False, True, False, False])
        self.assertEqual(events[2].time_frame, 35200)
        self.assertTrue(all(event.known_at >= event.time for event in events))

    def test_lengths_of_pieces_do_not_matter(self):
        def without_delay(events):
            return [(event.kind, event.time_frame, event.sentence and event.sentence.level) for event in events]

        once = without_delay(run(SIGNAL, len(SIGNAL)))
        for pieces in (1000, 159, 16000):
            self.assertEqual(without_delay(run(SIGNAL, pieces)), once)

    def test_forms_of_samples_give_the_same(self):
        wanted = run(SIGNAL)
        as_float = SIGNAL / np.float32(32768)
        self.assertEqual(run(as_float), wanted)
        self.assertEqual(run(as_float.astype(np.float64)), wanted)
        self.assertEqual(run(SIGNAL.astype(np.int32) << 16, dtype="int32"), wanted)
        with wvad.Stream(16000, model=MODEL) as stream:
            self.assertEqual(stream.push(SIGNAL.tobytes()) + stream.finish(), wanted)

    def test_silence_and_probability_are_told_where_they_are_wanted(self):
        events = run(np.zeros(80000, np.int16), still_every=2, probability=True)
        self.assertEqual([(event.begin, event.time) for event in events if event.kind is EventKind.SILENCE], [(0, 2), (0, 4)])
        told = [event for event in events if event.kind is EventKind.PROBABILITY]
        self.assertEqual([event.time_frame for event in told[:3]], [0, 160, 320])
        self.assertTrue(all(0.7 < event.probability <= 1 for event in told))  # the model calls everything speech

    def test_events_can_be_pickled_and_become_rows(self):
        events = run(SIGNAL)
        self.assertEqual(pickle.loads(pickle.dumps(events)), events)
        row = events[2].to_dict()
        self.assertEqual((row["kind"], row["number"], row["sentence"]["end"], row["probability"]), ("SENTENCE_END", 0, 2.2, None))

    def test_reset_begins_anew(self):
        with wvad.Stream(16000, model=MODEL) as stream:
            first = stream.push(SIGNAL) + stream.finish()
            self.assertTrue(stream.info.finished)
            stream.reset()
            self.assertEqual((stream.info.finished, stream.info.samples), (False, 0))
            self.assertEqual(stream.push(SIGNAL) + stream.finish(), first)

    def test_info_tells_how_the_stream_stands(self):
        with wvad.Stream(16000, 2, model=MODEL) as stream:
            stream.push(np.stack([SIGNAL, -SIGNAL], axis=1)[:24000])
            self.assertEqual((stream.info.samples, stream.info.in_sentence, stream.info.cancels), (24000, False, True))

    def test_several_streams_on_threads_do_not_know_of_each_other(self):
        wanted = run(SIGNAL)
        found = [None] * 4
        threads = [threading.Thread(target=lambda i=i: found.__setitem__(i, run(SIGNAL))) for i in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(found, [wanted] * 4)

    def test_other_threads_run_while_the_engine_works(self):
        self.assertIsInstance(wvad._library.lib, ctypes.CDLL)
        self.assertNotIsInstance(wvad._library.lib, ctypes.PyDLL)


class Refusals(unittest.TestCase):
    def setUp(self):
        self.stream = wvad.Stream(16000, 2, model=MODEL, dtype="float32")
        self.addCleanup(self.stream.close)

    def refused(self, kind, words, call, *arguments, **options):
        with self.assertRaisesRegex(kind, words) as caught:
            call(*arguments, **options)
        return caught.exception

    def test_what_makes_no_stream(self):
        for kind, words, options in (
                (wvad.ArgumentError, "rate", {"rate": 0}), (wvad.ArgumentError, "rate", {"rate": 3999}),
                (wvad.ArgumentError, "out of range", {"rate": 2**40}), (TypeError, "rate: expected a whole number", {"rate": 16000.5}),
                (TypeError, "rate: expected a whole number", {"rate": "16000"}), (wvad.ArgumentError, "channels", {"channels": 0}),
                (wvad.ArgumentError, "channels", {"channels": 65536}), (wvad.ArgumentError, "channel", {"channel": 3, "channels": 2}),
                (wvad.ArgumentError, "channel", {"channel": "left"}), (wvad.ArgumentError, "none of int16", {"dtype": "uint8"}),
                (wvad.ArgumentError, "quick.*none of default", {"profile": "quick"}),
                (wvad.ArgumentError, "min_silense: there is no such setting", {"min_silense": 1}),
                (wvad.ArgumentError, "threshold", {"threshold": 2}), (wvad.ArgumentError, "threshold", {"threshold": float("nan")}),
                (TypeError, "threshold: expected a number", {"threshold": "0.5"}),
                (TypeError, "min_silence: expected a number", {"min_silence": True}),
                (TypeError, "threshold: expected a number", {"threshold": np.bool_(True)}),
                (wvad.ModelError, "there is no such file", {"model": "no_such_model"}),
                (wvad.ArgumentError, "not the name of a bundled model", {"model": "lstm fb75"}),
                (wvad.ArgumentError, "zero character", {"model": "a\0b"}), (TypeError, "model: expected", {"model": 7})):
            with self.subTest(options):
                self.refused(kind, words, wvad.Stream, **options)

    def test_what_is_neither_true_nor_false(self):
        """A text such as "no" would count as true."""
        for name in ("probability", "audio", "features"):
            for value in ("no", "", 1, 0, 1.0, None, [], np.array([True])):
                with self.subTest(name=name, value=value):
                    self.refused(TypeError, re.escape(f"{name}: expected True or False, got {value!r}"), wvad.Stream, model=MODEL, **{name: value})
        for name in ("audio", "features"):
            for call in (wvad.segment, wvad.scores):
                self.refused(TypeError, f"{name}: expected True or False, got 'no'", call, np.zeros(16000, np.int16), 16000, model=MODEL, **{name: "no"})
        for value, kept in ((np.True_, True), (np.False_, False), (True, True), (False, False)):
            found = wvad.segment(bursts(3, [(1, 2)]), 16000, model=MODEL, audio=value, features=value)[0]
            self.assertEqual((found.audio is not None, found.features is not None), (kept, kept))

    def test_models_that_are_none(self):
        whole = MODEL.read_bytes()
        self.refused(wvad.ModelError, "not a model of this engine", wvad.Model, b"RIFF" + bytes(1000))
        self.refused(wvad.ModelError, "cut short|inconsistent|not hold", wvad.Model, whole[:len(whole) // 2])
        for folder in (MODEL.parent, str(MODEL.parent), f"{MODEL.parent}/"):
            self.refused(wvad.ModelError, re.escape(str(MODEL.parent)) + ".?: is a folder, not a model file", wvad.segment, np.zeros(16000, np.int16), 16000,
                         model=folder)
        self.refused(wvad.ModelError, "no such file", wvad.Model, MODEL.parent / "gone.bin")
        self.assertEqual(wvad.Model(whole).rate, 16000)

    def test_pieces_that_are_refused_change_nothing(self):
        nan = np.zeros((100, 2), np.float32)
        nan[7, 1] = np.nan
        long = np.zeros((40000, 2), np.float32)
        long[30000, 0] = np.inf
        for kind, words, piece in (
                (wvad.ArgumentError, r"shape \(100,\) has 1 channels, the stream 2", np.zeros(100, np.float32)),
                (wvad.ArgumentError, r"shape \(100, 3\) has 3 channels", np.zeros((100, 3), np.float32)),
                (wvad.ArgumentError, r"shape \(1, 2, 3\)", np.zeros((1, 2, 3), np.float32)), (wvad.ArgumentError, r"shape \(\)", np.float32(1)),
                (TypeError, "of type int16, but this stream takes float32", np.zeros((100, 2), np.int16)),
                (TypeError, "type int64", np.zeros((100, 2), np.int64)), (TypeError, "type uint8", np.zeros((100, 2), np.uint8)),
                (TypeError, "type bool", np.zeros((100, 2), bool)), (TypeError, "type complex", np.zeros((100, 2), np.complex64)),
                (TypeError, "type object", np.array([[None, 1.0]])), (TypeError, "got str", "samples"), (TypeError, "got NoneType", None),
                (TypeError, "type <U1", np.array([["a", "b"]])),
                (wvad.ArgumentError, "7 bytes are not a multiple of 8", bytes(7)),
                (wvad.ArgumentError, "frame 7 of the piece is not a finite number", nan),
                (wvad.ArgumentError, "frame 30000 of the piece is not a finite number", long),
                (wvad.ArgumentError, "not a finite number", np.full((10, 2), 1e300))):
            with self.subTest(words):
                self.refused(kind, words, self.stream.push, piece)
                self.assertEqual(self.stream.info.samples, 0)
        burst = np.stack([SIGNAL, SIGNAL], axis=1) / np.float32(32768)
        self.assertEqual(self.stream.push(burst) + self.stream.finish(), run(SIGNAL))

    def test_a_first_piece_that_is_refused_does_not_say_which_type_the_samples_have(self):
        for refused in (np.full(10, np.nan, np.float32), np.full(40000, np.nan, np.float64)):
            with wvad.Stream(16000, model=MODEL) as stream:
                self.refused(wvad.ArgumentError, "not a finite number", stream.push, refused)
                self.assertEqual(stream.push(np.empty(0)), [])
                self.assertIsNone(stream.dtype)
                self.assertEqual(stream.push(SIGNAL) + stream.finish(), run(SIGNAL))
                self.assertEqual(stream.dtype, "int16")

    def test_a_channel_that_is_not_listened_to_may_hold_anything(self):
        samples = np.full((32000, 2), np.nan, np.float32)
        samples[:, 0] = 0
        with wvad.Stream(16000, 2, model=MODEL, channel=1) as stream:
            stream.push(samples)

    def test_behind_the_end(self):
        self.stream.finish()
        self.assertEqual(self.refused(wvad.StateError, "finished", self.stream.push, np.zeros((10, 2), np.float32)).status, "WVAD_E_STATE")
        self.refused(wvad.StateError, "finished", self.stream.finish)

    def test_when_it_is_closed(self):
        self.stream.close()
        self.stream.close()
        self.assertTrue(self.stream.closed)
        for call in (lambda: self.stream.push(np.zeros((10, 2), np.float32)), self.stream.finish, self.stream.reset, lambda: self.stream.info):
            self.refused(wvad.StateError, "closed", call)

    def test_two_threads_at_once(self):
        with self.stream._lock:  # as another thread's call holds it
            for call in (lambda: self.stream.push(np.zeros((10, 2), np.float32)), self.stream.finish, self.stream.close):
                self.assertEqual(self.refused(wvad.StateError, "on another thread", call).status, "WVAD_E_BUSY")
        self.stream.finish()

    def test_a_stream_cannot_be_pickled(self):
        self.refused(TypeError, "cannot be pickled", pickle.dumps, self.stream)

    def test_refusals_are_built_in_kinds_too(self):
        self.assertTrue(issubclass(wvad.ArgumentError, ValueError) and issubclass(wvad.AudioFileError, OSError))


class Interrupts(unittest.TestCase):
    def test_an_interrupt_ends_a_long_piece_and_what_was_found_comes_with_the_next_call(self):
        script = """
import numpy, os, signal, threading, wvad
stream = wvad.Stream(16000)
stream.push(numpy.zeros(16000, numpy.int16))
hour = numpy.zeros(3600 * 16000, numpy.int16)
try:
    threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
    stream.push(hour)
except KeyboardInterrupt:
    took = stream.info.samples / 16000
    stream.finish()
    print("interrupted" if 1 <= took < 3600 else f"too late: {took}")
"""
        said = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=100, check=False)
        self.assertEqual((said.stdout, said.stderr, said.returncode), ("interrupted\n", "", 0))


if __name__ == "__main__":
    unittest.main()
