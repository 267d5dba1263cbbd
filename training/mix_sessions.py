# SPDX-License-Identifier: Apache-2.0
"""Mixes labelled speech with noise, music, rooms, levels, channels and pauses into training sessions.

    mix_sessions.py --corpus DIR --out DIR --split train --hours 12 --seed 1

Writes OUT/SPLIT/pcm/NNNNN.s16 (16-bit mono at 16 kHz), OUT/SPLIT/labels/NNNNN.npy (int16, one row a 10 ms hop: speech 0 or 1, weight in percent,
ten times the log-odds of speech), OUT/SPLIT/sessions.txt (the PCM files in order, as wvad-blocks wants them) and OUT/SPLIT/sessions.jsonl (how each
was made).

Session N depends on (seed, split, N) and the corpus alone, not on the number of worker processes. A second run goes on where the first was stopped.
"""

import argparse
import json
import multiprocessing
import os
import zlib

import numpy as np

from audio_corpus import CERTAIN, EXCLUDED_LICENCES, HOP, SAMPLE_RATE, Corpus
from background_sound import Backgrounds
from channel_effects import through_channel
from made_sounds import coloured_noise, disturbance
from signal_tools import convolve, db, log_uniform, rms, shape_spectrum, smooth_curve, stretched, tilt_curve
from simulated_rooms import LEAD, impulse_response, random_room, random_source
from speech_track import ClipSource, speech_track
from varied_sound import resonances

# Shares of the kinds of session.
KINDS = [("speech", 0.48), ("table", 0.18), ("recorded", 0.06), ("noise", 0.16), ("music", 0.07), ("silence", 0.03), ("gap", 0.02),
         ("varied", 0.0), ("disguised", 0.0)]  # only where they are asked for
UNHEARD_DB = -22.0  # speech so far below its background is neither speech nor silence
FAINT_DB = -12.0
# A voice of a few steps of a 16-bit sample is crosstalk or a voice next door, in nobody's words speech; of full scale.
NOBODYS_DB = -78.0
HARDLY_DB = -72.0
NOT_SPEECH = -30  # ten times the log-odds
BLOCK = 64  # sessions handed out at a time


def hop_power(x):
    return np.square(x[:len(x) // HOP * HOP].reshape(-1, HOP)).mean(axis=1)


def audible_weight(log_odds, voice, background):
    """1, less for speech that its background nearly hides, 0 for speech that it hides."""
    smooth = np.ones(9) / 9.0
    ratio = 10.0 * np.log10((np.convolve(hop_power(voice), smooth, "same") + 1e-6) / (np.convolve(hop_power(background), smooth, "same") + 1e-6))
    weight = np.where(ratio < UNHEARD_DB, 0.0, np.where(ratio < FAINT_DB, 0.3, 1.0))
    return np.where(log_odds > -1.0, weight, 1.0)


def without_inaudible(samples, rows):
    """Label rows in which what no ear would notice is no speech, and what few would counts little."""
    level = 10.0 * np.log10(np.convolve(hop_power(samples / 32768.0), np.ones(9) / 9.0, "same") + 1e-12)
    hard, weight, log_odds = rows.T
    nobodys = level < NOBODYS_DB
    hardly = ~nobodys & (level < HARDLY_DB) & (log_odds > NOT_SPEECH)
    return np.stack([np.where(nobodys, 0, hard), np.where(hardly, 3 * weight // 10, weight), np.where(nobodys, np.minimum(log_odds, NOT_SPEECH), log_odds)],
                    axis=1)


def tail_weight(hard, t60):
    """Less where a room still sounds after speech."""
    weight = np.ones(len(hard))
    if t60:
        for edge in np.flatnonzero(np.diff(hard.astype(np.int8)) < 0):
            weight[edge + 1:edge + 1 + int(t60 * 35)] = 0.4
    return np.where(hard == 1, 1.0, weight)


def weighed(track, voice, background, t60):
    """Samples, hard labels, weights and log-odds of a session."""
    weight = track.weight * audible_weight(track.log_odds, voice, background) * tail_weight(track.hard, t60)
    return voice + background, track.hard, weight, track.log_odds


class Mixer:
    def __init__(self, corpus, split, seed, only=None):
        self.corpus, self.split, self.seed, self.only = corpus, split, seed, only
        speech = corpus.select("speech", split, lambda r: r.label_quality in ("good", "fair"))
        self.backgrounds = Backgrounds(corpus, split)
        if not speech or not self.backgrounds.alone:
            raise SystemExit(f"the corpus has no labelled speech or no noise in the split '{split}'")
        self.source = ClipSource(corpus, speech)
        self.recorded = corpus.select("conversation", split, corpus.has_log_odds)
        self.rooms = corpus.select("rir", split, lambda r: r.subcategory != "telephone filter")

    def measured_room(self, rng):
        recording = self.rooms[int(rng.integers(len(self.rooms)))]
        h = self.corpus.samples(recording).astype(np.float64)
        peak = int(np.argmax(np.abs(h)))
        h = h[max(0, peak - 80):]
        peak = min(peak, 80)
        t60 = log_uniform(rng, 0.12, 0.9)
        tail = np.arange(len(h)) - peak
        h = h * np.where(tail > 0, 10.0 ** (-3.0 * tail / SAMPLE_RATE / t60), 1.0)
        h[peak + 40:] *= rng.uniform(0.3, 1.0)
        h = h[:peak + int(1.2 * t60 * SAMPLE_RATE) + 200]
        return h / np.sqrt(np.sum(h * h)), peak, t60, recording.path

    def in_simulated_room(self, rng, track, about):
        """Each voice from its own place around the table; and the reverberation time."""
        n = len(track.voices[0])
        room = random_room(rng)
        about["room"] = f"simulated {room.t60:.2f} s"
        return sum(convolve(v, impulse_response(rng, room, random_source(rng, room)))[LEAD:LEAD + n] for v in track.voices), room.t60

    def in_room(self, rng, track, about):
        """The voices together, dry, in a measured room, or in a simulated one; and the reverberation time."""
        way = rng.random()
        if way < 0.22 and self.rooms:
            n = len(track.voices[0])
            h, peak, t60, about["room"] = self.measured_room(rng)
            return convolve(sum(track.voices), h)[peak:peak + n], t60
        return self.in_simulated_room(rng, track, about) if way < 0.50 else (sum(track.voices), 0.0)

    def speech_session(self, rng, n, about):
        track = speech_track(self.source, rng, n // HOP)
        voice, t60 = self.in_room(rng, track, about)
        level_db = float(rng.uniform(-38.0, -10.0)) if rng.random() < 0.6 else float(rng.uniform(-60.0, -6.0))
        voice = self.at_level(rng, voice, track, level_db, about)
        background = np.zeros(n)
        noise = self.backgrounds.speech_noise(rng, n, about)
        if noise is not None:
            about["snr_db"] = round(float(rng.uniform(-5.0, 30.0)) if rng.random() < 0.6 else float(rng.uniform(0.0, 20.0)), 1)
            background = noise * db(level_db - about["snr_db"]) * 32768.0
        if rng.random() < 0.25:
            around = level_db if rng.random() < 0.5 else -45.0
            background += self.disturbances(rng, n, around, about)
        background += self.floor(rng, n, min(level_db - 10.0, -60.0), about)
        return weighed(track, voice, background, t60)

    def table_session(self, rng, n, about):
        """Talkers around a microphone on a table, some of them far, with what hands and breath do to it."""
        track = speech_track(self.source, rng, n // HOP, apart=0.6)
        voice, t60 = self.in_simulated_room(rng, track, about)
        level_db = float(rng.uniform(-58.0, -26.0))
        voice = self.at_level(rng, voice, track, level_db, about)
        about["snr_db"] = round(float(rng.uniform(2.0, 28.0)), 1)
        background = coloured_noise(rng, n)
        if rng.random() < 0.35:
            noise, about["noise"] = self.backgrounds.recorded(rng, self.backgrounds.behind, n)
            background = db(float(rng.uniform(-15.0, 0.0))) * background + noise
        background *= db(level_db - about["snr_db"]) * 32768.0 / max(rms(background), 1e-9)
        if rng.random() < 0.65:
            background += self.disturbances(rng, n, level_db, about)
        return weighed(track, voice, background, t60)

    def disguised_session(self, rng, n, about):
        """Speech played 0.65 to 1.5 times as fast, pitch and all, under resonances: children, giants, shouts, loudspeakers. Labels keep pace."""
        factor = about["factor"] = round(log_uniform(rng, 0.65, 1.5), 3)
        x, hard, weight, log_odds = self.speech_session(rng, int(n * factor) // HOP * HOP, about)
        x = stretched(x, factor)
        hops = len(x) // HOP
        at = np.minimum(((np.arange(hops) + 0.5) * factor).astype(int), len(hard) - 1)
        x = x[:hops * HOP]
        level = rms(x)
        if rng.random() < 0.6:
            x = shape_spectrum(x, resonances(rng))
            x *= level / max(rms(x), 1e-9)
        return x, hard[at], weight[at], log_odds[at]

    def at_level(self, rng, voice, track, level_db, about):
        """The voices at an active level, coloured and turned away now and then."""
        about["speech"], about["level_db"] = sorted(set(track.used)), round(level_db, 1)
        if rng.random() < 0.4:
            voice = shape_spectrum(voice, tilt_curve(rng))
        if rng.random() < 0.2:  # somebody who turns away and back
            voice = voice * db(smooth_curve(rng, len(voice), float(rng.uniform(1.0, 4.0)), 5.0).clip(-14.0, 8.0))
        active = np.repeat(track.hard == 1, HOP)
        level = rms(voice[active]) if active.any() else 0.0
        return voice * (db(level_db) * 32768.0 / level) if level > 0 else np.zeros(len(voice))

    def disturbances(self, rng, n, level_db, about):
        at_db = float(rng.uniform(level_db - 18.0, level_db + 8.0))
        about["disturbance_db"] = round(at_db, 1)
        return disturbance(rng, n) * db(at_db) * 32768.0

    def floor(self, rng, n, most_db, about):
        """The noise of the recording device, or none."""
        if rng.random() < 0.25:
            return np.zeros(n)
        about["floor_db"] = round(float(rng.uniform(-95.0, max(-94.0, most_db))), 1)
        return coloured_noise(rng, n) * db(about["floor_db"]) * 32768.0

    def recorded_session(self, rng, n, about):
        """A stretch of a real conversation, at another level."""
        recording = self.recorded[int(rng.integers(len(self.recorded)))]
        whole = len(self.corpus.samples(recording)) // HOP * HOP
        first = int(rng.integers(0, max(1, whole - n))) // HOP * HOP
        clip = self.source.whole(recording, first, first + n)
        about["speech"] = [recording.path]
        about["level_db"] = round(float(rng.uniform(-50.0, -10.0)), 1)
        x = clip.samples * db(about["level_db"]) * 32768.0 / max(rms(clip.samples), 1.0)
        extra = self.floor(rng, len(x), about["level_db"] - 15.0, about)
        if rng.random() < 0.25:
            extra = extra + self.disturbances(rng, len(x), about["level_db"] - 6.0, about)
        weight = clip.weight * audible_weight(clip.log_odds, x, extra)
        return x + extra, clip.hard, weight, clip.log_odds

    def gap_session(self, rng, about):
        """Speech, then one to five minutes of digital silence or of a faint floor, then speech."""
        parts = []
        for seconds in (rng.uniform(5.0, 15.0), 0.0, rng.uniform(15.0, 30.0)):
            if seconds:
                parts.append(self.speech_session(rng, int(seconds * SAMPLE_RATE) // HOP * HOP, about))
                continue
            hops = int(log_uniform(rng, 60.0, 320.0) * 100)
            still = coloured_noise(rng, hops * HOP) * db(float(rng.uniform(-95.0, -75.0))) * 32768.0 if rng.random() < 0.4 else np.zeros(hops * HOP)
            parts.append((still, np.zeros(hops, np.uint8), np.ones(hops), np.full(hops, -CERTAIN)))
        return tuple(np.concatenate(columns) for columns in zip(*parts))

    def other_session(self, rng, kind, n, about):
        x = np.zeros(n)
        if kind == "noise":
            x = self.backgrounds.alone_noise(rng, n, about)
        elif kind == "varied":
            x = self.backgrounds.varied_noise(rng, n, about)
        elif kind == "music":
            x, about["noise"] = self.backgrounds.recorded(rng, self.backgrounds.music, n)
        if kind != "silence":
            about["level_db"] = round(float(rng.uniform(-55.0, -8.0)), 1)
            x = x * db(about["level_db"]) * 32768.0
            if rng.random() < 0.3:
                x = shape_spectrum(x, tilt_curve(rng))
        if kind != "silence" or rng.random() < 0.6:
            x = x + self.floor(rng, n, -60.0, about)
        if rng.random() < 0.15:
            x = x + self.disturbances(rng, n, -45.0, about)
        hops = n // HOP
        return x, np.zeros(hops, np.uint8), np.ones(hops), np.full(hops, -CERTAIN)

    def make(self, index):
        """Session `index`: samples as int16, label rows, description."""
        rng = np.random.default_rng([self.seed, zlib.crc32(self.split.encode()), index])
        kind = str(rng.choice([k for k, _ in KINDS], p=[p for _, p in KINDS]))
        kind = self.only or kind
        if (kind == "music" and not self.backgrounds.music) or (kind == "recorded" and not self.recorded):
            kind = "noise"
        spoken = {"speech": self.speech_session, "table": self.table_session, "recorded": self.recorded_session,
                  "disguised": self.disguised_session}
        n = int((rng.uniform(15.0, 60.0) if kind in spoken else rng.uniform(10.0, 40.0)) * SAMPLE_RATE) // HOP * HOP
        about = {"index": index, "kind": kind}
        if kind in spoken:
            x, hard, weight, log_odds = spoken[kind](rng, n, about)
        elif kind == "gap":
            x, hard, weight, log_odds = self.gap_session(rng, about)
        else:
            x, hard, weight, log_odds = self.other_session(rng, kind, n, about)
        if kind != "gap":  # its silence stays what it is
            x = through_channel(rng, x, about)
        about["seconds"] = round(len(x) / SAMPLE_RATE, 2)
        samples = np.clip(np.round(x), -32768, 32767).astype(np.int16)
        rows = np.stack([hard, np.round(100.0 * weight), np.round(10.0 * log_odds)], axis=1).astype(np.int16)
        return samples, without_inaudible(samples, rows), about


_mixer = None
_folder = None


def _start(args):
    global _mixer, _folder
    corpus = Corpus(args.corpus, args.cache, args.exclude_licence)
    _mixer, _folder = Mixer(corpus, args.split, args.seed, args.only), os.path.join(args.out, args.split)


def _work(index):
    """Makes a session, or finds it made: its description is written last."""
    done = os.path.join(_folder, "about", f"{index:05d}.json")
    if not os.path.exists(done):
        samples, labels, about = _mixer.make(index)
        samples.tofile(os.path.join(_folder, "pcm", f"{index:05d}.s16"))
        np.save(os.path.join(_folder, "labels", f"{index:05d}.npy"), labels)
        about["speech_share"] = round(float(labels[:, 0].mean()), 3)
        with open(done + ".part", "w", encoding="utf-8") as handle:
            json.dump(about, handle)
        os.replace(done + ".part", done)
    with open(done, encoding="utf-8") as handle:
        return json.load(handle)


def _decode(recording):
    _mixer.corpus.samples(recording)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--corpus", required=True, help="folder with manifest.csv")
    parser.add_argument("--out", required=True)
    parser.add_argument("--cache", help="folder for decoded audio (default: OUT/cache)")
    parser.add_argument("--split", default="train")
    parser.add_argument("--hours", type=float, default=12.0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", choices=[name for name, _ in KINDS], help="sessions of this kind alone")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--exclude-licence", default=EXCLUDED_LICENCES, help="leave out recordings whose licence matches (default: %(default)s)")
    args = parser.parse_args()
    args.cache = args.cache or os.path.join(args.out, "cache")
    return args


def make_sessions(pool, hours, split):
    """Descriptions in order, until there are `hours`: the set depends on seed and hours alone."""
    done, index, lines = 0.0, 0, []
    while done < hours * 3600.0:
        for about in pool.map(_work, range(index, index + BLOCK), chunksize=2):
            if done < hours * 3600.0:
                done += about["seconds"]
                lines.append(about)
        index += BLOCK
        print(f"{split}: {done / 3600.0:.2f} of {hours} h", flush=True)
    return lines


def main():
    args = parse_arguments()
    folder = os.path.join(args.out, args.split)
    for name in ("pcm", "labels", "about"):
        os.makedirs(os.path.join(folder, name), exist_ok=True)
    _start(args)
    with multiprocessing.Pool(args.jobs, _start, (args,)) as pool:
        wanted = [r for r in _mixer.corpus.recordings
                  if r.split == args.split and r.category in ("speech", "conversation", "noise", "music", "rir")]
        pool.map(_decode, wanted, chunksize=8)
        lines = make_sessions(pool, args.hours, args.split)
    with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as handle:
        handle.writelines(json.dumps(about) + "\n" for about in lines)
    with open(os.path.join(folder, "sessions.txt"), "w", encoding="utf-8") as handle:
        handle.writelines(os.path.abspath(os.path.join(folder, "pcm", f"{about['index']:05d}.s16")) + "\n" for about in lines)


if __name__ == "__main__":
    main()
