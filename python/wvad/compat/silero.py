# SPDX-License-Identifier: Apache-2.0
"""The calls of Silero VAD over this engine: names, arguments and results are those of its documentation, the decisions are this engine's.

    from wvad.compat.silero import get_speech_timestamps, load_silero_vad, read_audio

    model = load_silero_vad()
    speech = get_speech_timestamps(read_audio("talk.mp3"), model, return_seconds=True)

Arrays of NumPy and, where torch is there, tensors; results are of the kind that was given. What differs: any rate from 4000 to 192000 Hz is taken, in place
of 8000, 16000 and its multiples. Whole audio is heard by the profile "default". Chunk by chunk (the model called, VADIterator) the profile
"fast" is used, and a probability is known some 0.2 s after its audio: VADIterator tells of the right places that much later, and a call of the
model answers for the audio of that long ago.
"""
from __future__ import annotations

import importlib
import os
import secrets
import wave
from collections import deque
from typing import Any, Callable, Deque, Dict, Iterator, List, Optional, Tuple, Union

import numpy as np

from .. import _samples, audio, segments
from .._types import Array
from ..model import ModelLike
from ..stream import Stream

_FRAME_MS = 10
Timestamps = List[Dict[str, Any]]


def _module(name: str) -> Any:
    """A package that need not be there, loaded where it is used."""
    return importlib.import_module(name)


def _array(samples: Any) -> Array:
    """As a NumPy array, whatever device a tensor lies on."""
    return _samples.as_array(samples.detach().cpu().numpy() if hasattr(samples, "detach") else samples)


def _like(given: Any, array: Array) -> Any:
    """`array` as a tensor, if `given` is one."""
    if not hasattr(given, "detach"):
        return array
    return _module("torch").from_numpy(np.ascontiguousarray(array))


def _one_dimension(samples: Any) -> Array:
    array = np.squeeze(_array(samples))
    if array.ndim > 1:
        raise ValueError("More than one dimension in audio. Are you trying to process audio with 2 channels?")
    return array.reshape(-1)


class SileroModel:
    """What load_silero_vad gives: answers chunk after chunk of one or several pieces of audio, and keeps their state.

    Args: `model` is one of this engine's as `wvad.segment` takes it; None for the bundled one that suits.
    """

    def __init__(self, model: ModelLike = None) -> None:
        self.model = model
        self._streams: List[Stream] = []
        self._last: List[float] = []

    def reset_states(self, batch_size: int = 1) -> None:
        """Forgets what was heard."""
        for stream in self._streams:
            stream.close()
        self._streams, self._last = [], []

    def __call__(self, x: Any, sr: int) -> Any:
        """The probability of speech, [batch, 1], as it was known behind the chunk `x` [512] or [batch, 512] (256 at 8000 Hz, 512 for each 16000
        Hz above); 0 where nothing is known yet. Raises ValueError for chunks of another length."""
        chunks = np.atleast_2d(_array(x))
        wanted = _chunk(sr)
        if chunks.shape[1] != wanted:
            raise ValueError(f"Provided number of samples is {chunks.shape[1]}, expected {wanted} at {sr} Hz")
        if [stream.rate for stream in self._streams] != [sr] * len(chunks):
            self.reset_states()
            self._streams = [Stream(sr, profile="fast", model=self.model, probability=True) for _ in chunks]
            self._last = [0.0] * len(chunks)
        for row, (stream, chunk) in enumerate(zip(self._streams, chunks)):
            for event in stream.push(chunk):
                if event.probability is not None:
                    self._last[row] = event.probability
        return _like(x, np.array(self._last, np.float32)[:, None])

    def audio_forward(self, x: Any, sr: int) -> Any:
        """The probability of each chunk of whole audio [frames] or [batch, frames]: [batch, chunks], without delay."""
        self.reset_states()
        rows = []
        for row in np.atleast_2d(_array(x)):
            values = segments.scores(row, sr, model=self.model)
            starts = np.arange(0, len(row), _chunk(sr))
            middles = np.minimum((starts + _chunk(sr) // 2) * 100 // sr, max(len(values) - 1, 0))
            rows.append(values[middles] if len(values) else np.zeros(len(starts), np.float32))
        return _like(x, np.stack(rows))


def _chunk(rate: int) -> int:
    return 256 if rate == 8000 else 512 * max(1, rate // 16000)


def load_silero_vad(onnx: bool = False, opset_version: int = 16, *, model: ModelLike = None) -> SileroModel:
    """A model for the other calls. `onnx` and `opset_version` have no effect; `model` is one of this engine's."""
    return SileroModel(model)


def read_audio(path: Any, sampling_rate: int = 16000) -> Any:
    """A recording as one channel (the mean of all) at `sampling_rate`: float32 [frames], full scale 1.0; a tensor where torch is there. Raises as
    wvad.AudioFile."""
    samples = audio.read(path, rate=sampling_rate)[0].mean(axis=1, dtype=np.float32)
    try:
        return _module("torch").from_numpy(samples)
    except ImportError:
        return samples


def save_audio(path: str, tensor: Any, sampling_rate: int = 16000) -> None:
    """Samples [frames] or [channels, frames] as a WAV file of 16 bits; what is beyond full scale is clipped. A file of that name is replaced
    when the new one is whole. Raises ValueError for a name that does not end in .wav."""
    if os.path.splitext(os.fspath(path))[1].lower() != ".wav":
        raise ValueError(f"{path}: only WAV files are written; let the name end in .wav")
    rows = np.atleast_2d(_array(tensor))
    if rows.dtype.kind == "f":
        rows = np.clip(np.rint(rows * 32768.0), -32768, 32767)
    elif rows.dtype.itemsize == 4:
        rows = rows >> 16
    folder, name = os.path.split(os.path.abspath(path))
    scratch = os.path.join(folder, f".{name}.{secrets.token_hex(4)}")
    handle = os.open(scratch, os.O_RDWR | os.O_CREAT | os.O_EXCL, 0o666)  # less the mask of the process, as any file
    try:
        with os.fdopen(handle, "wb") as file, wave.open(file, "wb") as out:
            out.setnchannels(rows.shape[0])
            out.setsampwidth(2)
            out.setframerate(sampling_rate)
            out.writeframes(rows.T.astype("<i2").tobytes())
        os.replace(scratch, path)
    except BaseException:
        os.unlink(scratch)
        raise


def get_speech_timestamps(audio: Any, model: Optional[SileroModel] = None, threshold: float = 0.5, sampling_rate: int = 16000,
                          min_speech_duration_ms: int = 250, max_speech_duration_s: float = float("inf"),
                          min_silence_duration_ms: int = 100, speech_pad_ms: int = 30, return_seconds: bool = False,
                          time_resolution: int = 1, visualize_probs: bool = False,
                          progress_tracking_callback: Optional[Callable[[float], None]] = None, neg_threshold: Optional[float] = None,
                          window_size_samples: int = 512, min_silence_at_max_speech: float = 98,
                          use_max_poss_sil_at_max_speech: bool = True) -> Timestamps:
    """The stretches of speech in `audio` [frames]: [{"start": ..., "end": ...}], in samples, or in seconds with `return_seconds`, then rounded to
    `time_resolution` digits.

    Speech begins where a probability is `threshold` or above, and ends where it falls below `neg_threshold` (threshold - 0.15) for
    `min_silence_duration_ms`. Stretches below `min_speech_duration_ms` are dropped; one that would be longer than `max_speech_duration_s` is cut at
    its longest pause of `min_silence_at_max_speech` ms and more (or the last such), or else there. `speech_pad_ms` is put to both sides, as far as
    there is room. `progress_tracking_callback` gets percents. `window_size_samples` has no effect.

    Raises ValueError for audio of more than one channel, TypeError for what is no audio.
    """
    samples = _one_dimension(audio)
    chosen = model.model if model is not None else None
    values = segments.scores(_told(samples, sampling_rate, progress_tracking_callback), sampling_rate, model=chosen)
    if visualize_probs:
        _show(values)
    exit_threshold = max(threshold - 0.15, 0.01) if neg_threshold is None else neg_threshold
    longest = (1000 * max_speech_duration_s - 2 * speech_pad_ms) / _FRAME_MS
    spans = [(begin, end) for begin, end in _spans(values, threshold, exit_threshold, min_silence_duration_ms / _FRAME_MS, max(longest, 1),
                                                   min_silence_at_max_speech / _FRAME_MS, use_max_poss_sil_at_max_speech)
             if (end - begin) * _FRAME_MS >= min_speech_duration_ms]
    places = [(begin * sampling_rate // 100, min(end * sampling_rate // 100, len(samples))) for begin, end in spans]
    padded = _padded(places, sampling_rate * speech_pad_ms // 1000, len(samples))
    if not return_seconds:
        return [{"start": start, "end": end} for start, end in padded]
    return [{"start": round(start / sampling_rate, time_resolution), "end": round(end / sampling_rate, time_resolution)} for start, end in padded]


def _told(samples: Array, rate: int, callback: Optional[Callable[[float], None]]) -> Iterator[Array]:
    """A second at a time; the callback hears of each when it has been worked on."""
    yield samples[:0]
    for begin in range(0, len(samples), rate):
        yield samples[begin:begin + rate]
        if callback is not None:
            callback(100 * min(begin + rate, len(samples)) / len(samples))


def _spans(values: Array, threshold: float, exit_threshold: float, min_silence: float, longest: float, min_pause: float,
           cut_at_longest: bool) -> Iterator[Tuple[int, int]]:
    """Stretches of speech in frames of 10 ms, [begin, end)."""
    begin = quiet = None  # of the speech, and of the silence in it that may end it
    pauses: List[Tuple[int, int]] = []
    for frame, value in enumerate(values.tolist()):
        if value >= threshold:
            if quiet is not None and frame - quiet >= min_pause:
                pauses.append((quiet, frame))
            quiet = None
            begin = frame if begin is None else begin
        if begin is not None and frame - begin >= longest:
            if pauses:
                pause = max(pauses, key=lambda one: one[1] - one[0]) if cut_at_longest else pauses[-1]
                yield begin, pause[0]
                begin = pause[1]
                pauses = [one for one in pauses if one[0] > begin]
            else:
                yield begin, frame if quiet is None else quiet
                begin, quiet = (frame if value >= threshold else None), None
        if begin is not None and value < exit_threshold:
            quiet = frame if quiet is None else quiet
            if frame + 1 - quiet >= min_silence:
                yield begin, quiet
                begin, quiet, pauses = None, None, []
    if begin is not None:
        yield begin, len(values)


def _padded(places: List[Tuple[int, int]], pad: int, length: int) -> List[Tuple[int, int]]:
    """Each with `pad` samples more on both sides; two that come closer than that share what is between them."""
    starts = [start for start, _ in places]
    ends = [end for _, end in places]
    for i in range(len(places)):
        room = starts[i] if i == 0 else places[i][0] - places[i - 1][1]
        before = min(pad, room if i == 0 else room - room // 2)
        starts[i] -= before
        if i > 0:
            ends[i - 1] += min(pad, room // 2)
    if places:
        ends[-1] = min(ends[-1] + pad, length)
    return list(zip(starts, ends))


def _show(values: Array) -> None:
    pyplot = _module("matplotlib.pyplot")
    pyplot.figure(figsize=(16, 8))
    pyplot.fill_between(np.arange(len(values)) / 100, values)
    pyplot.ylim(0, 1.05)
    pyplot.xlabel("seconds")
    pyplot.ylabel("speech probability")


class VADIterator:
    """Speech in audio that comes chunk by chunk: a call gives None, {"start": ...} or {"end": ...}.

    Args: as of get_speech_timestamps; `model` is what load_silero_vad gives, or None.
    """

    def __init__(self, model: Optional[SileroModel] = None, threshold: float = 0.5, sampling_rate: int = 16000,
                 min_silence_duration_ms: int = 100, speech_pad_ms: int = 30) -> None:
        self.model = model
        self.threshold = threshold
        self.sampling_rate = sampling_rate
        self.min_silence_samples = sampling_rate * min_silence_duration_ms / 1000
        self.speech_pad_samples = sampling_rate * speech_pad_ms // 1000
        self._stream = Stream(sampling_rate, profile="fast", model=model.model if model is not None else None, probability=True)
        self.reset_states()

    def reset_states(self) -> None:
        """Begins anew, at sample 0."""
        self._stream.reset()
        self.triggered = False
        self.temp_end: Optional[int] = None
        self.current_sample = 0
        self._waiting: Deque[Tuple[str, int]] = deque()

    def __call__(self, x: Any, return_seconds: bool = False, time_resolution: int = 1) -> Optional[Dict[str, Union[int, float]]]:
        """Takes the next chunk, of any length. Places are samples from the start of the audio, or seconds; of several that one chunk brings,
        the later ones come with the calls behind it."""
        chunk = _one_dimension(x)
        for event in self._stream.push(chunk):
            if event.probability is not None:
                self._hear(event.time_frame, event.probability)
        self.current_sample += len(chunk)
        if not self._waiting:
            return None
        name, place = self._waiting.popleft()
        return {name: round(place / self.sampling_rate, time_resolution) if return_seconds else place}

    def _hear(self, at: int, probability: float) -> None:
        if probability >= self.threshold:
            self.temp_end = None
            if not self.triggered:
                self.triggered = True
                self._waiting.append(("start", max(0, at - self.speech_pad_samples)))
        elif self.triggered and probability < max(self.threshold - 0.15, 0.01):
            self.temp_end = at if self.temp_end is None else self.temp_end
            if at + self.sampling_rate // 100 - self.temp_end >= self.min_silence_samples:
                self._waiting.append(("end", self.temp_end + self.speech_pad_samples))
                self.triggered, self.temp_end = False, None


def collect_chunks(tss: Timestamps, wav: Any, seconds: bool = False, sampling_rate: Optional[int] = None) -> Any:
    """The stretches `tss` of `wav` [frames] one behind the other, of the kind of `wav`. With `seconds` they are such, at `sampling_rate`."""
    return _join(wav, _in_samples(tss, seconds, sampling_rate))


def drop_chunks(tss: Timestamps, wav: Any, seconds: bool = False, sampling_rate: Optional[int] = None) -> Any:
    """What is left of `wav` [frames] without the stretches `tss`."""
    places = _in_samples(tss, seconds, sampling_rate)
    return _join(wav, list(zip([0] + [end for _, end in places], [start for start, _ in places] + [len(wav)])))


def _in_samples(tss: Timestamps, seconds: bool, rate: Optional[int]) -> List[Tuple[int, int]]:
    if seconds and not rate:
        raise ValueError("sampling_rate must be provided when seconds is True")
    scale = rate if seconds and rate else 1
    return [(round(one["start"] * scale), round(one["end"] * scale)) for one in tss]


def _join(wav: Any, places: List[Tuple[int, int]]) -> Any:
    pieces = [wav[start:end] for start, end in places] or [wav[:0]]
    if not hasattr(wav, "detach"):
        return np.concatenate([np.asarray(piece) for piece in pieces])
    return _module("torch").cat(pieces)
