# SPDX-License-Identifier: Apache-2.0
"""Small tools on samples that the mixer and the judge share: levels, filters, speeds."""

import numpy as np

from audio_corpus import SAMPLE_RATE


def rms(x):
    return float(np.sqrt(np.mean(np.square(x, dtype=np.float64)))) if len(x) else 0.0


def db(value):
    return 10.0 ** (value / 20.0)


def log_uniform(rng, low, high):
    return float(np.exp(rng.uniform(np.log(low), np.log(high))))


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


def smooth_curve(rng, n, seconds, spread):
    """A random walk of `spread` around 0 through one knot every `seconds`, drawn out to `n` samples."""
    knots = int(n / (seconds * SAMPLE_RATE)) + 2
    return np.interp(np.arange(n) / (seconds * SAMPLE_RATE), np.arange(knots), rng.normal(0.0, spread, knots))
