# SPDX-License-Identifier: Apache-2.0
"""What goes on behind speech, or instead of it: recorded noise and music in pieces, steady noise, and made sounds.

Backgrounds have about unit power over a session; levels are set by the mixer.
"""

import numpy as np

from audio_corpus import SAMPLE_RATE
from made_sounds import calling, coloured_noise, disturbance, household, striking, surging
from signal_tools import db, log_uniform, rms, stretched
from varied_sound import layered, varied

# Never offered as non-speech: they hold words or many voices. Voices without words may still stand behind speech.
SUNG = "song with sung words"
VOICES = ("crowd", "distant voices", "people walking", "children", "market")
# Played slower or in grains these are shouts and words more than they are what they were.
THROATS = ("baby", "human", "cries", "crying")


class Backgrounds:
    def __init__(self, corpus, split):
        self.corpus = corpus
        self.behind = corpus.select("noise", split, lambda r: r.seconds >= 2.0)
        self.alone = [r for r in self.behind if not any(word in r.subcategory for word in VOICES)]
        self.voiceless = [r for r in self.alone if not any(word in r.subcategory for word in THROATS)]
        self.music = corpus.select("music", split, lambda r: r.subcategory != SUNG)
        # A group of sounds is drawn first, so that an hour of one does not drown ten seconds of another.
        self.groups = {}

    def choose(self, rng, recordings):
        key = id(recordings)
        if key not in self.groups:
            groups = {}
            for r in recordings:
                groups.setdefault(r.subcategory, []).append(r)
            names = sorted(groups)
            weight = np.array([sum(r.seconds for r in groups[g]) for g in names]) ** 0.5
            self.groups[key] = ([groups[g] for g in names], weight / weight.sum())
        lists, p = self.groups[key]
        group = lists[int(rng.choice(len(lists), p=p))]
        return group[int(rng.integers(len(group)))]

    def samples(self, recording):
        """Without the stretches in which voices were found."""
        pcm = self.corpus.samples(recording)
        hidden = self.corpus.hidden_speech.get(recording.path)
        if not hidden:
            return pcm
        keep = np.ones(len(pcm), bool)
        for start, end in hidden:
            keep[max(0, start - 1600):end + 1600] = False
        return pcm[keep] if keep.sum() > SAMPLE_RATE // 2 else np.zeros(0, np.int16)

    def recorded(self, rng, recordings, n):
        """`n` samples made of pieces of `recordings`, and what was used. Pieces follow each other softly or at once, alike in level or not."""
        out = np.zeros(n)
        used = []
        position = 0
        abrupt, spread_db = rng.random() < 0.35, 0.0 if rng.random() < 0.6 else rng.uniform(3.0, 12.0)
        short = rng.random() < 0.3
        while position < n:
            recording = self.choose(rng, recordings)
            pcm = self.samples(recording)
            if not len(pcm):
                continue
            want = min(n - position, int(log_uniform(rng, *((1.5, 8.0) if short else (6.0, 40.0))) * SAMPLE_RATE))
            start = int(rng.integers(len(pcm)))
            piece = np.resize(np.roll(pcm[:min(len(pcm), 100 * SAMPLE_RATE)], -start), want).astype(np.float64)
            if rng.random() < 0.5:  # few sources become many
                piece = np.resize(stretched(piece, log_uniform(rng, 0.7, 1.4)), want)
            piece *= db(float(rng.normal(0.0, spread_db))) / max(rms(piece), 1.0)
            fade = min(len(piece) // 2, 80 if abrupt else 1600)
            if fade and position > 0:
                piece[:fade] *= np.linspace(0.0, 1.0, fade)
            if fade and position + want < n:
                piece[-fade:] *= np.linspace(1.0, 0.0, fade)
            out[position:position + want] = piece
            position += want
            used.append(recording.path)
        return out / max(rms(out), 1e-9), used

    def speech_noise(self, rng, n, about):
        """A background for speech, unit power, or None."""
        behind = str(rng.choice(["none", "steady", "noise", "music", "both", "calling"], p=[0.17, 0.17, 0.35, 0.13, 0.11, 0.07]))
        about["behind"] = behind = "noise" if behind == "music" and not self.music else behind
        if behind == "none":
            return None
        noise = np.zeros(n)
        if behind in ("steady", "both"):
            noise += coloured_noise(rng, n)
        if behind in ("noise", "both"):
            piece, about["noise"] = self.recorded(rng, self.behind, n)
            noise += piece
        if behind == "music":
            noise, about["noise"] = self.recorded(rng, self.music, n)
        if behind == "calling":
            noise = (calling if rng.random() < 0.6 else striking)(rng, n) + db(float(rng.uniform(-40.0, -10.0))) * coloured_noise(rng, n)
        if rng.random() < 0.2:  # begins, ends or jumps somewhere
            at = int(rng.uniform(0.1, 0.9) * n)
            envelope = np.ones(n)
            envelope[:at] = db(float(rng.uniform(-40.0, -6.0)))
            noise *= envelope if rng.random() < 0.5 else envelope[::-1]
        return noise / max(rms(noise), 1e-9)

    def alone_noise(self, rng, n, about):
        """Non-speech for a session of its own, unit power."""
        made = [("steady", 0.10), ("calling", 0.15), ("disturbance", 0.13), ("striking", 0.17), ("", 0.45)]
        about["made"] = str(rng.choice([name for name, _ in made], p=[share for _, share in made]))
        if about["made"] == "steady":
            return coloured_noise(rng, n)
        if about["made"]:
            sound = {"calling": calling, "disturbance": disturbance, "striking": striking}[about["made"]]
            return _unit(sound(rng, n) + db(float(rng.uniform(-45.0, -10.0))) * coloured_noise(rng, n))
        noise, about["noise"] = self.recorded(rng, self.alone, n)
        return noise

    def varied_noise(self, rng, n, about):
        """Non-speech for a session of its own, further from what was recorded or made than alone_noise goes; unit power."""
        made = [("household", 0.22), ("surging", 0.13), ("called", 0.10), ("struck", 0.10), ("", 0.45)]
        about["made"] = str(rng.choice([name for name, _ in made], p=[share for _, share in made]))
        about["noise"] = []

        def draw(rng, n):
            music = self.music and rng.random() < 0.22
            piece, used = self.recorded(rng, self.music if music else self.voiceless, n)
            about["noise"] += used
            return piece

        if not about["made"]:
            x = layered(rng, n, draw)
        else:
            sound = {"household": household, "surging": surging, "called": calling, "struck": striking}[about["made"]]
            x = _unit(sound(rng, n))
            if rng.random() < 0.4:
                x = varied(rng, x)
            if rng.random() < 0.5:  # something else, or a radio without words, further away
                x += db(float(rng.uniform(-25.0, -3.0))) * layered(rng, n, draw)
        return _unit(x + db(float(rng.uniform(-45.0, -6.0))) * coloured_noise(rng, n))


def _unit(x):
    return x / max(rms(x), 1e-9)
