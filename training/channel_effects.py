# SPDX-License-Identifier: Apache-2.0
"""What lies between a microphone and the engine: telephone bands and codecs, lost packets, automatic gain, clipping.

Samples are on the scale of 16 bits. Nothing here moves sound in time by more than a millisecond, so labels stay where they are.
"""

import numpy as np

from audio_corpus import SAMPLE_RATE
from signal_tools import band_curve, db, shape_spectrum


def mu_law(x):
    scaled = np.clip(x / 32768.0, -1.0, 1.0)
    code = np.round(np.sign(scaled) * np.log1p(255.0 * np.abs(scaled)) / np.log(256.0) * 127.0) / 127.0
    return np.sign(code) * (np.exp(np.abs(code) * np.log(256.0)) - 1.0) / 255.0 * 32768.0


def low_rate(rng, x):
    """The sound of a low-rate speech codec: magnitudes in coarse steps for each 20 ms, and the weak bins left out."""
    size, hop = 640, 320
    window = np.sqrt(np.hanning(size + 1)[:size])
    padded = np.concatenate([np.zeros(hop), x, np.zeros(size + hop)])
    frames = np.lib.stride_tricks.sliding_window_view(padded, size)[::hop] * window
    spectrum = np.fft.rfft(frames, axis=1)
    magnitude = np.abs(spectrum)
    step_db = float(rng.uniform(1.5, 5.0))
    coarse = db(step_db * np.round(20.0 * np.log10(np.maximum(magnitude, 1e-3)) / step_db))
    coarse[magnitude < magnitude.max(axis=1, keepdims=True) * db(-float(rng.uniform(30.0, 50.0)))] = 0.0
    back = np.fft.irfft(spectrum * coarse / np.maximum(magnitude, 1e-3), size, axis=1) * window
    out = np.zeros(hop * (len(back) + 1))
    for half in range(2):
        part = back[:, half * hop:(half + 1) * hop].reshape(-1)
        out[half * hop:half * hop + len(part)] += part
    return out[hop:hop + len(x)]


def lost_packets(rng, x):
    """Stretches of 20 to 60 ms replaced by silence or by what came before, a few in a hundred."""
    out = x.copy()
    packet = SAMPLE_RATE // 50
    for first in np.flatnonzero(rng.random(len(x) // packet) < rng.uniform(0.002, 0.03)) * packet:
        length = packet * int(rng.integers(1, 4))
        end = min(len(x), first + length)
        out[first:end] = 0.0 if rng.random() < 0.5 or first < length else out[first - length:first][:end - first]
    return out


def automatic_gain(rng, x, block=160):
    """Brings the level to a goal within a second or so, and raises pauses after speech, as recorders and calls do."""
    n = len(x) // block
    power = np.square(x[:n * block].reshape(n, block)).mean(axis=1)
    goal = 32768.0 * db(float(rng.uniform(-26.0, -14.0)))
    most = float(rng.uniform(10.0, 30.0))
    fall, rise = rng.uniform(0.02, 0.2), rng.uniform(0.002, 0.02)
    gain, gains = 1.0, np.empty(n)
    level = goal * goal
    for k in range(n):
        level += (power[k] - level) * (fall if power[k] > level else rise)
        wanted = min(db(most), goal / max(np.sqrt(level), 1.0))
        gain += (wanted - gain) * 0.1
        gains[k] = gain
    return x * np.interp(np.arange(len(x)), (np.arange(n) + 0.5) * block, gains) if n else x


def clipped(rng, x):
    """Full scale reached by the loudest hundredth or so, as with a microphone that is set too high."""
    peak = np.percentile(np.abs(x), float(rng.uniform(97.0, 99.9)))
    return np.clip(x, -peak, peak) if peak > 0 else x


def through_channel(rng, x, about):
    """A random channel; what it was is noted in `about`."""
    if rng.random() < 0.07:
        about["gain"] = "automatic"
        x = automatic_gain(rng, x)
    if rng.random() < 0.04:
        about["clipped"] = True
        x = clipped(rng, x)
    band = rng.random()
    if band < 0.22:
        low, high = float(rng.uniform(100.0, 350.0)), float(rng.uniform(3200.0, 3900.0))
        about["band"] = [round(low), round(high)]
        x = shape_spectrum(x, band_curve(low, high))
        codec = rng.random()
        if codec < 0.35:
            about["codec"] = "mu-law"
            x = shape_spectrum(mu_law(x), band_curve(0.0, 3950.0))
        elif codec < 0.6:
            about["codec"] = "low rate"
            x = shape_spectrum(low_rate(rng, x), band_curve(0.0, 3950.0))
        if rng.random() < 0.25:
            about["holes"] = True
            x = lost_packets(rng, x)
    elif band < 0.37:
        high = float(rng.uniform(4500.0, 7500.0))
        about["band"] = [0, round(high)]
        x = shape_spectrum(x, band_curve(float(rng.choice([0.0, 50.0, 100.0])), high))
        if rng.random() < 0.2:
            about["codec"] = "low rate"
            x = low_rate(rng, x)
    return x
