# SPDX-License-Identifier: Apache-2.0
"""Makes many sounds that are no speech out of few recordings: other speeds, backwards, in grains of another order, under other resonances, swelling as
fast as syllables do, in bursts, several in layers. What is left of a recording may sound like nothing on earth, and a listener should still not take it
for a voice.

Each function takes a generator and samples and gives as many samples; nothing here sets a level.
"""

import numpy as np

from audio_corpus import SAMPLE_RATE
from signal_tools import convolve, db, log_uniform, rms, shape_spectrum, smooth_curve, stretched
from simulated_rooms import LEAD, impulse_response, random_room, random_source

FADE = 80  # samples at both ends of a grain or a burst


def resonances(rng):
    """A curve of one to five broad peaks and holes, up to 18 dB each, as of a small box, a pipe or a bad loudspeaker."""
    count = int(rng.integers(1, 6))
    centres = np.array([log_uniform(rng, 150.0, 6500.0) for _ in range(count)])
    widths, gains = rng.uniform(0.15, 1.0, count), rng.uniform(-18.0, 18.0, count)

    def curve(f):
        octaves = np.log2(np.maximum(f, 20.0)[:, None] / centres)
        return db((gains * np.exp(-np.square(octaves / widths))).sum(axis=1))

    return curve


def scrambled(rng, x):
    """Grains of 60 to 500 ms in another order, some of them backwards: the sound stays, its course goes."""
    size = int(log_uniform(rng, 0.06, 0.5) * SAMPLE_RATE)
    count = len(x) // size
    if count < 2:
        return x
    window = np.minimum(1.0, np.minimum(np.arange(size), np.arange(size)[::-1]) / FADE)
    grains = x[:count * size].reshape(count, size)[rng.permutation(count)] * window
    backwards = rng.random(count) < 0.3
    grains[backwards] = grains[backwards, ::-1]
    return np.resize(grains.reshape(-1), len(x))


def swelling(rng, x):
    """A level that rises and falls 1.5 to 9 times a second, evenly or not."""
    n, rate = len(x), log_uniform(rng, 1.5, 9.0)
    if rng.random() < 0.5:
        level = 0.5 + 0.5 * np.sin(2 * np.pi * (rate * np.arange(n) / SAMPLE_RATE + 0.4 * smooth_curve(rng, n, 1.0 / rate, 1.0)))
        return x * level ** rng.uniform(0.5, 3.0)
    return x * db(smooth_curve(rng, n, 0.5 / rate, rng.uniform(4.0, 14.0)).clip(-40.0, 15.0))


def in_bursts(rng, x):
    """Pieces of 0.05 to 2.5 s with pauses between them that are silent or nearly so."""
    level = np.full(len(x), db(float(rng.uniform(-60.0, -20.0))))
    longest, pause = log_uniform(rng, 0.15, 2.5), log_uniform(rng, 0.1, 2.0)
    at = int(rng.exponential(pause) * SAMPLE_RATE)
    while at < len(x):
        past = at + int(log_uniform(rng, 0.05, longest) * SAMPLE_RATE)
        level[at:past] = db(float(rng.normal(0.0, 4.0)))
        at = past + int(rng.exponential(pause) * SAMPLE_RATE) + FADE
    return x * np.convolve(level, np.ones(FADE) / FADE, "same")


def varied(rng, x):
    """One recording made another, by some of these ways; unit power."""
    n = len(x)
    if rng.random() < 0.75:
        x = np.resize(stretched(x, log_uniform(rng, 0.5, 2.0)), n)
    if rng.random() < 0.3:
        x = x[::-1]
    for chance, way in ((0.2, scrambled), (0.3, swelling), (0.25, in_bursts)):
        if rng.random() < chance:
            x = way(rng, x)
    if rng.random() < 0.6:
        x = shape_spectrum(x, resonances(rng))
    if rng.random() < 0.35:
        room = random_room(rng)
        x = convolve(x, impulse_response(rng, room, random_source(rng, room)))[LEAD:LEAD + n]
    return x / max(rms(x), 1e-9)


def layered(rng, n, draw):
    """One to three varied sounds over each other; `draw(rng, n)` gives a recording. Unit power."""
    out = np.zeros(n)
    for k in range(int(rng.choice([1, 2, 3], p=[0.45, 0.37, 0.18]))):
        out += varied(rng, draw(rng, n)) * (1.0 if k == 0 else db(float(rng.uniform(-18.0, 0.0))))
    return out / max(rms(out), 1e-9)
