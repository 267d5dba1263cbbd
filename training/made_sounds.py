# SPDX-License-Identifier: Apache-2.0
"""Sounds that are not speech, made by formula: what microphones pick up from hands, breath and wind, and what calls, rings and howls.

Each function takes a generator and a number of samples and gives floats with silence between events, scaled so that events stand at about unit
power. `disturbance` is low and unpitched or falsely pitched, as from a table or a breath; `calling` is tonal; `striking` is what hands and machines do,
`household` the same closer by, `surging` noise that comes and goes.
"""

import numpy as np

from audio_corpus import SAMPLE_RATE
from signal_tools import band_curve, log_uniform, rms, shape_spectrum, smooth_curve


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


def _events(rng, n, pause_s, make):
    """Lays events of `make` with pauses of about `pause_s` between them."""
    out = np.zeros(n)
    at = int(rng.exponential(pause_s) * SAMPLE_RATE * 0.5)
    while at < n:
        event = make(rng)
        level = rms(event)
        if level > 0:
            event = event[:n - at] * (10.0 ** (rng.normal(0.0, 4.0) / 20.0) / level)
            out[at:at + len(event)] += event
        at += len(event) + int(rng.exponential(pause_s) * SAMPLE_RATE) + 160
    return out


def _envelope(n, rise_s, fall_s):
    t = np.arange(n) / SAMPLE_RATE
    return np.minimum(1.0, t / max(rise_s, 1e-3)) * np.minimum(1.0, (n / SAMPLE_RATE - t) / max(fall_s, 1e-3))


def _rumble(rng):
    n = int(log_uniform(rng, 0.2, 3.0) * SAMPLE_RATE)
    low = log_uniform(rng, 18.0, 90.0)
    noise = shape_spectrum(rng.standard_normal(n), band_curve(low, low + log_uniform(rng, 30.0, 220.0)))
    return noise * _envelope(n, rng.uniform(0.02, 0.5), rng.uniform(0.05, 0.8))


def _puff(rng):
    n = int(log_uniform(rng, 0.08, 0.7) * SAMPLE_RATE)
    corner, steep = log_uniform(rng, 60.0, 350.0), rng.uniform(2.0, 6.0)
    noise = shape_spectrum(rng.standard_normal(n), lambda f: 1.0 / (1.0 + (f / corner) ** steep))
    t = np.arange(n) / SAMPLE_RATE
    return noise * np.exp(-t / log_uniform(rng, 0.03, 0.25)) * np.minimum(1.0, t / 0.01)


def _false_pitch(rng):
    """A table or a pipe that rings at 60 to 130 Hz, with a few harmonics."""
    n = int(log_uniform(rng, 0.2, 2.0) * SAMPLE_RATE)
    base = rng.uniform(60.0, 130.0) * (1.0 + 0.02 * smooth_curve(rng, n, 0.1, 1.0))
    phase = 2 * np.pi * np.cumsum(base) / SAMPLE_RATE
    tone = sum(10.0 ** (-rng.uniform(3.0, 15.0) * (k - 1) / 20.0) * np.sin(k * phase + rng.random()) for k in range(1, int(rng.integers(2, 5))))
    return (tone + 0.3 * shape_spectrum(rng.standard_normal(n), band_curve(0.0, 250.0)) * 4.0) * _envelope(n, 0.03, rng.uniform(0.05, 0.8))


def _knock(rng):
    n = int(log_uniform(rng, 0.03, 0.25) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    body = sum(rng.uniform(0.3, 1.0) * np.sin(2 * np.pi * log_uniform(rng, 60.0, 900.0) * t) for _ in range(3))
    return (body + rng.standard_normal(n) * rng.uniform(0.0, 0.7)) * np.exp(-t / log_uniform(rng, 0.005, 0.06))


def _rustle(rng):
    n = int(log_uniform(rng, 0.1, 1.5) * SAMPLE_RATE)
    noise = shape_spectrum(rng.standard_normal(n), band_curve(log_uniform(rng, 200.0, 2500.0), 7900.0))
    return noise * np.maximum(0.0, smooth_curve(rng, n, 0.02, 1.0)) * _envelope(n, 0.05, 0.1)


def wind(rng, n):
    noise = shape_spectrum(rng.standard_normal(n), lambda f: 1.0 / (1.0 + (f / log_uniform(rng, 40.0, 300.0)) ** 1.5))
    noise *= 10.0 ** (smooth_curve(rng, n, float(rng.uniform(0.1, 1.0)), 7.0) / 20.0)
    return noise / max(rms(noise), 1e-9)


def disturbance(rng, n):
    """Low rumble, breath puffs, false pitches, knocks, rustling, or wind."""
    kinds = [_rumble, _puff, _false_pitch, _knock, _rustle]
    chosen = rng.random(len(kinds)) < [0.6, 0.5, 0.3, 0.3, 0.15]
    out = np.zeros(n)
    for kind, wanted in zip(kinds, chosen):
        if wanted:
            out += _events(rng, n, log_uniform(rng, 0.5, 6.0), kind)
    if rng.random() < 0.25 or not chosen.any():
        out += wind(rng, n)
    return out


def _glide(rng, n, low, high, octaves):
    """The phase of a tone that moves within `octaves`, in cycles."""
    start = log_uniform(rng, low, high)
    end = start * 2.0 ** rng.uniform(-octaves, octaves)
    f = start * (end / start) ** (np.arange(n) / max(n, 1))
    return np.cumsum(f) / SAMPLE_RATE


def _bird(rng):
    """A trill: one syllable over and over."""
    n = int(log_uniform(rng, 0.02, 0.25) * SAMPLE_RATE)
    phase = _glide(rng, n, 1500.0, 6500.0, 0.7)
    syllable = np.sin(2 * np.pi * phase) + rng.uniform(0.0, 0.3) * np.sin(4 * np.pi * phase)
    syllable = syllable * np.sin(np.pi * np.arange(n) / n)
    gap = np.zeros(int(log_uniform(rng, 0.02, 0.3) * SAMPLE_RATE))
    return np.concatenate([part for _ in range(int(rng.integers(1, 9))) for part in (syllable, gap)])


def _insect(rng):
    n = int(log_uniform(rng, 0.3, 8.0) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    beat = np.maximum(0.0, np.sin(2 * np.pi * log_uniform(rng, 12.0, 200.0) * t))
    gate = np.sin(2 * np.pi * log_uniform(rng, 0.7, 8.0) * t) > rng.uniform(-0.9, 0.6) if rng.random() < 0.6 else 1.0
    carrier = np.sin(2 * np.pi * (log_uniform(rng, 2200.0, 7000.0) * t + 0.4 * smooth_curve(rng, n, 0.01, 1.0)))
    return carrier * beat * gate * _envelope(n, 0.05, 0.1)


def _beeps(rng):
    one = int(log_uniform(rng, 0.04, 0.6) * SAMPLE_RATE)
    t = np.arange(one) / SAMPLE_RATE
    base = log_uniform(rng, 350.0, 3500.0)
    tone = sum((1.0 if k == 1 else rng.uniform(0.0, 0.6)) * np.sin(2 * np.pi * base * k * t) for k in range(1, 5) if base * k < 7800.0)
    tone = tone * _envelope(one, 0.003, rng.uniform(0.003, 0.1))
    gap = np.zeros(int(log_uniform(rng, 0.03, 0.6) * SAMPLE_RATE))
    return np.concatenate([part for _ in range(int(rng.integers(1, 12))) for part in (tone, gap)])


def _siren(rng):
    n = int(log_uniform(rng, 2.0, 12.0) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    sweep = np.sin(2 * np.pi * log_uniform(rng, 0.15, 5.0) * t)
    if rng.random() < 0.4:
        sweep = np.sign(sweep)  # two tones
    f = log_uniform(rng, 350.0, 1200.0) * 2.0 ** (rng.uniform(0.15, 0.9) * sweep)
    phase = np.cumsum(f) / SAMPLE_RATE
    fall = rng.uniform(4.0, 15.0)
    return sum(10.0 ** (-fall * (k - 1) / 20.0) * np.sin(2 * np.pi * k * phase) for k in range(1, 6)) * _envelope(n, 0.3, 0.5)


def _horn(rng):
    n = int(log_uniform(rng, 0.15, 3.0) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    out = np.zeros(n)
    for base in log_uniform(rng, 200.0, 550.0) * np.array([1.0, rng.choice([1.2, 1.26, 1.33])])[:int(rng.integers(1, 3))]:
        out += sum(10.0 ** (-rng.uniform(0.0, 6.0) * k / 6.0 / 2.0) * np.sin(2 * np.pi * (base * k * t + rng.random())) for k in range(1, 13))
    return out * _envelope(n, 0.02, 0.05)


def _cry(rng):
    """A harmonic stack that glides through one broad resonance: barks, lows, mews and howls."""
    n = int(log_uniform(rng, 0.08, 1.2) * SAMPLE_RATE)
    phase = _glide(rng, n, 180.0, 1400.0, 0.8)
    tone = sum(np.sin(2 * np.pi * k * phase) / k for k in range(1, 12)) + rng.uniform(0.0, 0.5) * rng.standard_normal(n)
    centre, width = log_uniform(rng, 400.0, 3000.0), rng.uniform(0.5, 1.5)
    tone = shape_spectrum(tone, lambda f: np.exp(-np.square(np.log2(np.maximum(f, 20.0) / centre) / width)))
    return tone * np.sin(np.pi * np.arange(n) / n) ** rng.uniform(0.3, 1.5)


def _strike(rng):
    """Dishes, tools, dropped things: inharmonic modes that ring after a short burst."""
    n = int(log_uniform(rng, 0.05, 0.9) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    lowest, decay = log_uniform(rng, 180.0, 3500.0), log_uniform(rng, 0.01, 0.25)
    out = np.zeros(n)
    for k in range(int(rng.integers(2, 9))):
        hertz = lowest * (1.0 + k * rng.uniform(0.3, 1.3))
        if hertz < 7800.0:
            out += rng.uniform(0.2, 1.0) * np.sin(2 * np.pi * (hertz * t + rng.random())) * np.exp(-t / (decay * rng.uniform(0.4, 1.2)))
    return out + rng.uniform(0.0, 1.5) * rng.standard_normal(n) * np.exp(-t / 0.004)


def _clatter(rng):
    """Strikes in a row, as of a pile of plates or of steps."""
    out = np.zeros(int(log_uniform(rng, 0.4, 3.0) * SAMPLE_RATE))
    at = 0
    while at < len(out):
        piece = _strike(rng)[:len(out) - at] * rng.uniform(0.1, 1.0)
        out[at:at + len(piece)] += piece
        at += int(log_uniform(rng, 0.03, 0.5) * SAMPLE_RATE)
    return out


def _working(rng):
    """A band of noise, or a machine's tone, that swells as fast as syllables do: sawing, scrubbing, hoofs, engines."""
    n = int(log_uniform(rng, 1.0, 8.0) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    centre = log_uniform(rng, 200.0, 4000.0)
    noise = shape_spectrum(rng.standard_normal(n), lambda f: 1.0 / (1.0 + np.square(np.log2(np.maximum(f, 20.0) / centre) / rng.uniform(0.4, 2.0))))
    if rng.random() < 0.4:
        phase = np.cumsum(log_uniform(rng, 60.0, 320.0) * (1.0 + 0.05 * smooth_curve(rng, n, 0.2, 1.0))) / SAMPLE_RATE
        noise = noise / max(rms(noise), 1e-9) * 0.5 + sum(np.sin(2 * np.pi * k * phase) / k ** rng.uniform(0.3, 1.5) for k in range(1, 15))
    swell = 0.5 + 0.5 * np.sin(2 * np.pi * (log_uniform(rng, 0.8, 12.0) * t + 0.3 * smooth_curve(rng, n, 0.3, 1.0)))
    return noise * swell ** rng.uniform(0.5, 4.0) * _envelope(n, 0.05, 0.1)


def _cutlery(rng):
    """Metal or china: close high modes, many of them, that ring long or are damped by a hand."""
    n = int(log_uniform(rng, 0.04, 0.8) * SAMPLE_RATE)
    t = np.arange(n) / SAMPLE_RATE
    lowest, decay = log_uniform(rng, 600.0, 4500.0), log_uniform(rng, 0.008, 0.3)
    modes = [hertz for hertz in lowest * rng.uniform(1.0, 5.0, int(rng.integers(3, 12))) if hertz < 7800.0]
    ring = sum((rng.uniform(0.1, 1.0) * np.sin(2 * np.pi * (hertz * t + rng.random())) * np.exp(-t / (decay * rng.uniform(0.3, 1.3))) for hertz in modes),
               np.zeros(n))
    return ring + rng.uniform(0.1, 2.0) * rng.standard_normal(n) * np.exp(-t / rng.uniform(0.001, 0.008))


def _rummage(rng):
    """A drawer or a sink: strikes that come close upon each other and then rest."""
    out = np.zeros(int(log_uniform(rng, 0.2, 2.5) * SAMPLE_RATE))
    at = 0
    while at < len(out):
        piece = (_cutlery if rng.random() < 0.7 else _knock)(rng)[:len(out) - at] * rng.uniform(0.05, 1.0)
        out[at:at + len(piece)] += piece
        at += int(log_uniform(rng, 0.01, 0.3) * SAMPLE_RATE)
    return out


def _chopping(rng):
    """A knife on a board: one dull knock over and over, four or so a second."""
    knock, period = _knock(rng), 1.0 / log_uniform(rng, 1.5, 8.0)
    out = np.zeros(int(log_uniform(rng, 0.8, 6.0) * SAMPLE_RATE))
    at = 0.0
    while int(at) < len(out):
        piece = knock[:len(out) - int(at)] * rng.uniform(0.4, 1.0)
        out[int(at):int(at) + len(piece)] += piece
        at += period * SAMPLE_RATE * rng.uniform(0.85, 1.15)
    return out


def _sizzle(rng):
    """A pan or a tap: hiss with a band of its own that swells, crackling or gurgling."""
    n = int(log_uniform(rng, 0.8, 8.0) * SAMPLE_RATE)
    hiss = shape_spectrum(rng.standard_normal(n), band_curve(log_uniform(rng, 150.0, 3000.0), log_uniform(rng, 3500.0, 7900.0)))
    hiss *= 10.0 ** (smooth_curve(rng, n, log_uniform(rng, 0.01, 0.4), rng.uniform(1.0, 7.0)) / 20.0)
    return hiss * _envelope(n, log_uniform(rng, 0.01, 0.6), log_uniform(rng, 0.03, 1.0))


def _squeak(rng):
    """A hinge, a cork or a wet plate: a rough tone that slides."""
    n = int(log_uniform(rng, 0.06, 0.7) * SAMPLE_RATE)
    phase = _glide(rng, n, 300.0, 3000.0, 1.0) + 0.1 * smooth_curve(rng, n, 0.01, 1.0)
    tone = sum(np.sin(2 * np.pi * k * phase) / k ** rng.uniform(0.2, 1.2) for k in range(1, 6))
    return (tone + rng.uniform(0.0, 0.6) * rng.standard_normal(n)) * _envelope(n, 0.01, 0.03)


def household(rng, n):
    """Kitchens and tables: two to four of cutlery, dishes, a knife, a pan, a tap, hinges, and what they stand on."""
    kinds = [_cutlery, _rummage, _chopping, _sizzle, _squeak, _strike, _knock, _rustle]
    out = np.zeros(n)
    for k in rng.choice(len(kinds), int(rng.integers(2, 5)), replace=False):
        out += 10.0 ** (rng.uniform(-18.0, 0.0) / 20.0) * _events(rng, n, log_uniform(rng, 0.2, 4.0), kinds[int(k)])
    return out


def surging(rng, n):
    """Wind at a microphone, traffic, a washing machine: some bands of noise, each with a level that walks by itself."""
    out = np.zeros(n)
    top = log_uniform(rng, 300.0, 7000.0)
    for _ in range(int(rng.integers(2, 6))):
        low = log_uniform(rng, 30.0, top)
        band = shape_spectrum(rng.standard_normal(n), band_curve(low, min(7900.0, low * log_uniform(rng, 1.5, 6.0))))
        walk = smooth_curve(rng, n, log_uniform(rng, 0.08, 1.5), rng.uniform(2.0, 9.0)).clip(-25.0, 15.0)
        out += band / max(rms(band), 1e-9) * 10.0 ** ((walk - 6.0 * np.log2(low / 30.0) * rng.uniform(0.0, 1.0)) / 20.0)
    return out


def striking(rng, n):
    """Dishes, tools, steps, saws and machines at work, one or two kinds at a time."""
    kinds = [_strike, _clatter, _working]
    out = np.zeros(n)
    for k in rng.choice(len(kinds), int(rng.integers(1, 3)), replace=False):
        out += _events(rng, n, log_uniform(rng, 0.2, 3.0), kinds[int(k)])
    return out


def calling(rng, n):
    """Birds, insects, alarms, sirens, horns and animals, one or two kinds at a time."""
    kinds = [_bird, _insect, _beeps, _siren, _horn, _cry]
    out = np.zeros(n)
    for k in rng.choice(len(kinds), int(rng.integers(1, 3)), replace=False):
        out += _events(rng, n, log_uniform(rng, 0.3, 4.0), kinds[int(k)])
    return out
