# SPDX-License-Identifier: Apache-2.0
"""Rooms as a microphone on a table hears them: the first reflections by mirrored sources, the rest by noise that dies away.

A shoebox room mirrors a talker in its walls. The images that arrive within the first 60 ms are placed one by one; behind them lies noise whose
power falls by 60 dB in the reverberation time, faster for high frequencies, joined at the power that a diffuse field has there. The ratio of direct to
reverberant sound follows from the distance, as it does across a table.
"""

from dataclasses import dataclass

import numpy as np

from audio_corpus import SAMPLE_RATE
from signal_tools import log_uniform

SPEED = 343.0
EARLY_S = 0.06
LEAD = 40  # samples before the direct sound


@dataclass
class Room:
    size: np.ndarray
    microphone: np.ndarray
    t60: float

    @property
    def reflection(self):
        """Of pressure, by Sabine's formula."""
        volume = np.prod(self.size)
        surface = 2.0 * (self.size[0] * self.size[1] + self.size[1] * self.size[2] + self.size[0] * self.size[2])
        absorbed = min(0.95, 0.161 * volume / (surface * self.t60))
        return float(np.sqrt(1.0 - absorbed))


def random_room(rng):
    size = np.array([rng.uniform(2.8, 9.0), rng.uniform(2.5, 7.0), rng.uniform(2.3, 3.6)])
    microphone = np.array([rng.uniform(0.25, 0.75) * size[0], rng.uniform(0.25, 0.75) * size[1], rng.uniform(0.7, 1.1)])
    return Room(size, microphone, log_uniform(rng, 0.2, 0.9))


def random_source(rng, room):
    """Somebody who sits or stands 0.4 to 4 m away, inside the room."""
    for _ in range(50):
        angle, distance = rng.uniform(0.0, 2.0 * np.pi), log_uniform(rng, 0.4, 4.0)
        at = room.microphone + distance * np.array([np.cos(angle), np.sin(angle), 0.0])
        at[2] = rng.uniform(1.0, 1.7)
        if (at > 0.2).all() and (at < room.size - 0.2).all():
            return at
    return 0.5 * (room.microphone + room.size / 2.0) + np.array([0.3, 0.2, 0.2])


def image_sources(room, source, reach):
    """Distances and gains of all images within `reach` metres, the source itself first."""
    axes = []
    for size, s, m in zip(room.size, source, room.microphone):
        order = int(np.ceil(reach / (2.0 * size))) + 1
        k = np.arange(-order, order + 1)
        # Images at 2 k L + s after |2 k| reflections, at 2 k L - s after |2 k - 1|.
        axes.append((np.concatenate([2 * k * size + s, 2 * k * size - s]) - m, np.concatenate([np.abs(2 * k), np.abs(2 * k - 1)])))
    (x, nx), (y, ny), (z, nz) = axes
    distance = np.sqrt(x[:, None, None] ** 2 + y[None, :, None] ** 2 + z[None, None, :] ** 2).ravel()
    bounces = (nx[:, None, None] + ny[None, :, None] + nz[None, None, :]).ravel()
    near = np.flatnonzero(distance < reach)
    near = near[np.argsort(distance[near], kind="stable")]
    return distance[near], room.reflection ** bounces[near] / np.maximum(distance[near], 0.1)


def impulse_response(rng, room, source):
    """Unit energy; the direct sound stands at sample LEAD."""
    direct = float(np.linalg.norm(source - room.microphone))
    distance, gain = image_sources(room, source, direct + SPEED * EARLY_S)
    n = LEAD + int((EARLY_S + room.t60) * SAMPLE_RATE)
    h = np.zeros(n)
    at = LEAD + (distance - direct) / SPEED * SAMPLE_RATE
    whole = at.astype(np.int64)
    part = at - whole
    # Walls differ and scatter: a random sign for late images keeps them from adding up to a hum.
    gain = gain * np.where(np.arange(len(gain)) < 7, 1.0, rng.choice([-1.0, 1.0], len(gain)))
    np.add.at(h, whole, gain * (1.0 - part))
    np.add.at(h, np.minimum(whole + 1, n - 1), gain * part)
    return _with_tail(rng, room, h)


def _with_tail(rng, room, h):
    begin = LEAD + int(EARLY_S * SAMPLE_RATE)
    stretch = int(0.02 * SAMPLE_RATE)
    power = np.square(h[begin - stretch:begin]).mean()
    t = np.arange(len(h) - begin) / SAMPLE_RATE
    low = rng.standard_normal(len(t))
    high = np.diff(rng.standard_normal(len(t) + 1)) / np.sqrt(2.0)  # noise that rises with frequency
    tail = low * 10.0 ** (-3.0 * t / room.t60) + high * 10.0 ** (-3.0 * t / (0.5 * room.t60))
    h[begin:] = np.sqrt(power / 2.0) * tail
    return h / np.sqrt(np.sum(h * h))
