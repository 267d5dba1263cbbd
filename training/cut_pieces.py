# SPDX-License-Identifier: Apache-2.0
"""Cuts mixed sessions into short ones: clips of a few words, which begin and end anywhere.

    cut_pieces.py --data DIR --out OUT --hours 10 [--seed 6]

Reads DIR/train (mix_sessions.py) and writes OUT/train the same way. Pieces last 3 to 8 s and lie 2 to 15 s apart in sessions drawn without order, the
first within 3 s of the session's begin. A piece of a session with speech that holds none of it is left out: recordings without speech
are many as it is. What two_way_teacher.py says of the whole session is cut with it, so that a teacher knows what came before. Each line of sessions.jsonl tells the session
(`cut_from`) and the frame (`cut_at`) where its piece begins.
"""

import argparse
import json
import os

import numpy as np

from audio_corpus import HOP

FRAMES_AN_HOUR = 360000
SHORTEST, LONGEST = 300, 800  # frames of 10 ms
FIRST_WITHIN = 300
LEAST_APART, MOST_APART = 200, 1500


def places(rng, labels, frames):
    """(first frame, frames) of each piece of a session that has `frames` whole hops; `labels`: of each hop, whether it is speech."""
    spoken = labels.any()
    at = int(rng.integers(0, FIRST_WITHIN))
    while at + SHORTEST <= frames:
        length = min(int(rng.integers(SHORTEST, LONGEST)), frames - at)
        if not spoken or labels[at:at + length].any():
            yield at, length
        at += length + int(rng.integers(LEAST_APART, MOST_APART))


def cut_taught(said, at, length):
    """What a teacher said of a piece; it hears whole blocks, so the last frames of a session may have its last word."""
    piece = said[at:at + length]
    return np.pad(piece, (0, length - len(piece)), mode="edge")


class Pieces:
    """The folder that is written."""

    def __init__(self, folder):
        self.folder, self.lines, self.frames = folder, [], 0
        for name in ("pcm", "labels", "taught"):
            os.makedirs(os.path.join(folder, name), exist_ok=True)

    def path(self, sub, suffix):
        return os.path.join(self.folder, sub, f"{len(self.lines):05d}{suffix}")

    def add(self, about, at, samples, rows, said):
        samples.tofile(self.path("pcm", ".s16"))
        np.save(self.path("labels", ".npy"), rows)
        if said is not None:
            np.save(self.path("taught", ".npy"), said)
        self.frames += len(rows)
        self.lines.append({**about, "index": len(self.lines), "seconds": len(rows) / 100.0, "cut_from": about["index"], "cut_at": at})

    def finish(self):
        with open(os.path.join(self.folder, "sessions.jsonl"), "w", encoding="utf-8") as handle:
            handle.writelines(json.dumps(line) + "\n" for line in self.lines)
        with open(os.path.join(self.folder, "sessions.txt"), "w", encoding="utf-8") as handle:
            handle.writelines(os.path.abspath(os.path.join(self.folder, "pcm", f"{line['index']:05d}.s16")) + "\n" for line in self.lines)


def cut(source, out, hours, seed):
    """Pieces until there are `hours` of them, whole sessions at a time; fewer where the sessions hold no more."""
    with open(os.path.join(source, "sessions.jsonl"), encoding="utf-8") as handle:
        sessions = [json.loads(line) for line in handle]
    rng = np.random.default_rng(seed)
    pieces = Pieces(out)
    for about in (sessions[k] for k in rng.permutation(len(sessions))):
        name = f"{about['index']:05d}"
        rows = np.load(os.path.join(source, "labels", name + ".npy"))
        samples = np.fromfile(os.path.join(source, "pcm", name + ".s16"), "<i2")
        taught = os.path.join(source, "taught", name + ".npy")
        said = np.load(taught) if os.path.exists(taught) else None
        for at, length in places(rng, rows[:, 0], min(len(rows), len(samples) // HOP)):
            pieces.add(about, at, samples[at * HOP:(at + length) * HOP], rows[at:at + length], None if said is None else cut_taught(said, at, length))
        if pieces.frames > hours * FRAMES_AN_HOUR:
            break
    pieces.finish()
    return pieces


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--hours", type=float, required=True)
    parser.add_argument("--seed", type=int, default=6)
    args = parser.parse_args()
    pieces = cut(os.path.join(args.data, "train"), os.path.join(args.out, "train"), args.hours, args.seed)
    print(f"{len(pieces.lines)} pieces, {pieces.frames / FRAMES_AN_HOUR:.2f} h")


if __name__ == "__main__":
    main()
