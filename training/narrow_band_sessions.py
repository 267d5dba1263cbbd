# SPDX-License-Identifier: Apache-2.0
"""Brings mixed sessions, or the judged recordings, to 8000 Hz, some of them as a telephone line hands them over.

    narrow_band_sessions.py --data DIR --out DIR --split train [--telephone 0.5] [--seed 1] [--upsample]

Reads DIR/SPLIT (mix_sessions.py, judged_sets.py) and writes OUT/SPLIT the same way: pcm at 8000 Hz, sessions.txt, sessions.jsonl with `rate` and `telephone`.
Labels are the very files of DIR: a hop is 10 ms at any rate, so they stay where they are.

Every session loses what lies above 3.6 to 3.95 kHz. A share of --telephone of them, drawn by seed and index, is also cut to a band of about 300 to 3400 Hz
and passes mu-law, in which order a line does both. With --upsample the same sound is written at 16000 Hz, for models of that rate to be judged on.
"""

import argparse
import json
import multiprocessing
import os

import numpy as np

from audio_corpus import SAMPLE_RATE
from channel_effects import mu_law
from signal_tools import band_curve, next_fast

NARROW_RATE = SAMPLE_RATE // 2


def band_of(rng, telephone):
    """Lower and upper edge in Hz, the lower 0 for none."""
    if telephone:
        return float(rng.uniform(250.0, 350.0)), float(rng.uniform(3300.0, 3500.0))
    return 0.0, float(rng.uniform(3600.0, 3950.0))


def at_half_rate(x, curve):
    """`x` filtered by `curve`, which lets next to nothing through above a quarter of the rate, at half the rate."""
    size = next_fast(len(x) + SAMPLE_RATE)  # a multiple of 4 at this length
    kept = size // 4 + 1
    spectrum = np.fft.rfft(x, size)[:kept] * curve(np.arange(kept) * (SAMPLE_RATE / size))
    return np.fft.irfft(spectrum, size // 2)[:len(x) // 2] / 2.0


def at_double_rate(x):
    size = next_fast(len(x) + NARROW_RATE)
    spectrum = np.zeros(size + 1, complex)
    spectrum[:size // 2 + 1] = np.fft.rfft(x, size)
    return np.fft.irfft(spectrum, 2 * size)[:2 * len(x)] * 2.0


def in_16_bits(x):
    return np.clip(np.round(x), -32768, 32767).astype("<i2")


def narrowed(rng, samples, telephone):
    """16-bit samples at 16000 Hz to 16-bit samples at 8000 Hz."""
    x = at_half_rate(samples.astype(np.float64), band_curve(*band_of(rng, telephone)))
    return in_16_bits(mu_law(x) if telephone else x)


class Narrower:
    def __init__(self, source, out, telephone, seed, upsample):
        self.source, self.out, self.telephone, self.seed, self.upsample = source, out, telephone, seed, upsample

    def __call__(self, about):
        """Writes one session and returns its description."""
        rng = np.random.default_rng([self.seed, about["index"]])
        rate = SAMPLE_RATE if self.upsample else NARROW_RATE
        about = {**about, "rate": rate, "telephone": bool(rng.random() < self.telephone)}
        name = f"{about['index']:05d}.s16"
        path = os.path.join(self.out, "pcm", name)
        if not os.path.exists(path):
            samples = narrowed(rng, np.fromfile(os.path.join(self.source, "pcm", name), "<i2"), about["telephone"])
            if self.upsample:
                samples = in_16_bits(at_double_rate(samples.astype(np.float64)))
            samples.tofile(path + ".part")
            os.replace(path + ".part", path)
        return about


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--split", required=True)
    parser.add_argument("--telephone", type=float, default=0.5, help="share of sessions as on a telephone")
    parser.add_argument("--upsample", action="store_true", help="write 16000 Hz again")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=1)
    args = parser.parse_args()
    source, out = os.path.join(args.data, args.split), os.path.join(args.out, args.split)
    os.makedirs(os.path.join(out, "pcm"), exist_ok=True)
    labels = os.path.join(out, "labels")
    if not os.path.islink(labels):
        os.symlink(os.path.abspath(os.path.join(source, "labels")), labels)
    with open(os.path.join(source, "sessions.jsonl"), encoding="utf-8") as handle:
        lines = [json.loads(line) for line in handle]
    with multiprocessing.Pool(args.jobs) as pool:
        lines = pool.map(Narrower(source, out, args.telephone, args.seed, args.upsample), lines, chunksize=4)
    with open(os.path.join(out, "sessions.jsonl"), "w", encoding="utf-8") as handle:
        handle.writelines(json.dumps(line) + "\n" for line in lines)
    with open(os.path.join(out, "sessions.txt"), "w", encoding="utf-8") as handle:
        handle.writelines(os.path.abspath(os.path.join(out, "pcm", f"{line['index']:05d}.s16")) + "\n" for line in lines)


if __name__ == "__main__":
    main()
