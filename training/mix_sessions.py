# SPDX-License-Identifier: Apache-2.0
"""Mixes labelled clean speech with noise, music, rooms, levels, bands and pauses into training sessions.

    mix_sessions.py --corpus DIR --out DIR --split train --hours 12 --seed 1

Writes OUT/SPLIT/pcm/NNNNN.s16 (16-bit mono at 16 kHz), OUT/SPLIT/labels/NNNNN.npy (uint8, one row a 10 ms hop: speech 0 or 1, weight in
percent), OUT/SPLIT/sessions.txt (the PCM files in order, as wvad-blocks wants them) and OUT/SPLIT/sessions.jsonl (how each was made).

Session N depends on (seed, split, N) and the corpus alone, not on the number of worker processes.
"""

import argparse
import json
import multiprocessing
import os
import zlib

import numpy as np

from audio_corpus import HOP, SAMPLE_RATE, Corpus, mask_to_hops, spans_to_mask

# Shares of the kinds of session.
KINDS = [("speech", 0.76), ("noise", 0.11), ("music", 0.09), ("silence", 0.04)]
# Never offered as non-speech: they hold words or many voices. Voices without words may still stand behind speech.
SUNG = "song with sung words"
VOICES = ("crowd", "distant voices")


def rms(x):
    return float(np.sqrt(np.mean(np.square(x, dtype=np.float64)))) if len(x) else 0.0


def db(value):
    return 10.0 ** (value / 20.0)


def next_fast(n):
    size = 1
    while size < n:
        size *= 2
    return min(size, min(k * (1 << max(0, int(np.ceil(np.log2(n / k))))) for k in (3, 5)))


def convolve(x, h):
    n = len(x) + len(h) - 1
    size = next_fast(n)
    return np.fft.irfft(np.fft.rfft(x, size) * np.fft.rfft(h, size), size)[:n]


def shape_spectrum(x, curve):
    """Filters with zero phase by `curve`, a function of the frequency in Hz."""
    size = next_fast(len(x) + SAMPLE_RATE)
    spectrum = np.fft.rfft(x, size)
    spectrum *= curve(np.fft.rfftfreq(size, 1.0 / SAMPLE_RATE))
    return np.fft.irfft(spectrum, size)[:len(x)]


def band_curve(low_hz, high_hz):
    def curve(f):
        up = 1.0 / (1.0 + (low_hz / np.maximum(f, 1.0)) ** 8) if low_hz else 1.0
        down = 1.0 / (1.0 + (f / high_hz) ** 40) if high_hz else 1.0
        return np.sqrt(up * down)

    return curve


def tilt_curve(rng):
    """A smooth random colour of up to about 8 dB, as microphones have."""
    points_hz = np.array([0.0, 150.0, 400.0, 1000.0, 2500.0, 5000.0, 8000.0])
    gain_db = rng.normal(0.0, 3.0, len(points_hz)).clip(-8, 8)
    return lambda f: db(np.interp(f, points_hz, gain_db))


def stretched(x, factor):
    """`x` played `factor` times as fast, pitch and all."""
    return np.interp(np.arange(int(len(x) / factor)) * factor, np.arange(len(x)), x)


def mu_law(x):
    scaled = np.clip(x / 32768.0, -1.0, 1.0)
    code = np.round(np.sign(scaled) * np.log1p(255.0 * np.abs(scaled)) / np.log(256.0) * 127.0) / 127.0
    return np.sign(code) * (np.exp(np.abs(code) * np.log(256.0)) - 1.0) / 255.0 * 32768.0


def coloured_noise(rng, n):
    """Steady noise with a random slope, with or without hum; unit power."""
    slope_db = rng.uniform(-8.0, 2.0)  # per octave
    corner = rng.uniform(50.0, 400.0)
    noise = shape_spectrum(rng.standard_normal(n), lambda f: (np.maximum(f, corner) / 1000.0) ** (slope_db / 6.02))
    noise /= max(rms(noise), 1e-9)
    if rng.random() < 0.25:
        base = rng.choice([50.0, 60.0, 100.0, 120.0, 400.0])
        t = np.arange(n) / SAMPLE_RATE
        hum = sum(rng.uniform(0.1, 1.0) / k * np.sin(2 * np.pi * (base * k * t + rng.random())) for k in range(1, int(rng.integers(2, 8))))
        noise += rng.uniform(0.2, 1.5) * hum / max(rms(hum), 1e-9)
        noise /= rms(noise)
    return noise


class Mixer:
    def __init__(self, corpus, split, seed):
        self.corpus, self.split, self.seed = corpus, split, seed
        self.speech = corpus.select("speech", split, lambda r: r.label_quality in ("good", "fair"))
        self.by_speaker = {}
        for r in self.speech:
            self.by_speaker.setdefault(r.speaker, []).append(r)
        # A file's chance grows with its length, a speaker's with the root of his share, so that nobody fills the set.
        self.speakers = sorted(self.by_speaker)
        weight = np.array([sum(r.seconds for r in self.by_speaker[s]) for s in self.speakers]) ** 0.6
        self.speaker_p = weight / weight.sum()
        noise = corpus.select("noise", split, lambda r: r.seconds >= 2.0)
        music = corpus.select("music", split, lambda r: r.subcategory != SUNG)
        self.noise_behind = noise
        self.noise_alone = [r for r in noise if not any(word in r.subcategory for word in VOICES)]
        self.music = music
        self.rooms = corpus.select("rir", split, lambda r: r.subcategory != "telephone filter")
        if not self.speech or not self.noise_alone:
            raise SystemExit(f"the corpus has no labelled speech or no noise in the split '{split}'")

    def background(self, rng, recordings, n):
        """`n` samples made of pieces of `recordings`, as float; and what was used."""
        out = np.zeros(n)
        used = []
        position = 0
        while position < n:
            recording = recordings[int(rng.integers(len(recordings)))]
            pcm = self.corpus.samples(recording)
            want = min(n - position, int(rng.uniform(6.0, 40.0) * SAMPLE_RATE))
            start = int(rng.integers(len(pcm)))
            piece = np.resize(np.roll(pcm[:min(len(pcm), 100 * SAMPLE_RATE)], -start), want).astype(np.float64)
            if rng.random() < 0.5:  # few sources become many
                piece = np.resize(stretched(piece, float(np.exp(rng.uniform(np.log(0.7), np.log(1.4))))), want)
            level = max(rms(piece), 1.0)
            fade = min(len(piece) // 2, 1600)
            if fade:
                ramp = np.linspace(0.0, 1.0, fade)
                piece[:fade] *= ramp
                piece[-fade:] *= ramp[::-1]
            out[position:position + want] = piece / level
            position += want
            used.append(recording.path)
        return out, used

    def room(self, rng):
        recording = self.rooms[int(rng.integers(len(self.rooms)))]
        h = self.corpus.samples(recording).astype(np.float64)
        peak = int(np.argmax(np.abs(h)))
        h = h[max(0, peak - 80):]
        peak = min(peak, 80)
        t60 = float(np.exp(rng.uniform(np.log(0.12), np.log(0.9))))
        tail = np.arange(len(h)) - peak
        h = h * np.where(tail > 0, 10.0 ** (-3.0 * tail / SAMPLE_RATE / t60), 1.0)
        wet = rng.uniform(0.3, 1.0)
        h[peak + 40:] *= wet
        h = h[:peak + int(1.2 * t60 * SAMPLE_RATE) + 200]
        return h / np.sqrt(np.sum(h * h)), peak, t60, recording.path

    def speech_track(self, rng, n):
        """Clips of one to three speakers between pauses. Speech at an active level of 1.0, its mask, and what was used."""
        voice = np.zeros(n)
        mask = np.zeros(n, bool)
        used = []
        talkers = [self.speakers[i] for i in rng.choice(len(self.speakers), int(rng.choice([1, 1, 1, 2, 3])), p=self.speaker_p)]
        talker_db = {t: rng.normal(0.0, 2.5) for t in talkers}
        pause_scale = float(rng.choice([0.5, 1.0, 1.0, 2.0]))
        position = 0 if rng.random() < 0.15 else int(rng.uniform(0.2, 3.0) * SAMPLE_RATE)
        while position < n - SAMPLE_RATE // 2:
            talker = talkers[int(rng.integers(len(talkers)))]
            recordings = self.by_speaker[talker]
            recording = recordings[int(rng.integers(len(recordings)))]
            pcm = self.corpus.samples(recording)
            clip_start, clip_end = (0, len(pcm))
            if recording.clips:
                clip_start, clip_end = recording.clips[int(rng.integers(len(recording.clips)))]
                clip_end = min(clip_end, len(pcm))
            labelled = spans_to_mask(self.corpus.speech_spans(recording), len(pcm))[clip_start:clip_end]
            clip = pcm[clip_start:clip_end].astype(np.float64)
            if not labelled.any() or len(clip) < 1600:
                continue
            # Cut a long clip somewhere outside speech, so that sentences of all lengths occur.
            limit = int(rng.uniform(1.0, 16.0) * SAMPLE_RATE)
            if len(clip) > limit:
                quiet = np.flatnonzero(~labelled[limit:])
                cut = limit + (int(quiet[0]) if len(quiet) else len(clip) - limit)
                clip, labelled = clip[:cut], labelled[:cut]
                if not labelled.any():
                    continue
            if rng.random() < 0.35:
                factor = float(rng.uniform(0.9, 1.12))
                clip = stretched(clip, factor)
                labelled = labelled[np.minimum((np.arange(len(clip)) * factor).astype(np.int64), len(labelled) - 1)]
                if not labelled.any():
                    continue
            room_left = n - position
            clip, labelled = clip[:room_left], labelled[:room_left]
            level = rms(clip[labelled]) if labelled.any() else rms(clip)
            gain = db(talker_db[talker] + rng.normal(0.0, 1.0)) / max(level, 1.0)
            fade = min(160, len(clip))
            clip[-fade:] *= np.linspace(1.0, 0.0, fade)
            voice[position:position + len(clip)] += clip * gain
            mask[position:position + len(clip)] |= labelled
            used.append(recording.path)
            position += len(clip) + int(np.exp(rng.uniform(np.log(0.3), np.log(8.0))) * pause_scale * SAMPLE_RATE)
        return voice, mask, used

    def make(self, index):
        """Session `index`: samples as int16, label rows, description."""
        rng = np.random.default_rng([self.seed, zlib.crc32(self.split.encode()), index])
        kind = str(rng.choice([k for k, _ in KINDS], p=[p for _, p in KINDS]))
        if kind == "music" and not self.music:
            kind = "noise"
        seconds = rng.uniform(15.0, 60.0) if kind == "speech" else rng.uniform(10.0, 40.0)
        n = int(seconds * SAMPLE_RATE) // HOP * HOP
        about = {"index": index, "kind": kind, "seconds": round(n / SAMPLE_RATE, 2)}
        x = np.zeros(n)
        mask = np.zeros(n, bool)
        weight = np.full(n // HOP, 100, np.uint8)
        t60 = 0.0

        if kind == "speech":
            voice, mask, about["speech"] = self.speech_track(rng, n)
            if self.rooms and rng.random() < 0.4:
                h, peak, t60, about["room"] = self.room(rng)
                voice = convolve(voice, h)[peak:peak + n]
                voice /= max(rms(voice[mask]), 1e-9) if mask.any() else 1.0
            if rng.random() < 0.4:
                voice = shape_spectrum(voice, tilt_curve(rng))
            voice /= max(rms(voice[mask]), 1e-9) if mask.any() else 1.0
            level_db = float(rng.uniform(-38.0, -10.0)) if rng.random() < 0.9 else float(rng.uniform(-45.0, -6.0))
            x = voice * db(level_db) * 32768.0
            about["level_db"] = round(level_db, 1)
            behind = str(rng.choice(["none", "steady", "noise", "music", "both"], p=[0.18, 0.20, 0.37, 0.15, 0.10]))
            if behind == "music" and not self.music:
                behind = "noise"
            about["behind"] = behind
            if behind != "none":
                snr_db = float(rng.uniform(-5.0, 30.0)) if rng.random() < 0.6 else float(rng.uniform(3.0, 20.0))
                about["snr_db"] = round(snr_db, 1)
                noise = np.zeros(n)
                if behind in ("steady", "both"):
                    noise += coloured_noise(rng, n)
                if behind in ("noise", "both"):
                    piece, about["noise"] = self.background(rng, self.noise_behind, n)
                    noise += piece
                if behind == "music":
                    piece, about["noise"] = self.background(rng, self.music, n)
                    noise += piece
                if rng.random() < 0.15:  # begins or ends somewhere
                    at = int(rng.uniform(0.2, 0.8) * n)
                    envelope = np.ones(n)
                    envelope[:at] = db(float(rng.uniform(-40.0, -6.0)))
                    noise *= envelope if rng.random() < 0.5 else envelope[::-1]
                noise *= db(level_db - snr_db) * 32768.0 / max(rms(noise), 1e-9)
                x = x + noise
        elif kind in ("noise", "music"):
            if kind == "noise" and rng.random() < 0.25:
                x = coloured_noise(rng, n)
            else:
                x, about["noise"] = self.background(rng, self.noise_alone if kind == "noise" else self.music, n)
            level_db = float(rng.uniform(-52.0, -8.0))
            about["level_db"] = round(level_db, 1)
            x = x * db(level_db) * 32768.0
            if rng.random() < 0.3:
                x = shape_spectrum(x, tilt_curve(rng))

        if kind != "silence" or rng.random() < 0.5:
            if rng.random() < 0.75:  # the floor of the recording device
                floor_db = float(rng.uniform(-95.0, -60.0))
                about["floor_db"] = round(floor_db, 1)
                x = x + coloured_noise(rng, n) * db(floor_db) * 32768.0
        band = rng.random()
        if band < 0.25:
            low, high = float(rng.uniform(100.0, 350.0)), float(rng.uniform(3200.0, 3900.0))
            about["band"] = [round(low), round(high)]
            x = shape_spectrum(x, band_curve(low, high))
            if rng.random() < 0.4:
                about["codec"] = "mu-law"
                x = shape_spectrum(mu_law(x), band_curve(0.0, 3950.0))
        elif band < 0.40:
            high = float(rng.uniform(4500.0, 7500.0))
            about["band"] = [0, round(high)]
            x = shape_spectrum(x, band_curve(float(rng.choice([0.0, 50.0, 100.0])), high))
        samples = np.clip(np.round(x), -32768, 32767).astype(np.int16)

        hops = mask_to_hops(mask)
        # Labels are good to a few frames: the frames at an edge count less, those in a room's tail not at all.
        edges = np.flatnonzero(np.diff(hops.astype(np.int8)))
        for edge in edges:
            weight[max(0, edge - 1):edge + 3] = np.minimum(weight[max(0, edge - 1):edge + 3], 40)
            if t60 and hops[edge] == 1:
                tail = int(t60 * 0.35 * 100)
                weight[edge + 1:edge + 1 + tail] = 0
        if t60:
            weight[hops == 1] = np.maximum(weight[hops == 1], 40)
        return samples, np.stack([hops, weight], axis=1), about


_mixer = None
_folder = None


def _start(args):
    global _mixer, _folder
    corpus = Corpus(args.corpus, args.cache, args.exclude_licence)
    _mixer, _folder = Mixer(corpus, args.split, args.seed), os.path.join(args.out, args.split)


def _work(index):
    samples, labels, about = _mixer.make(index)
    samples.tofile(os.path.join(_folder, "pcm", f"{index:05d}.s16"))
    np.save(os.path.join(_folder, "labels", f"{index:05d}.npy"), labels)
    about["speech_share"] = round(float(labels[:, 0].mean()), 3)
    return about


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--corpus", required=True, help="folder with manifest.csv")
    parser.add_argument("--out", required=True)
    parser.add_argument("--cache", help="folder for decoded audio (default: OUT/cache)")
    parser.add_argument("--split", default="train")
    parser.add_argument("--hours", type=float, default=12.0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--exclude-licence", default=r"^(GPL|MPL)", help="leave out recordings whose licence matches (default: %(default)s)")
    args = parser.parse_args()
    args.cache = args.cache or os.path.join(args.out, "cache")
    folder = os.path.join(args.out, args.split)
    for name in ("pcm", "labels"):
        os.makedirs(os.path.join(folder, name), exist_ok=True)

    _start(args)
    corpus = _mixer.corpus
    with multiprocessing.Pool(args.jobs, _start, (args,)) as pool:
        wanted = [r for r in corpus.recordings if r.split == args.split and r.category in ("speech", "noise", "music", "rir")]
        pool.map(_decode, wanted, chunksize=8)
        done, total, index, lines = 0.0, args.hours * 3600.0, 0, []
        while done < total:  # in order, so that the set depends on seed and hours alone
            block = pool.map(_work, range(index, index + 64), chunksize=2)
            index += 64
            for about in block:
                if done >= total:
                    os.remove(os.path.join(folder, "pcm", f"{about['index']:05d}.s16"))
                    os.remove(os.path.join(folder, "labels", f"{about['index']:05d}.npy"))
                    continue
                done += about["seconds"]
                lines.append(about)
            print(f"{args.split}: {done / 3600.0:.2f} of {args.hours} h", flush=True)
    with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as handle:
        for about in lines:
            handle.write(json.dumps(about) + "\n")
    with open(os.path.join(folder, "sessions.txt"), "w", encoding="utf-8") as handle:
        for about in lines:
            handle.write(os.path.abspath(os.path.join(folder, "pcm", f"{about['index']:05d}.s16")) + "\n")


def _decode(recording):
    _mixer.corpus.samples(recording)


if __name__ == "__main__":
    main()
