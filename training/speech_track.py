# SPDX-License-Identifier: Apache-2.0
"""Lays clips of a few talkers on a time line: turns, pauses of all lengths, spliced words, overlaps, near and far voices.

Everything stands on the grid of hops. Beside the voices, one array a talker, goes what is known of each hop: the log-odds of speech that a
network is to learn, the hard label, and a weight.
"""

from dataclasses import dataclass

import numpy as np

from audio_corpus import CERTAIN, HOP, SAMPLE_RATE, mask_to_hops, spans_to_mask
from signal_tools import db, log_uniform, rms, stretched

HOPS_A_SECOND = SAMPLE_RATE // HOP
PAUSE = -1.0  # log-odds below which a hop may be cut
LEAST_CLIP = 10  # hops


@dataclass
class Clip:
    samples: np.ndarray
    log_odds: np.ndarray  # one a hop
    hard: np.ndarray
    weight: np.ndarray
    path: str

    def __len__(self):
        return len(self.log_odds)

    def part(self, first, past):
        return Clip(self.samples[first * HOP:past * HOP], self.log_odds[first:past], self.hard[first:past], self.weight[first:past], self.path)

    def level(self):
        speech = np.repeat(self.hard == 1, HOP)
        return rms(self.samples[speech]) if speech.any() else rms(self.samples)


@dataclass
class Track:
    voices: list  # float arrays, one a talker
    log_odds: np.ndarray
    hard: np.ndarray
    weight: np.ndarray
    used: list


def pause_log_odds(speech):
    """What silence between clips is worth: short pauses are less certain than long ones. -1.5 beside speech, -6 from 0.75 s away, CERTAIN at most."""
    at = np.flatnonzero(speech)
    if not len(at):
        return np.full(len(speech), -CERTAIN)
    hops = np.arange(len(speech))
    after = np.searchsorted(at, hops)
    nearest = np.minimum(np.abs(hops - at[np.minimum(after, len(at) - 1)]), np.abs(hops - at[np.maximum(after - 1, 0)]))
    return -np.minimum(CERTAIN, 1.5 + 6.0 * nearest / HOPS_A_SECOND)


class ClipSource:
    """Draws clips by talker: a file's chance grows with its length, a talker's with a root of his share, so that nobody fills the set."""

    def __init__(self, corpus, recordings):
        self.corpus = corpus
        self.by_speaker = {}
        for r in recordings:
            self.by_speaker.setdefault(r.speaker, []).append(r)
        self.speakers = sorted(self.by_speaker)
        weight = np.array([sum(r.seconds for r in self.by_speaker[s]) for s in self.speakers]) ** 0.6
        self.p = weight / weight.sum()

    def talkers(self, rng, count):
        return [self.speakers[i] for i in rng.choice(len(self.speakers), count, p=self.p)]

    def whole(self, recording, first=0, past=None):
        """Samples first to past of a recording, cut to whole hops."""
        pcm = self.corpus.samples(recording)
        hops = len(pcm) // HOP
        first = first // HOP
        past = hops if past is None else min(hops, past // HOP)
        log_odds, clip = self.corpus.log_odds(recording, hops)
        spans = self.corpus.speech_spans(recording) if recording.label else []
        hard = mask_to_hops(spans_to_mask(spans, hops * HOP)) if recording.label else (log_odds > 0).astype(np.uint8)
        weight = np.where(self.corpus.trusted(recording, hops), 1.0, 0.0)
        log_odds = np.where(clip, log_odds, -CERTAIN)
        return Clip(pcm[first * HOP:past * HOP].astype(np.float64), log_odds[first:past], hard[first:past], weight[first:past], recording.path)

    def clip(self, rng, talker):
        """One clip of a talker with something said in it, of 1 to 16 s, or None."""
        recordings = self.by_speaker[talker]
        recording = recordings[int(rng.integers(len(recordings)))]
        span = recording.clips[int(rng.integers(len(recording.clips)))] if recording.clips else (0, None)
        clip = self.whole(recording, *span)
        limit = int(rng.uniform(1.0, 16.0) * HOPS_A_SECOND)
        if len(clip) > limit:  # cut in a pause, so that sentences of all lengths occur
            quiet = np.flatnonzero(clip.log_odds[limit:] < PAUSE)
            clip = clip.part(0, limit + (int(quiet[0]) if len(quiet) else len(clip) - limit))
        if len(clip) < LEAST_CLIP or not clip.hard.any():
            return None
        return varied(rng, clip)


def varied(rng, clip):
    """Another speed now and then, and silent ends cut off in half of the clips."""
    if rng.random() < 0.3:
        factor = float(rng.uniform(0.9, 1.12))
        hops = int(len(clip) / factor)
        at = np.minimum((np.arange(hops) * factor).astype(np.int64), len(clip) - 1)
        samples = np.zeros(hops * HOP)
        faster = stretched(clip.samples, factor)[:hops * HOP]
        samples[:len(faster)] = faster
        clip = Clip(samples, clip.log_odds[at], clip.hard[at], clip.weight[at], clip.path)
    if rng.random() < 0.5:
        loud = np.flatnonzero(clip.log_odds > -2.0)
        if len(loud):
            clip = clip.part(max(0, int(loud[0]) - 3), min(len(clip), int(loud[-1]) + 4))
    return clip if clip.hard.any() else None


def spliced(rng, clip):
    """The clip as pieces, cut in its own pauses, with the hops of silence that follow each."""
    quiet = np.flatnonzero(clip.log_odds < PAUSE)
    quiet = quiet[(quiet > LEAST_CLIP) & (quiet < len(clip) - LEAST_CLIP)]
    if not len(quiet) or rng.random() < 0.5:
        return [(clip, 0)]
    cuts = np.unique(rng.choice(quiet, min(len(quiet), int(rng.integers(1, 4)))))
    edges = [0, *(int(c) for c in cuts), len(clip)]
    return [(clip.part(a, b), int(log_uniform(rng, 10, 60)) if b < len(clip) else 0) for a, b in zip(edges[:-1], edges[1:])]


def faded(samples):
    fade = min(80, len(samples) // 2)
    samples = samples.copy()
    samples[:fade] *= np.linspace(0.0, 1.0, fade)
    samples[len(samples) - fade:] *= np.linspace(1.0, 0.0, fade)
    return samples


def talker_levels(rng, count, apart):
    """Decibels of each talker. A share `apart` of the sessions has some across the table: 10 to 30 dB below the nearest."""
    if rng.random() < apart:
        far = -rng.uniform(10.0, 30.0, count)
        far[0] = 0.0
        return rng.permutation(far)
    return rng.normal(0.0, 2.5, count)


def step_to_next(rng, length, pause_scale):
    """Hops from the begin of one clip to the begin of the next: overlap, a short pause, or a long one."""
    way = rng.random()
    if way < 0.12:
        return max(LEAST_CLIP, length - int(rng.uniform(0.2, 2.5) * HOPS_A_SECOND))
    if way < 0.45:
        return length + int(log_uniform(rng, 10, 60))
    return length + int(log_uniform(rng, 30, 800) * pause_scale)


def speech_track(source, rng, n_hops, apart=0.25):
    """Clips of one to four talkers. Voices at an active level of about 1.0."""
    names = source.talkers(rng, int(rng.choice([1, 1, 2, 2, 3, 4])))
    levels = talker_levels(rng, len(names), apart)
    track = Track([np.zeros(n_hops * HOP) for _ in names], np.full(n_hops, -np.inf), np.zeros(n_hops, np.uint8), np.ones(n_hops), [])
    pause_scale = float(rng.choice([0.5, 1.0, 1.0, 2.0]))
    at_once = rng.random() < 0.3
    position = 0 if at_once else int(rng.uniform(0.1, 3.0) * HOPS_A_SECOND)
    tries = 0
    while position < n_hops - HOPS_A_SECOND // 2 and tries < 1000:
        tries += 1
        who = int(rng.integers(len(names)))
        clip = source.clip(rng, names[who])
        if clip is None:
            continue
        if position == 0 and rng.random() < 0.6 and len(clip) > 3 * LEAST_CLIP:  # a session that begins inside a word
            clip = clip.part(int(rng.integers(0, len(clip) // 2)), len(clip))
        gain = db(levels[who] + rng.normal(0.0, 1.5)) / max(clip.level(), 1.0)
        begin = position
        for piece, silence in spliced(rng, clip):
            lay(track, who, piece, position, gain)
            position += len(piece) + silence
        track.used.append(clip.path)
        position = begin + step_to_next(rng, position - begin, pause_scale)
    uncovered = np.isneginf(track.log_odds)
    track.log_odds[uncovered] = pause_log_odds(track.log_odds > 0.0)[uncovered]
    return track


def lay(track, who, clip, position, gain):
    hops = min(len(clip), len(track.log_odds) - position)
    if hops <= 0:
        return
    where = slice(position, position + hops)
    track.voices[who][position * HOP:(position + hops) * HOP] += faded(clip.samples[:hops * HOP]) * gain
    # Speech of one talker stays speech under another one's pause; what is doubtful stays so only where nobody else certainly speaks.
    louder = clip.log_odds[:hops] > track.log_odds[where]
    track.weight[where] = np.where(louder, clip.weight[:hops], track.weight[where])
    track.log_odds[where] = np.maximum(track.log_odds[where], clip.log_odds[:hops])
    track.hard[where] |= clip.hard[:hops]
