# SPDX-License-Identifier: Apache-2.0
"""Recordings: what cannot be heard is refused in words, what is damaged is heard as far as it goes, and interrupts end the waiting."""
import array
import io
import os
import pickle
import select
import shutil
import signal
import subprocess
import sys
import unittest

import numpy as np
import wvad
from support import JFK, MODEL, InFolder, bursts, times, write_wave
from wvad.compat.silero import get_speech_timestamps, load_silero_vad

SIGNAL = bursts(6, [(1, 2), (4, 5)])


class Reading(InFolder):
    def test_samples_are_those_of_the_recording(self):
        both = np.stack([SIGNAL, SIGNAL // 2], axis=1)
        samples, rate = wvad.audio.read(self.wave("both.wav", both, 22050))
        self.assertEqual((rate, samples.dtype), (22050, np.float32))
        np.testing.assert_array_equal(samples, both / np.float32(32768))

    def test_blocks_come_one_after_the_other(self):
        with wvad.AudioFile(self.wave("talk.wav", SIGNAL)) as file:
            self.assertEqual((file.rate, file.channels, file.frames), (16000, 1, 96000))
            self.assertEqual([len(block) for block in file.blocks(1.7)], [27200, 27200, 27200, 14400])
            self.assertEqual((len(file.read(10)), file.damage, file.note), (0, "", ""))
        with self.assertRaisesRegex(wvad.StateError, "closed"):
            file.read(10)
        file.close()

    def test_every_container_that_the_program_hears(self):
        if shutil.which("ffmpeg") is None:
            self.skipTest("no ffmpeg")
        for ending in ("flac", "mp3", "ogg", "m4a"):
            with self.subTest(ending):
                path = self.folder / f"talk.{ending}"
                subprocess.run(["ffmpeg", "-v", "error", "-i", JFK, path], check=True)
                self.assertEqual(len(wvad.segment(path)), 4)
                self.assertEqual(len(wvad.segment(path.read_bytes())), 4)

    def test_a_recording_is_brought_to_a_rate(self):
        tone = np.round(8000 * np.sin(np.arange(44100) * 2 * np.pi * 300 / 44100)).astype(np.int16)
        path = self.wave("tone.wav", np.stack([tone, -tone], axis=1), 44100)
        samples, rate = wvad.audio.read(path, rate=8000)
        self.assertEqual((rate, samples.shape), (8000, (8000, 2)))
        wanted = 8000 / 32768 * np.sin(np.arange(8000) * 2 * np.pi * 300 / 8000)
        self.assertLess(np.abs(samples - np.stack([wanted, -wanted], axis=1))[200:-200].max(), 1e-3)
        np.testing.assert_array_equal(wvad.audio.read(path, rate=44100)[0], wvad.audio.read(path)[0])
        with wvad.AudioFile(path, rate=8000) as file:
            self.assertEqual((file.rate, file.frames, sum(len(block) for block in file.blocks(0.07))), (8000, None, 8000))
        for rate in (0, -1, 999, 1000000):
            with self.assertRaisesRegex(wvad.ArgumentError, "unsupported sample rate"):
                wvad.audio.read(path, rate=rate)

    def test_a_track_that_is_not_there(self):
        with self.assertRaisesRegex(wvad.ArgumentError, "track 3"):
            wvad.segment(JFK, track=3)


class Refusals(InFolder):
    def refused(self, kind, words, *arguments, **options):
        with self.assertRaisesRegex(kind, words):
            wvad.segment(*arguments, **options).finish()

    def test_what_is_no_audio(self):
        text = self.folder / "notes.txt"
        text.write_text("no sound at all " * 100, encoding="utf-8")
        empty = self.folder / "empty.wav"
        empty.touch()
        self.refused(wvad.AudioError, "notes.txt: not an audio file", text)
        self.refused(wvad.AudioError, "empty.wav: .*empty", empty)
        self.refused(wvad.AudioError, "<bytes>: not an audio file", b"no sound at all " * 100)
        self.refused(wvad.AudioError, "empty", b"")
        self.refused(wvad.AudioError, "BytesIO", io.BytesIO(b"no sound at all " * 100))
        self.refused(wvad.AudioError, "m4a", self.copy("talk.m4a", b"\0\0\0\x18ftypM4A " + bytes(4000)))

    def test_bare_samples_are_refused_with_what_a_call_takes_them_by(self):
        class Samples:
            def read(self, count):
                return b"\1\2" * (count // 2)

        cure = r"samples are given as an array with their rate \(wvad\.segment\(numpy\.frombuffer\(data, \"int16\"\), rate=16000\)\)$"
        self.refused(wvad.AudioError, f"^<Samples>: not audio that is known by its first MiB; bare {cure}", Samples())
        self.refused(wvad.ArgumentError, f"^rate: .*; bare {cure}", b"\1\2" * 1000, 16000)

    def copy(self, name, data):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def test_what_cannot_be_opened(self):
        link = self.folder / "link.wav"
        link.symlink_to(self.folder / "gone")
        self.refused(wvad.AudioFileError, "is a folder", self.folder)
        self.refused(wvad.AudioFileError, "gone.wav: no such file", self.folder / "gone.wav")
        self.refused(wvad.AudioFileError, "leads nowhere", link)
        self.refused(wvad.AudioFileError, "no such file", "")
        self.refused(wvad.AudioFileError, "zero character", "a\0b.wav")
        self.refused(wvad.AudioFileError, r"caf\\xe9.wav: no such file", os.fsdecode(b"caf\xe9.wav"))
        self.refused(wvad.AudioFileError, "is an address.*urlopen", "https://example.org/talk.mp3")

    def test_what_cannot_be_opened_is_of_the_kind_that_open_raises(self):
        locked = self.wave("locked.wav", SIGNAL)
        locked.chmod(0)
        cases = [(FileNotFoundError, self.folder / "gone.wav"), (FileNotFoundError, ""), (IsADirectoryError, self.folder)]
        if not os.access(locked, os.R_OK):  # not as root
            cases.append((PermissionError, locked))
        for kind, path in cases:
            with self.subTest(kind):
                with self.assertRaises(kind) as as_open:
                    open(path, "rb")
                with self.assertRaises(kind) as caught:
                    wvad.segment(path)
                error = caught.exception
                self.assertIsInstance(error, wvad.AudioFileError)
                self.assertEqual((error.errno, error.filename), (as_open.exception.errno, os.fspath(path)))
                again = pickle.loads(pickle.dumps(error))
                self.assertEqual((type(again), str(again), again.errno, again.filename), (type(error), str(error), error.errno, error.filename))
                self.assertNotIn("Errno", str(error))
        for errno, kind in ((1, PermissionError), (13, PermissionError), (5, OSError)):
            error = wvad.errors.of_file("words", errno, "a.wav")
            self.assertIsInstance(error, kind)
            self.assertEqual((str(error), error.errno, error.filename, error.status), ("words", errno, "a.wav", ""))
        self.assertEqual((str(wvad.AudioFileError("words")), wvad.AudioFileError("words").errno), ("words", None))

    def test_file_objects_that_are_none(self):
        class Failing(io.RawIOBase):
            def readable(self):
                return True

            def readinto(self, _):
                raise ZeroDivisionError("of the file")

        class TooMuch:
            def read(self, count):
                return bytes(count + 1)

        class Never:
            def read(self, _):
                return None

        path = self.wave("talk.wav", SIGNAL)
        with open(path, encoding="latin-1") as text:
            self.refused(TypeError, "opened as text", text)
        self.refused(ZeroDivisionError, "of the file", Failing())
        self.refused(wvad.AudioFileError, "gave", TooMuch())
        self.refused(BlockingIOError, "does not wait", Never())
        with open(path, "rb") as file:
            pass
        self.refused(ValueError, "closed file", file)

    def test_file_objects_that_give_samples_are_refused_with_the_cure(self):
        class Samples:
            samplerate = 16000

            def __init__(self, make):
                self.read = make

        class OneByteMore(bytes):
            def __len__(self):
                return 1

        # As many items as bytes were asked for, each wider than a byte: what was copied by their count would end the process.
        for make in (lambda count=-1: np.zeros(max(count, 0)), lambda count=-1: np.zeros((max(count, 0), 2), np.uint8),
                     lambda count=-1: np.zeros(max(count, 0) // 2, np.int16), lambda count=-1: array.array("h", bytes(2 * max(count, 0))),
                     lambda count=-1: memoryview(bytes(2 * max(count, 0))).cast("h"), lambda count=-1: [0] * max(count, 0),
                     lambda count=-1: np.zeros(0)):
            self.refused(TypeError, r"not bytes; .*wvad\.segment\(file\.read\(dtype=", Samples(make))
        self.refused(wvad.AudioFileError, "gave", Samples(lambda count=-1: OneByteMore(bytes(count + 100000))))
        self.refused(wvad.AudioFileError, "gave", Samples(lambda count=-1: np.zeros(count + 1, np.uint8)))

    def test_bytes_of_every_kind_are_taken(self):
        data = self.wave("talk.wav", SIGNAL).read_bytes()

        class Parts(io.BytesIO):
            def __init__(self, make):
                super().__init__(data)
                self.make = make

            def read(self, count=-1):
                return self.make(super().read(count))

            def seek(self, *where):  # as file objects that tell nothing
                super().seek(*where)

        for make in (bytes, bytearray, memoryview, lambda part: np.frombuffer(part, np.uint8), lambda part: array.array("B", part)):
            self.assertEqual(times(wvad.segment(Parts(make), model=MODEL)), [(0.7, 2.2), (3.7, 5.2)])

    def test_sources_that_are_none(self):
        for kind, words, source, rate in (
                (wvad.ArgumentError, "rate: is needed", SIGNAL, None), (wvad.ArgumentError, "says itself", JFK, 16000),
                (wvad.ArgumentError, "3999 Hz cannot be served", SIGNAL, 3999), (wvad.ArgumentError, "192001 Hz", SIGNAL, 192001),
                (TypeError, "rate: expected a whole number", SIGNAL, "16000"), (TypeError, "expected a path", 17, None),
                (wvad.ArgumentError, r"shape \(2, 96000\) has 96000 channels.*transpose", np.stack([SIGNAL, SIGNAL]), 16000),
                (wvad.ArgumentError, r"shape \(5, 0\)", np.empty((5, 0), np.int16), 16000),
                (wvad.ArgumentError, r"shape \(1, 2, 3\)", np.empty((1, 2, 3), np.int16), 16000), (TypeError, "type int64", [1, 2, 3], 16000),
                (TypeError, "type uint8", SIGNAL.astype(np.uint8), 16000),
                (TypeError, "type uint8", iter([SIGNAL.astype(np.uint8)]), 16000),
                (wvad.ArgumentError, "channel", SIGNAL, 16000)):
            with self.subTest(words):
                self.refused(kind, words, source, rate, channel=2 if words == "channel" else "mix")

    def test_samples_that_are_no_numbers_end_an_array_and_are_silence_in_a_file(self):
        samples = SIGNAL / np.float32(32768)
        samples[90000] = np.nan
        found = wvad.segment(samples, 16000, model=MODEL)
        with self.assertRaisesRegex(wvad.ArgumentError, "not a finite number"):
            list(found)
        self.assertEqual(times(found.found)[0], (0.7, 2.2))
        header = io.BytesIO()
        write_wave(self.folder / "int.wav", SIGNAL)
        data = bytearray((self.folder / "int.wav").read_bytes()[:44])
        data[20:22] = (3).to_bytes(2, "little")  # of floats
        data[28:36] = (64000).to_bytes(4, "little") + (4).to_bytes(2, "little") + (32).to_bytes(2, "little")
        data[4:8], data[40:44] = (36 + samples.nbytes).to_bytes(4, "little"), samples.nbytes.to_bytes(4, "little")
        header.write(bytes(data) + samples.tobytes())
        with self.assertWarnsRegex(wvad.AudioWarning, "no numbers"):
            self.assertEqual(times(wvad.segment(header.getvalue(), model=MODEL)), [(0.7, 2.2), (3.7, 5.2)])

    def test_a_sample_that_is_no_number_is_named_by_its_place_in_all_of_them(self):
        samples = np.zeros(120000, np.float32)
        samples[100000] = np.inf
        both = np.stack([np.zeros_like(samples), samples], axis=1)
        both[90000, 0] = np.nan  # is not listened to
        words = "^frame 100000 of the samples is not a finite number$"
        for call in (lambda: wvad.segment(samples, 16000, model=MODEL).finish(), lambda: wvad.scores(samples, 16000, model=MODEL),
                     lambda: wvad.segment(np.split(samples, [7, 99990]), 16000, model=MODEL).finish(),
                     lambda: wvad.segment([samples[:7], samples[7:]], 16000, model=MODEL).finish(),
                     lambda: wvad.scores(both, 16000, channel=2, model=MODEL),
                     lambda: get_speech_timestamps(samples, load_silero_vad(model=MODEL))):
            with self.assertRaisesRegex(wvad.ArgumentError, words) as caught:
                call()
            self.assertEqual(caught.exception.status, "WVAD_E_SAMPLES")

    def test_a_recording_that_was_cut_is_heard_as_far_as_it_goes(self):
        data = self.wave("talk.wav", SIGNAL).read_bytes()
        cut = self.copy("cut.wav", data[:44 + 2 * 16000 * 3])
        with self.assertWarnsRegex(wvad.AudioWarning, "cut.wav: cut short"):
            found = wvad.segment(cut, model=MODEL).finish()
        self.assertEqual(times(found), [(0.7, 2.2)])
        self.assertRegex(found.damage, "cut short")
        with self.assertWarnsRegex(wvad.AudioWarning, "cut short"):
            self.assertEqual(len(wvad.scores(cut, model=MODEL)), 300)
        with self.assertWarnsRegex(wvad.AudioWarning, "flac"):
            self.assertGreater(len(wvad.segment(self.copy("cut.flac", JFK.read_bytes()[:100000]))), 0)

    def test_a_warning_names_the_line_that_asked_whatever_it_asked_for(self):
        cut = self.copy("cut.wav", self.wave("talk.wav", SIGNAL).read_bytes()[:44 + 2 * 16000 * 3])
        asked = [list, len, lambda found: found[-1], lambda found: found.finish(), lambda found: found.to_dicts(), lambda found: [one for one in found]]
        for ask in asked:
            with self.assertWarnsRegex(wvad.AudioWarning, "cut short") as caught:
                ask(wvad.segment(cut, model=MODEL))
            self.assertEqual(caught.filename, __file__)
        with self.assertWarnsRegex(wvad.AudioWarning, "cut short") as caught:
            wvad.scores(cut, model=MODEL)
        self.assertEqual(caught.filename, __file__)

    def test_lists_of_numpy_numbers_are_samples_too(self):
        expected = times(wvad.segment(SIGNAL, 16000, model=MODEL))
        self.assertEqual(times(wvad.segment(list(SIGNAL), 16000, model=MODEL)), expected)
        self.assertEqual(times(wvad.segment([SIGNAL[:1000], SIGNAL[1000:]], 16000, model=MODEL)), expected)

    def test_blocks_rates_and_models_of_nothing_are_refused(self):
        with wvad.AudioFile(self.wave("talk.wav", SIGNAL)) as file:
            for seconds in (0, -1, 1e-6):
                with self.assertRaisesRegex(wvad.ArgumentError, "^seconds: .* holds no sample$"):
                    next(file.blocks(seconds))
        for rate in (0, -1):
            with self.assertRaisesRegex(wvad.ArgumentError, f"^rate: unsupported sample rate {rate} Hz$"):
                wvad.audio.read(self.folder / "talk.wav", rate=rate)
        with self.assertRaisesRegex(wvad.ArgumentError, "^model: the name is empty$"):
            wvad.segment(SIGNAL, 16000, model="")

    def test_an_empty_array_has_no_sentences(self):
        for empty in (np.empty(0, np.int16), np.empty((0, 2), np.float32), []):
            self.assertEqual(list(wvad.segment(empty, 16000, model=MODEL)), [])
        self.assertEqual(list(wvad.segment(iter([]), 16000, model=MODEL)), [])

    def test_without_decoders_arrays_still_work_and_the_error_names_the_way_round(self):
        script = f"""
import pathlib, wvad, numpy
from wvad import _library, audio
_library.NATIVE = pathlib.Path({str(self.folder)!r})
try:
    wvad.segment({str(JFK)!r})
except wvad.UnavailableError as refusal:
    assert "wvad.segment(array, rate)" in str(refusal), refusal
    print(len(wvad.segment(numpy.zeros(16000, numpy.int16), 16000)))
"""
        said = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=False)
        self.assertEqual((said.stdout, said.stderr), ("0\n", ""))


class Interrupts(InFolder):
    def test_an_interrupt_while_the_decoder_asks_for_bytes_is_not_lost(self):
        script = """
import os, signal, threading, wvad
class Endless:
    def read(self, count):
        return b"\\1\\2"
class OfHandler(Exception):
    pass
def handler(*_):
    raise OfHandler
for number in (signal.SIGINT, signal.SIGUSR1, signal.SIGUSR1):
    signal.signal(signal.SIGUSR1, handler)
    try:
        threading.Timer(0.1, os.kill, (os.getpid(), number)).start()
        wvad.segment(Endless())
    except BaseException as end:
        print(type(end).__name__)
"""
        said = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=100, check=False)
        self.assertEqual((said.stdout.split(), said.stderr), (["KeyboardInterrupt", "OfHandler", "OfHandler"], ""))

    def test_what_a_handler_raises_while_a_pipe_is_opened_comes_through_as_it_is(self):
        os.mkfifo(self.folder / "pipe")  # which nobody writes to, so that opening it waits
        script = """
import signal, sys, wvad

def handler(*_):
    raise of_handler

wvad.AudioFile(sys.argv[2]).close()  # the decoders are there
signal.signal(signal.SIGALRM, handler)
for of_handler in (TimeoutError("of the handler"), TimeoutError(110, "of the handler")):
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.2, 0.2)
        wvad.segment(sys.argv[1])
    except BaseException as end:
        signal.setitimer(signal.ITIMER_REAL, 0)
        print(end is of_handler)
"""
        said = subprocess.run([sys.executable, "-c", script, self.folder / "pipe", JFK], capture_output=True, text=True, timeout=100, check=False)
        self.assertEqual((said.stdout.split(), said.stderr), (["True", "True"], ""))

    def test_an_interrupt_ends_the_waiting_for_a_pipe(self):
        os.mkfifo(self.folder / "pipe")
        script = """
import sys, wvad
found = wvad.segment(sys.argv[1], model=sys.argv[2])
print(found[0].begin, flush=True)
try:
    found.finish()
except KeyboardInterrupt:
    print("interrupted", found.found[0].begin, flush=True)
    raise
"""
        data = self.wave("talk.wav", bursts(60, [(1, 2)])).read_bytes()
        child = subprocess.Popen([sys.executable, "-c", script, self.folder / "pipe", MODEL], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                 text=True)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        self.addCleanup(child.stdout.close)
        self.addCleanup(child.stderr.close)
        with open(self.folder / "pipe", "wb", buffering=0) as pipe:
            pipe.write(data[:32000 * 5])  # the rest never comes
            self.assertTrue(select.select([child.stdout], [], [], 100)[0], "no sentence is told")
            self.assertEqual(child.stdout.readline(), "0.7\n")
            child.send_signal(signal.SIGINT)
            said, words = child.communicate(timeout=100)
        self.assertEqual(said, "interrupted 0.7\n")
        self.assertTrue(words.rstrip().endswith("KeyboardInterrupt"), words)
        self.assertEqual(child.returncode, -signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
