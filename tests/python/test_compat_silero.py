# SPDX-License-Identifier: Apache-2.0
"""wvad.compat.silero: the documented calls with their names, defaults and kinds of results; its rules worked out by hand over given
probabilities; tensors where torch is there."""
import inspect
import os
import stat
import unittest
import wave
from unittest import mock

import numpy as np
import wvad
from support import JFK, MODEL, InFolder, bursts
from wvad.compat import silero


def stretches(runs, **options):
    """The stretches in ms that come of runs of 10 ms frames: [(count, probability)]."""
    values = np.concatenate([np.full(count, value, np.float32) for count, value in runs])
    defaults = {"speech_pad_ms": 0, "min_speech_duration_ms": 0}
    with mock.patch.object(silero.segments, "scores", lambda *_, **__: values):
        found = silero.get_speech_timestamps(np.zeros(len(values) * 10, np.float32), None, sampling_rate=1000, **{**defaults, **options})
    return [(one["start"], one["end"]) for one in found]


class Signatures(unittest.TestCase):
    def test_names_and_defaults_are_the_documented_ones(self):
        def of(call):
            return [(one.name, one.default) for one in inspect.signature(call).parameters.values() if one.kind is not one.KEYWORD_ONLY]

        none = inspect.Parameter.empty
        self.assertEqual(of(silero.get_speech_timestamps), [
            ("audio", none), ("model", None), ("threshold", 0.5), ("sampling_rate", 16000), ("min_speech_duration_ms", 250),
            ("max_speech_duration_s", float("inf")), ("min_silence_duration_ms", 100), ("speech_pad_ms", 30), ("return_seconds", False),
            ("time_resolution", 1), ("visualize_probs", False), ("progress_tracking_callback", None), ("neg_threshold", None),
            ("window_size_samples", 512), ("min_silence_at_max_speech", 98), ("use_max_poss_sil_at_max_speech", True)])
        self.assertEqual(of(silero.VADIterator), [("model", None), ("threshold", 0.5), ("sampling_rate", 16000),
                                                  ("min_silence_duration_ms", 100), ("speech_pad_ms", 30)])
        self.assertEqual(of(silero.VADIterator.__call__)[1:], [("x", none), ("return_seconds", False), ("time_resolution", 1)])
        self.assertEqual(of(silero.collect_chunks), [("tss", none), ("wav", none), ("seconds", False), ("sampling_rate", None)])
        self.assertEqual(of(silero.drop_chunks), of(silero.collect_chunks))
        self.assertEqual(of(silero.read_audio), [("path", none), ("sampling_rate", 16000)])
        self.assertEqual(of(silero.save_audio), [("path", none), ("tensor", none), ("sampling_rate", 16000)])
        self.assertEqual(of(silero.load_silero_vad), [("onnx", False), ("opset_version", 16)])


class Rules(unittest.TestCase):
    def test_speech_begins_at_the_threshold_and_ends_below_the_other_one(self):
        self.assertEqual(stretches([(10, 0.4), (20, 0.5), (20, 0.4), (20, 0.3)]), [(100, 500)])
        self.assertEqual(stretches([(10, 0.4), (20, 0.5), (20, 0.4), (20, 0.3)], neg_threshold=0.45), [(100, 300)])
        self.assertEqual(stretches([(10, 0.4), (20, 0.5), (20, 0.4)], threshold=0.3), [(0, 500)])

    def test_a_short_silence_is_bridged(self):
        runs = [(10, 0), (20, 1), (9, 0), (20, 1), (30, 0)]
        self.assertEqual(stretches(runs), [(100, 590)])
        self.assertEqual(stretches(runs, min_silence_duration_ms=90), [(100, 300), (390, 590)])

    def test_speech_up_to_the_end_ends_there(self):
        self.assertEqual(stretches([(10, 0), (20, 1), (9, 0)]), [(100, 390)])

    def test_short_speech_is_dropped(self):
        runs = [(10, 0), (24, 1), (30, 0), (25, 1), (30, 0)]
        self.assertEqual(stretches(runs, min_speech_duration_ms=250), [(640, 890)])

    def test_margins_share_what_room_there_is(self):
        runs = [(2, 0), (30, 1), (15, 0), (30, 1), (2, 0)]
        self.assertEqual(stretches(runs, speech_pad_ms=50), [(0, 370), (420, 790)])
        self.assertEqual(stretches(runs, speech_pad_ms=100), [(0, 395), (395, 790)])

    def test_long_speech_is_cut_at_a_pause(self):
        # Pauses of 150 and 120 ms, silence of 300 ms would be an end.
        runs = [(100, 1), (15, 0), (100, 1), (12, 0), (100, 1)]
        options = {"min_silence_duration_ms": 300, "max_speech_duration_s": 2.5}
        self.assertEqual(stretches(runs, **options), [(0, 1000), (1150, 3270)])
        self.assertEqual(stretches(runs, use_max_poss_sil_at_max_speech=False, **options), [(0, 2150), (2270, 3270)])
        self.assertEqual(stretches(runs, min_silence_at_max_speech=160, **options), [(0, 2500), (2500, 3270)])

    def test_a_pause_behind_the_cut_serves_the_next_one(self):
        # The longest of the two pauses in the first 3 s is the earlier one; what is left of it then has the later one.
        runs = [(100, 1), (15, 0), (100, 1), (12, 0), (250, 1)]
        self.assertEqual(stretches(runs, min_silence_duration_ms=300, max_speech_duration_s=3), [(0, 1000), (1150, 2150), (2270, 4770)])

    def test_no_stretch_is_longer_than_allowed_with_its_margins(self):
        found = stretches([(1000, 1)], max_speech_duration_s=2, speech_pad_ms=30)
        self.assertEqual(found[0][0], 0)
        self.assertEqual(found[-1][1], 10000)
        self.assertTrue(all(end - start <= 2000 for start, end in found))
        self.assertTrue(all(start == end for (_, end), (start, _) in zip(found, found[1:])))


class Audio(InFolder):
    def test_a_recording_on_the_documented_way(self):
        model = silero.load_silero_vad()
        samples = silero.read_audio(str(JFK))
        percents = []
        found = silero.get_speech_timestamps(samples, model, return_seconds=True, progress_tracking_callback=percents.append)
        self.assertTrue(all(list(one) == ["start", "end"] for one in found))
        # Within the sentences of the program, whose margins are wider; rounded to a tenth.
        sentences = wvad.segment(JFK)
        for one in found:
            self.assertTrue(any(s.begin - 0.05 <= one["start"] < one["end"] <= s.end + 0.05 for s in sentences), one)
        self.assertGreaterEqual(len(found), len(sentences))
        self.assertEqual((len(percents), percents[-1], sorted(percents)), (11, 100, percents))
        in_samples = silero.get_speech_timestamps(samples, model)
        self.assertEqual([round(one["start"] / 16000, 1) for one in in_samples], [one["start"] for one in found])
        self.assertTrue(all(isinstance(one["end"], int) for one in in_samples))

    def test_audio_that_is_none(self):
        with self.assertRaisesRegex(ValueError, "More than one dimension in audio"):
            silero.get_speech_timestamps(np.zeros((2, 16000), np.float32), None)
        with self.assertRaises(TypeError):
            silero.get_speech_timestamps("talk.mp3", None)
        self.assertEqual(silero.get_speech_timestamps(np.zeros((1, 0), np.float32), None), [])
        self.assertEqual(silero.get_speech_timestamps(np.zeros((1, 16000), np.float32), None), [])

    def test_recordings_are_read_as_one_channel_at_the_rate(self):
        left = np.round(8000 * np.sin(np.arange(48000) * 2 * np.pi * 440 / 48000)).astype(np.int16)
        path = self.wave("both.wav", np.stack([left, np.zeros_like(left)], axis=1), 48000)
        samples = np.asarray(silero.read_audio(path))
        self.assertEqual((samples.dtype, samples.shape), (np.float32, (16000,)))
        wanted = 4000 / 32768 * np.sin(np.arange(16000) * 2 * np.pi * 440 / 16000)
        self.assertLess(np.abs(samples - wanted)[200:-200].max(), 1e-3)

    def test_audio_is_saved_and_read_back(self):
        path = str(self.folder / "out.wav")
        samples = np.array([0, 0.5, -1, 1.5, 1e-5], np.float32)
        for _ in range(2):  # the second one replaces the first
            silero.save_audio(path, samples, 8000)
        with wave.open(path) as file:
            self.assertEqual((file.getframerate(), file.getnchannels(), file.getsampwidth()), (8000, 1, 2))
            self.assertEqual(np.frombuffer(file.readframes(9), "<i2").tolist(), [0, 16384, -32768, 32767, 0])
        self.assertEqual(os.listdir(self.folder), ["out.wav"])
        with self.assertRaisesRegex(ValueError, "out.mp3: only WAV"):
            silero.save_audio(str(self.folder / "out.mp3"), samples)
        os.mkdir(self.folder / "folder.wav")
        with self.assertRaises(OSError):
            silero.save_audio(str(self.folder / "folder.wav"), samples)
        self.assertEqual(sorted(os.listdir(self.folder)), ["folder.wav", "out.wav"])
        silero.save_audio(path, np.zeros((2, 3), np.int16))
        with wave.open(path) as file:
            self.assertEqual((file.getnchannels(), file.getnframes()), (2, 3))

    def test_what_is_saved_has_the_mode_of_any_file_and_the_mask_of_the_process_stays(self):
        before = os.umask(0o027)
        self.addCleanup(os.umask, before)
        with mock.patch("os.umask", side_effect=AssertionError("what other threads write meanwhile would be open to all")):
            silero.save_audio(str(self.folder / "out.wav"), np.zeros(10, np.float32))
        self.assertEqual(stat.S_IMODE(os.stat(self.folder / "out.wav").st_mode), 0o640)

    def test_chunks_are_collected_and_dropped(self):
        wav = np.arange(100)
        tss = [{"start": 10, "end": 20}, {"start": 50, "end": 51}]
        self.assertEqual(silero.collect_chunks(tss, wav).tolist(), [*range(10, 20), 50])
        self.assertEqual(silero.drop_chunks(tss, wav).tolist(), [*range(10), *range(20, 50), *range(51, 100)])
        in_seconds = [{"start": 0.1, "end": 0.2}]
        self.assertEqual(silero.collect_chunks(in_seconds, wav, seconds=True, sampling_rate=100).tolist(), list(range(10, 20)))
        with self.assertRaisesRegex(ValueError, "sampling_rate must be provided"):
            silero.collect_chunks(in_seconds, wav, seconds=True)
        self.assertEqual(silero.collect_chunks([], wav).tolist(), [])


class ChunkByChunk(unittest.TestCase):
    SIGNAL = bursts(4, [(1, 2)]) / np.float32(32768)

    def test_the_model_answers_each_chunk(self):
        model = silero.load_silero_vad(model=MODEL)
        answers = [model(self.SIGNAL[i:i + 512], 16000) for i in range(0, 16384, 512)]
        self.assertEqual({(one.shape, one.dtype.name) for one in answers}, {((1, 1), "float32")})
        self.assertEqual(answers[0].item(), 0)  # nothing is known yet
        self.assertGreater(answers[-1].item(), 0.7)  # the model calls everything speech
        model.reset_states()
        self.assertEqual(model(self.SIGNAL[:512], 16000).item(), 0)
        self.assertEqual(model(np.zeros((3, 512), np.float32), 16000).shape, (3, 1))
        self.assertEqual(model(np.zeros(256, np.float32), 8000).shape, (1, 1))
        for chunk, rate in ((511, 16000), (512, 8000), (512, 32000)):
            with self.assertRaisesRegex(ValueError, f"number of samples is {chunk}"):
                model(np.zeros(chunk, np.float32), rate)

    def test_whole_audio_forward_has_an_answer_for_each_chunk(self):
        samples = wvad.audio.read(JFK)[0][:, 0]
        answers = silero.load_silero_vad().audio_forward(samples, 16000)
        self.assertEqual(answers.shape, (1, -(-len(samples) // 512)))
        self.assertGreater(answers[0, 16000 // 512], 0.7)
        self.assertLess(answers[0, int(2.7 * 16000 / 512)], 0.3)

    def test_the_iterator_tells_of_begin_and_end_once(self):
        samples = wvad.audio.read(JFK)[0][:, 0]
        listening = silero.VADIterator(silero.load_silero_vad(), min_silence_duration_ms=300)
        told = []
        for begin in range(0, len(samples), 512):
            answer = listening(samples[begin:begin + 512])
            if answer is not None:
                told.append((begin, *answer.items()))
        names = [name for _, (name, _) in told]
        self.assertEqual(names[:4], ["start", "end", "start", "end"])
        # The first words lie between 0.3 and 2.2 s, and are told of at most half a second behind what decides.
        (heard, (_, start)), (heard_end, (_, end)) = told[:2]
        self.assertLess(abs(start / 16000 - 0.3), 0.15)
        self.assertLess(heard / 16000, 0.8)
        self.assertLess(abs(end / 16000 - 2.2), 0.2)
        self.assertLess((heard_end - end) / 16000, 0.8)
        listening.reset_states()
        self.assertEqual((listening.triggered, listening.current_sample), (False, 0))
        self.assertIsNone(listening(samples[:512]))
        self.assertEqual(listening.current_sample, 512)

    def test_the_iterator_follows_the_probabilities(self):
        listening = silero.VADIterator(speech_pad_ms=0)
        for at, probability in enumerate([0.4, 0.6, 0.4, 0.3] + [0.1] * 9 + [0.9]):
            listening._hear(at * 160, probability)
        # Below 0.35 from the fourth on, 100 ms of it are full with the last but one.
        self.assertEqual(list(listening._waiting), [("start", 160), ("end", 480), ("start", 13 * 160)])
        listening._waiting.popleft()
        self.assertEqual(listening(np.zeros(0, np.float32), return_seconds=True, time_resolution=2), {"end": 0.03})
        self.assertEqual(listening(np.zeros(0, np.float32), return_seconds=True), {"start": 0.1})
        self.assertTrue(listening.triggered)


class Tensors(unittest.TestCase):
    def setUp(self):
        try:
            import torch
        except ImportError:
            self.skipTest("there is no torch")
        self.torch = torch

    def test_they_are_taken_and_given(self):
        torch = self.torch
        samples = silero.read_audio(str(JFK))
        self.assertTrue(torch.is_tensor(samples))
        found = silero.get_speech_timestamps(samples, None)
        self.assertEqual(found, silero.get_speech_timestamps(samples.numpy(), None))
        self.assertEqual(found, silero.get_speech_timestamps(samples.unsqueeze(0), None))
        collected = silero.collect_chunks(found, samples)
        self.assertTrue(torch.is_tensor(collected))
        self.assertEqual(len(collected), sum(one["end"] - one["start"] for one in found))
        answer = silero.load_silero_vad()(torch.zeros(512, requires_grad=True), 16000)
        self.assertEqual((torch.is_tensor(answer), answer.shape, answer.item()), (True, (1, 1), 0))


if __name__ == "__main__":
    unittest.main()
