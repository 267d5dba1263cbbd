# SPDX-License-Identifier: Apache-2.0
"""Scores of the engine itself (wvad-blocks --scores) and of the integer references over the same frames, the engine's rules behind them, and the
audio that asks most of the arithmetic."""

import os
import shutil
import subprocess
import wave

import numpy as np

import quantised_dnn
import quantised_lstm
from audio_corpus import SAMPLE_RATE
from model_file import ModelFile, read_network
from operating_point import THRESHOLD

TOGETHER = 256  # recordings that the reference takes at a time


def frame_energies(samples, n_frames, rate=SAMPLE_RATE):
    """ln of the energy of each frame of 25 ms about its mean; 0 for an all-zero frame."""
    size = rate // 40
    if len(samples) < size:
        return np.zeros(n_frames)
    windows = np.lib.stride_tricks.sliding_window_view(samples.astype(np.float32), size)[::rate // 100][:n_frames]
    energy = np.square(windows - windows.mean(axis=1, keepdims=True)).sum(axis=1)
    out = np.zeros(n_frames)
    out[:len(energy)] = np.where(energy > 0, np.log(np.maximum(energy, 1e-30)), 0.0)
    return out


def held_decisions(speech_probability, energies, energy_floor):
    """Speech after the hold-over and the energy floor."""
    out = np.zeros(len(speech_probability), bool)
    hold = 0
    for i, (p, e) in enumerate(zip(speech_probability, energies)):
        positive = p - (1.0 - p) >= 2 * THRESHOLD - 1
        if not positive:
            hold = 2
        elif hold:
            hold -= 1
            positive = False
        if e < energy_floor:
            positive, hold = False, 2
        out[i] = positive
    return out


def put(folder, name, samples, rate=SAMPLE_RATE):
    path = os.path.join(folder, f"{name}.wav".replace(" ", "_"))
    with wave.open(path, "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(rate)
        out.writeframes(samples.astype(np.int16).tobytes())
    return path


def samples_of(path):
    """The samples of a file that `put` wrote."""
    with wave.open(path, "rb") as file:
        return np.frombuffer(file.readframes(file.getnframes()), "<i2")


def build_extremes(folder, rate=SAMPLE_RATE):
    """Audio that asks most of the arithmetic."""
    os.makedirs(folder, exist_ok=True)
    rng = np.random.default_rng(3)
    n = 6 * rate
    t = np.arange(n)
    sounds = {"noise": rng.integers(-32768, 32768, n), "clicks": np.where(t % 3200 == 0, 32767, 0),
              "alternating": np.where(t % 2 == 0, 32767, -32768), "constant": np.full(n, -32768)}
    for hertz in (50, 440, 3900):
        sounds[f"square {hertz}"] = np.where(np.sin(2 * np.pi * hertz * t / rate) >= 0, 32767, -32768)
    half = t // (rate // 2) % 2 == 0
    for name in list(sounds):
        sounds[f"bursts of {name}"] = np.where(half, 0, sounds[name])
    return [put(folder, f"extreme {name}", samples, rate) for name, samples in sounds.items()]


def run_blocks(program, out, paths, *options):
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    with open(os.path.join(out, "list.txt"), "w", encoding="utf-8") as handle:
        handle.write("\n".join(paths) + "\n")
    subprocess.run([program, "--out", out, "--list", os.path.join(out, "list.txt"), "--jobs", "2", *options], check=True)


def array_of(folder, path):
    return os.path.join(folder, os.path.splitext(os.path.basename(path))[0] + ".npy")


def load_pairs(path):
    """Pairs of the engine, not-a-number taken as silence, and how many of those there were."""
    pairs = np.load(path)
    broken = ~np.isfinite(pairs).all(axis=1)
    pairs[broken] = [0.0, 1.0]
    return pairs, int(broken.sum())


class DnnReference:
    """Compares pairs with the integers of a feed-forward network."""

    def __init__(self, network):
        self.network, self.counts = network, quantised_dnn.Counts()
        self.options = ["--centre"]

    def pairs(self, sessions):
        return [quantised_dnn.session_pairs(self.network, x, self.counts) for x in sessions]

    def summary(self):
        return {"frames": self.counts.frames, "wraps": self.counts.wraps(), "greatest_sums": [round(x, 4) for x in self.counts.greatest_sum],
                "worst_case_of_any_input": [round(x, 4) for x in self.network.worst_case()],
                "clipped_weights": self.network.clipped_weights()}


class LstmReference:
    """Compares pairs with the integers of a recurrent network."""

    def __init__(self, network, priming_frames):
        self.network, self.counts, self.priming = network, quantised_lstm.Counts(), priming_frames // quantised_lstm.STACKED
        self.options = ["--model", network.kind]

    def pairs(self, sessions):
        return quantised_lstm.run_sessions(self.network, sessions, self.counts, self.priming)

    def summary(self):
        form = quantised_lstm.form_of(self.network)
        return {"steps": self.counts.steps, "wraps": self.counts.wraps(), "wrapped": self.counts.wrapped, "clipped": self.counts.clipped,
                "greatest_shares": {place: round(share, 4) for place, share in self.counts.greatest.items()},
                "clipped_weights": form.clipped_weights(), "products_that_can_clip": form.saturating()}


def reference_of(path):
    network, file = read_network(path), ModelFile(path)
    return DnnReference(network) if file.kind == "dnn_fb75" else LstmReference(network, int(file.keys["3"]))


def rate_of_model(path):
    return int(ModelFile(path).keys["4"])


def compare(program, model, paths, work):
    """The engine's pairs of all recordings, into WORK/scores, against the integers; what the reference counted and the greatest difference."""
    reference = reference_of(model)
    scores, frames = os.path.join(work, "scores"), os.path.join(work, "frames")
    at_rate = ["--rate", str(rate_of_model(model))]
    run_blocks(program, scores, paths, *at_rate, "--scores", model)
    run_blocks(program, frames, paths, *at_rate, *reference.options)
    difference, not_a_number = 0.0, 0
    for first in range(0, len(paths), TOGETHER):
        part = paths[first:first + TOGETHER]
        for path, expected in zip(part, reference.pairs([np.load(array_of(frames, path)) for path in part])):
            pairs, broken = load_pairs(array_of(scores, path))
            not_a_number += broken
            if not 0 <= len(pairs) - len(expected) <= 8:
                raise SystemExit(f"{path}: {len(pairs)} pairs from the engine, {len(expected)} from the reference")
            difference = max(difference, float(np.abs(expected - pairs[:len(expected)]).max(initial=0.0)))
    shutil.rmtree(frames, ignore_errors=True)
    return {**reference.summary(), "greatest_difference_to_engine": difference, "pairs_not_a_number": not_a_number}
