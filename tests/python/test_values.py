# SPDX-License-Identifier: Apache-2.0
"""Values as users of other packages hold them: rates that are floats, NumPy's types, typed buffers; and what a refusal of them says."""
import array
import io
import pickle
import unittest

import numpy as np
import wvad
import wvad.aio
from support import JFK, MODEL, InFolder, bursts, times

SIGNAL = bursts(6, [(1, 2), (4, 5)])
WANTED = [(0.7, 2.2), (3.7, 5.2)]


class Taken(InFolder):
    def test_rates_that_are_whole(self):
        for rate in (16000, 16000.0, np.float64(16000), np.float32(16000), np.int64(16000), np.array(16000)):
            self.assertEqual(times(wvad.segment(SIGNAL, rate, model=MODEL)), WANTED)
            self.assertEqual(wvad.Stream(rate, model=MODEL).rate, 16000)
        with wvad.AudioFile(self.wave("talk.wav", SIGNAL), rate=8000.0) as file:
            self.assertEqual(file.rate, 8000)
        for rate in (16000.5, float("nan"), float("inf"), "16000", 16000j):
            for call in (lambda rate: wvad.segment(SIGNAL, rate), wvad.Stream, lambda rate: wvad.AudioFile(JFK, rate=rate)):
                with self.assertRaisesRegex(TypeError, "rate: expected a whole number"):
                    call(rate)

    def test_types_of_numpy(self):
        for dtype in ("int16", np.int16, np.dtype("int16"), "i2"):
            with wvad.Stream(model=MODEL, dtype=dtype) as stream:
                self.assertEqual(stream.dtype, "int16")
                self.assertEqual(times([event.sentence for event in stream.push(SIGNAL.tobytes()) if event.sentence]), WANTED)
        for dtype in (np.uint8, float, np.dtype(">i2" if np.little_endian else "<i2"), "nonsense", 7):
            with self.assertRaisesRegex(wvad.ArgumentError, "is none of int16"):
                wvad.Stream(dtype=dtype)

    def test_typed_buffers_are_samples(self):
        for buffer in (array.array("h", SIGNAL.tobytes()), memoryview(SIGNAL), memoryview(SIGNAL.tobytes()).cast("h")):
            self.assertEqual(times(wvad.segment(buffer, 16000, model=MODEL)), WANTED)
            with wvad.Stream(model=MODEL) as stream:
                self.assertEqual(times([event.sentence for event in stream.push(buffer) if event.sentence]), WANTED)
        with wvad.Stream(model=MODEL) as stream:  # not taken for bytes of int16
            stream.push(memoryview(SIGNAL / np.float32(32768)))
            self.assertEqual((stream.dtype, stream.info.samples), ("float32", len(SIGNAL)))


    def test_true_is_no_whole_number(self):
        path = self.wave("talk.wav", SIGNAL)
        for name, call in (("channel", lambda bad: wvad.segment(SIGNAL, 16000, channel=bad)), ("channel", lambda bad: wvad.Stream(channel=bad)),
                           ("channels", lambda bad: wvad.Stream(channels=bad)), ("rate", wvad.Stream), ("rate", lambda bad: wvad.segment(SIGNAL, bad)),
                           ("rate", lambda bad: wvad.AudioFile(path, rate=bad)), ("track", lambda bad: wvad.segment(path, track=bad)),
                           ("track", lambda bad: wvad.segment(SIGNAL, 16000, track=bad))):
            for bad in (True, False, np.True_):
                with self.subTest(name), self.assertRaisesRegex(TypeError, f"^{name}: expected a whole number, got .*{bad}"):
                    call(bad)

    def test_samples_have_no_tracks(self):
        for call in (wvad.segment, wvad.scores):
            for samples in (SIGNAL, iter([SIGNAL])):
                with self.assertRaisesRegex(wvad.ArgumentError, "^track: samples have no sound tracks"):
                    call(samples, 16000, track=1)
        self.assertEqual(times(wvad.segment(SIGNAL, 16000, model=MODEL, track=0)), WANTED)


class Words(InFolder):
    def test_refusals_name_the_cure(self):
        async def coming():
            yield SIGNAL

        for kind, words, call in (
                (TypeError, r"int64.*asarray\(samples, \"int16\"\)", lambda: wvad.segment(SIGNAL.astype(np.int64), 16000)),
                (TypeError, r"uint8.*- 128\) \* 256", lambda: wvad.segment(SIGNAL.astype(np.uint8), 16000)),
                (TypeError, r"float16.*astype\(\"float32\"\)", lambda: wvad.segment(SIGNAL.astype(np.float16), 16000)),
                (TypeError, "bytes do not say.*frombuffer", lambda: wvad.segment(iter([SIGNAL.tobytes()]), 16000)),
                (TypeError, r"wvad\.aio\.events takes", lambda: wvad.segment(coming(), 16000)),
                (wvad.ArgumentError, "channel: 'each' is neither \"mix\", \"all\" nor a number from 1 to 1",
                 lambda: wvad.segment(SIGNAL, 16000, channel="each")),
                (wvad.ArgumentError, "min_silence: the number is out of range", lambda: wvad.Stream(min_silence=10**400)),
                (wvad.ArgumentError, "no sound track -1", lambda: wvad.segment(JFK, track=-1)),
                (wvad.ArgumentError, "track: 4294967297 is out of range", lambda: wvad.segment(JFK, track=2**32 + 1)),
                (TypeError, "track: expected a whole number, got 'a'", lambda: wvad.segment(JFK, track="a"))):
            with self.subTest(words), self.assertRaisesRegex(kind, words):
                call()

    def test_a_bad_block_is_told_whatever_asks(self):
        for bad, words in ((None, "got NoneType"), (SIGNAL / np.float32(32768), "this stream takes int16"), ("text", "got str")):
            for ask in (list, len, lambda found: [one for one in found], lambda found: found[-1], lambda found: found.finish()):
                with self.subTest(words), self.assertRaisesRegex(TypeError, words):
                    ask(wvad.segment(iter([SIGNAL, bad]), 16000, model=MODEL))

    def test_representations(self):
        stream = wvad.Stream(48000, 2, model="lstm_fb40", dtype="int16")
        self.assertEqual(repr(stream), "<wvad.Stream of 48000 Hz, 2 channels, int16: lstm_fb40>")
        stream.close()
        self.assertEqual(repr(stream), "<wvad.Stream of 48000 Hz, 2 channels, int16: lstm_fb40, closed>")
        self.assertEqual(repr(wvad.aio.Stream(model="lstm_fb40")), "<wvad.aio.Stream of 16000 Hz, 1 channel: lstm_fb40>")
        with wvad.AudioFile(io.BytesIO(self.wave("talk.wav", SIGNAL).read_bytes())) as file:
            self.assertEqual(repr(file), "<wvad.AudioFile <BytesIO>: 16000 Hz, 1 channel, 6.00 s>")
            with self.assertRaisesRegex(TypeError, "an AudioFile cannot be pickled.*open the recording again"):
                pickle.dumps(file)
        self.assertRegex(repr(file), "closed>$")


class Aio(unittest.IsolatedAsyncioTestCase):
    async def test_blocks_that_do_not_come_by_and_by(self):
        with self.assertRaisesRegex(TypeError, r"list; wvad\.aio\.segment takes"):
            [event async for event in wvad.aio.events([SIGNAL])]


if __name__ == "__main__":
    unittest.main()
