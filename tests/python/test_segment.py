# SPDX-License-Identifier: Apache-2.0
"""segment() and scores(): every kind of source gives the sentences that were worked out by hand; they come as they are asked for."""
import csv
import gc
import io
import os
import pickle
import subprocess
import threading
import unittest

import numpy as np
import wvad
from support import JFK, MODEL, InFolder, bursts, times

SIGNAL = bursts(6, [(1, 2), (4, 5)])
WANTED = [(0.7, 2.2), (3.7, 5.2)]


class Sources(InFolder):
    def test_arrays_of_each_type_and_shape_give_the_same_sentences(self):
        as_float = SIGNAL / np.float32(32768)
        wide = np.zeros((len(SIGNAL), 3), np.int16)
        wide[:, 1] = SIGNAL
        sources = {
            "int16": SIGNAL,
            "int32": SIGNAL.astype(np.int32) << 16,
            "float32": as_float,
            "float64": as_float.astype(np.float64),
            "column": SIGNAL[:, None],
            "big endian": SIGNAL.astype(">i2"),
            "every second sample of a wider one": np.repeat(SIGNAL, 2)[::2],
            "Fortran order": np.asfortranarray(np.stack([SIGNAL, SIGNAL], axis=1)),
            "read only": np.frombuffer(SIGNAL.tobytes(), np.int16),
            "list": as_float.tolist(),
            "blocks": (block for block in np.split(SIGNAL, [1, 7, 5000, 5000, 90000])),
        }
        for name, source in sources.items():
            with self.subTest(name):
                self.assertEqual(times(wvad.segment(source, 16000, model=MODEL)), WANTED)
        self.assertEqual(times(wvad.segment(wide, 16000, model=MODEL, channel=2)), WANTED)
        self.assertEqual(times(wvad.segment(wide, 16000, model=MODEL, channel=1)), [])

    def test_recordings_from_each_place_give_the_same_sentences(self):
        path = self.wave("talk.wav", SIGNAL)
        data = path.read_bytes()
        self.assertEqual(times(wvad.segment(str(path), model=MODEL)), WANTED)
        self.assertEqual(times(wvad.segment(path, model=MODEL)), WANTED)
        self.assertEqual(times(wvad.segment(data, model=MODEL)), WANTED)
        self.assertEqual(times(wvad.segment(memoryview(data), model=MODEL)), WANTED)
        with open(path, "rb") as file:
            self.assertEqual(times(wvad.segment(file, model=MODEL)), WANTED)
            self.assertFalse(file.closed)
        behind = io.BytesIO(b"else" + data)
        behind.seek(4)
        self.assertEqual(times(wvad.segment(behind, model=MODEL)), WANTED)
        reading, writing = os.pipe()

        def write():
            with open(writing, "wb") as file:
                file.write(data)

        writer = threading.Thread(target=write)
        writer.start()
        with open(reading, "rb") as file:
            self.assertEqual(times(wvad.segment(file, model=MODEL)), WANTED)
        writer.join()

    def test_names_are_names_whatever_they_look_like(self):
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        for name in ("-", "a:b.wav", b"caf\xe9.wav", "-rf.wav"):
            with self.subTest(name):
                os.replace(self.wave("plain.wav", SIGNAL), name)
                found = wvad.segment(os.fsdecode(name), model=MODEL)
                self.assertEqual(times(found), WANTED)
                found.name.encode("utf-8")  # can be printed

    def test_the_program_finds_the_same(self):
        said = subprocess.run([os.environ["WVAD_PROGRAM"], "segment", "--format", "csv", "--bare", JFK], check=True, capture_output=True, text=True)
        rows = list(csv.DictReader(io.StringIO(said.stdout)))
        self.assertGreater(len(rows), 2)
        begin, end = [name for name in rows[0] if name.startswith(("begin", "end"))][:2]
        self.assertEqual([(float(row[begin]), float(row[end])) for row in rows], times(wvad.segment(JFK)))

    def test_each_channel_is_listened_to_by_itself(self):
        both = np.stack([bursts(6, [(1, 2)]), bursts(6, [(3, 4)])], axis=1)
        found = wvad.segment(both, 16000, model=MODEL, channel="all")
        self.assertEqual([(one.channel, one.number, *times([one])[0]) for one in found], [(1, 0, 0.7, 2.2), (2, 0, 2.7, 4.2)])

    def test_settings_reach_the_detector(self):
        self.assertEqual(times(wvad.segment(SIGNAL, 16000, model=MODEL, pad_before=0.1, pad_after=0)), [(0.9, 2.0), (3.9, 5.0)])
        self.assertEqual(times(wvad.segment(SIGNAL, 16000, model=MODEL, min_silence=3)), [(0.7, 5.2)])
        self.assertEqual(wvad.segment(SIGNAL, 16000, model=MODEL, profile="fast").settings["min_silence"], 0.25)

    def test_the_model_suits_rate_and_profile(self):
        for rate, profile, name in ((16000, "default", "lstm_fb75"), (8000, "default", "lstm_fb75_8k"), (48000, "fast", "lstm_fb40")):
            self.assertEqual(wvad.segment(np.zeros(800, np.int16), rate, profile=profile).model.name, name)


class Scale(InFolder):
    WORDS = r"of the samples lie more than 6 dB beyond full scale and were clipped \(full scale is 1\.0; .* have to be divided by that"

    def test_floats_that_were_not_divided_are_told_of_as_the_program_does(self):
        for source in (SIGNAL.astype(np.float32), SIGNAL.astype(np.float64), iter(np.split(SIGNAL.astype(np.float32), 8)), SIGNAL.astype(">f4")):
            found = wvad.segment(source, 16000, model=MODEL)
            with self.assertWarnsRegex(wvad.AudioWarning, self.WORDS) as caught:
                list(found)
            self.assertRegex(found.note, "^33.3 % " + self.WORDS)  # 2 s of 6
            self.assertEqual((len(caught.warnings), found.damage), (1, ""))
        with self.assertWarnsRegex(wvad.AudioWarning, self.WORDS):
            wvad.scores(SIGNAL.astype(np.float32), 16000)

    def test_a_few_loud_samples_are_no_wrong_scale(self):
        loud = SIGNAL / np.float32(32768)
        loud[:95] = 2.5
        self.assertEqual(wvad.segment(loud, 16000, model=MODEL).finish().note, "")  # 95 of 96000: less than one in a thousand
        loud[:96] = -2.5
        with self.assertWarnsRegex(wvad.AudioWarning, "^<ndarray>: 0.1 % of the samples lie more than 6 dB beyond full scale and were clipped$"):
            wvad.segment(loud, 16000, model=MODEL).finish()

    def test_16_bits_in_int32_are_told_of(self):
        with self.assertWarnsRegex(wvad.AudioWarning, "int32 samples go up to 8000, .* give them as int16"):
            self.assertEqual(list(wvad.segment(SIGNAL.astype(np.int32), 16000, model=MODEL)), [])
        for quiet in (np.zeros(16000, np.int32), np.full(16000, 256, np.int32), np.full(16000, 32769, np.int32), SIGNAL):
            self.assertEqual(wvad.segment(quiet, 16000, model=MODEL).finish().note, "")

    def test_a_stream_warns_once(self):
        with wvad.Stream(model=MODEL) as stream:
            with self.assertWarnsRegex(wvad.AudioWarning, "^samples go up to 8000; full scale is 1.0") as caught:
                stream.push(SIGNAL.astype(np.float32))
            self.assertEqual(caught.filename, __file__)
            stream.push(SIGNAL.astype(np.float32))  # a second warning would be an error here


class AsTheyAreAsked(InFolder):
    def test_a_sentence_comes_before_the_source_is_read_on(self):
        read = []

        def blocks():
            for block in np.split(bursts(60, [(1, 2), (50, 51)]), 120):
                read.append(len(block))
                yield block

        found = wvad.segment(blocks(), 16000, model=MODEL)
        self.assertEqual(times([found[0]]), [(0.7, 2.2)])
        self.assertLess(len(read), 10)  # of 120: 2.2 s and what the detector looks ahead
        self.assertEqual(len(found), 2)
        self.assertEqual(len(read), 120)

    def test_it_is_a_sequence_that_can_be_read_again(self):
        found = wvad.segment(SIGNAL, 16000, model=MODEL)
        self.assertTrue(found)
        self.assertEqual(times(found), WANTED)
        self.assertEqual(times(found), WANTED)
        self.assertEqual(times(found[-1:]), WANTED[1:])
        self.assertEqual(found.duration, 6.0)
        with self.assertRaises(IndexError):
            found[2]
        self.assertFalse(wvad.segment(np.zeros(16000, np.int16), 16000, model=MODEL))

    def test_closing_gives_the_source_back_and_says_so(self):
        closed = []

        def blocks():
            try:
                while True:
                    yield SIGNAL
            finally:
                closed.append(True)

        source = blocks()  # held, so that nothing but the close ends it
        with wvad.segment(source, 16000, model=MODEL) as found:
            found[0]
        self.assertEqual(closed, [True])
        self.assertGreater(len(found.found), 0)
        with self.assertRaisesRegex(wvad.StateError, "not heard to its end"):
            len(found)

    def test_what_is_dropped_before_its_end_gives_everything_back_at_once(self):
        path = self.wave("talk.wav", bursts(2, [(0.5, 1)]))  # less than a pipe holds

        def open_files():
            return len(os.listdir("/proc/self/fd"))

        def of_pipe():
            reading, writing = os.pipe()
            os.write(writing, path.read_bytes())
            os.close(writing)
            held = wvad.AudioFile(f"/dev/fd/{reading}")  # which opens it once more
            os.close(reading)
            self.assertEqual(held.rate, 16000)

        calls = {"not begun": lambda: wvad.segment(path, model=MODEL), "begun": lambda: wvad.segment(path, model=MODEL)[0],
                 "in a loop": lambda: next(iter(wvad.segment(path, model=MODEL))), "a pipe": of_pipe}
        gc.collect()
        gc.disable()
        self.addCleanup(gc.enable)
        for name, call in calls.items():
            with self.subTest(name):
                before = open_files()
                for _ in range(3):
                    call()
                self.assertEqual(open_files(), before)

    def test_what_goes_wrong_on_the_way_is_told_each_time(self):
        def blocks():
            yield SIGNAL
            raise ZeroDivisionError("of the source")

        found = wvad.segment(blocks(), 16000, model=MODEL)
        with self.assertRaisesRegex(ZeroDivisionError, "of the source"):
            list(found)
        self.assertEqual(times(found.found), WANTED)
        with self.assertRaisesRegex(wvad.StateError, "of the source"):
            list(found)


class OnThreads(InFolder):
    def gathered(self, work, count=4):
        """What `work` gives on each of several threads that begin together."""
        start = threading.Barrier(count)
        results = [None] * count

        def one(i):
            start.wait()
            try:
                results[i] = work()
            except Exception as trouble:  # the test looks at it
                results[i] = trouble

        threads = [threading.Thread(target=one, args=(i,)) for i in range(count)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        return results

    def test_every_thread_gets_all_sentences(self):
        signal = bursts(60, [(at, at + 1) for at in range(2, 58, 3)])
        wanted = [(at - 0.3, at + 1.2) for at in range(2, 58, 3)]
        for work in (list, lambda found: found[:], lambda found: [found[i] for i in range(19)], lambda found: list(found.finish().found)):
            found = wvad.segment(signal, 16000, model=MODEL)
            for got in self.gathered(lambda: work(found)):
                self.assertEqual(times(got), [(round(begin, 3), round(end, 3)) for begin, end in wanted])

    def test_closing_waits_for_the_block_that_another_thread_listens_to(self):
        listening, go_on, closed = threading.Event(), threading.Event(), threading.Event()

        def blocks():
            yield SIGNAL
            listening.set()
            go_on.wait(20)
            while True:
                yield SIGNAL

        found = wvad.segment(blocks(), 16000, model=MODEL)
        raised = []

        def listen():
            try:
                list(found)
            except Exception as trouble:  # the test looks at it
                raised.append(trouble)

        listener = threading.Thread(target=listen)
        listener.start()
        self.assertTrue(listening.wait(20))
        self.assertIn("so far", repr(found))
        closer = threading.Thread(target=lambda: (found.close(), closed.set()))
        closer.start()
        self.assertFalse(closed.wait(0.05))
        go_on.set()
        closer.join()
        listener.join()
        self.assertEqual([type(one) for one in raised], [wvad.StateError])
        self.assertGreaterEqual(len(found.found), 2)

    def test_a_source_cannot_ask_for_its_own_sentences(self):
        def blocks():
            yield SIGNAL
            list(found)

        found = wvad.segment(blocks(), 16000, model=MODEL)
        with self.assertRaisesRegex(wvad.StateError, "its own source"):
            list(found)

    def test_one_thread_at_a_time_reads_a_recording(self):
        with wvad.AudioFile(self.wave("talk.wav", SIGNAL)) as file:
            with file._lock:  # as another thread's call holds it
                for call in (lambda: file.read(10), file.close):
                    with self.assertRaisesRegex(wvad.StateError, "on another thread"):
                        call()
            self.assertEqual(len(file.read(10)), 10)


class Results(InFolder):
    def test_rows_are_plain_and_complete(self):
        import json

        row = wvad.segment(SIGNAL, 16000, model=MODEL).to_dicts()[0]
        self.assertEqual(json.loads(json.dumps(row)), row)
        self.assertEqual((row["begin"], row["end"], round(row["duration"], 9), row["begin_frame"], row["end_frame"]), (0.7, 2.2, 1.5, 11200, 35200))
        # A square wave of amplitude 8000: 20 log10(8000 / 32768).
        self.assertAlmostEqual(row["level"], -12.25, delta=0.5)

    def test_what_is_not_known_is_none(self):
        from dataclasses import replace

        sentence = replace(wvad.segment(SIGNAL, 16000, model=MODEL)[0], snr=float("nan"))
        self.assertIsNone(sentence.to_dict()["snr"])

    def test_results_can_be_pickled(self):
        found = wvad.segment(self.wave("talk.wav", SIGNAL), model=MODEL, audio=True)
        again = pickle.loads(pickle.dumps(found))
        self.assertEqual(list(again), list(found))
        self.assertEqual(again._repr_html_(), found._repr_html_())
        np.testing.assert_array_equal(again[0].audio, found[0].audio)
        self.assertEqual(pickle.loads(pickle.dumps(wvad.Model())).name, "lstm_fb75")
        refusal = pickle.loads(pickle.dumps(wvad.ArgumentError("words", "WVAD_E_RANGE")))
        self.assertEqual((str(refusal), refusal.status), ("words", "WVAD_E_RANGE"))

    def test_audio_and_features_are_those_of_the_sentence(self):
        found = wvad.segment(SIGNAL, 16000, model=MODEL, audio=True, features=True)
        for sentence in found:
            np.testing.assert_array_equal(sentence.audio, SIGNAL[sentence.begin_frame:sentence.end_frame])
            self.assertEqual(sentence.features.shape, (150, 115))
            self.assertEqual(sentence.features.dtype, np.float32)


class Scores(InFolder):
    def test_there_is_one_for_each_whole_10_ms(self):
        for frames, rate, count in ((16000, 16000, 100), (16159, 16000, 100), (16160, 16000, 101), (44100, 44100, 100), (11025, 11025, 100),
                                    (0, 16000, 0), (100, 16000, 0), (160, 16000, 1)):
            with self.subTest(frames=frames, rate=rate):
                values = wvad.scores(np.zeros(frames, np.int16), rate)
                self.assertEqual((values.shape, values.dtype), ((count,), np.float32))
                self.assertTrue(((values >= 0) & (values <= 1)).all())

    def test_they_are_those_that_a_stream_tells(self):
        samples, rate = wvad.audio.read(JFK)
        values = wvad.scores(JFK)
        with wvad.Stream(rate, probability=True) as stream:
            told = [event for event in stream.push(samples) + stream.finish() if event.probability is not None]
        self.assertEqual([event.time_frame for event in told], [160 * i for i in range(len(told))])
        self.assertLessEqual(len(values) - len(told), 5)
        np.testing.assert_array_equal(values[:len(told)], np.array([event.probability for event in told], np.float32))
        self.assertEqual(wvad.scores(samples, rate).tolist(), values.tolist())
        # Speech and the pause behind the first sentence.
        self.assertGreater(values[100], 0.7)
        self.assertLess(values[270], 0.3)

    def test_what_was_not_told_is_as_what_stands_before_it(self):
        from wvad.segments import _each_10_ms

        told = np.array([(0, 0.25), (160, 0.5), (640, 0.75)])
        self.assertEqual(_each_10_ms(told, 16000, 800).tolist(), [0.25, 0.5, 0.5, 0.5, 0.75])
        self.assertEqual(_each_10_ms(told[:0], 16000, 800).tolist(), [0] * 5)


if __name__ == "__main__":
    unittest.main()
