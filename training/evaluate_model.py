# SPDX-License-Identifier: Apache-2.0
"""Judges a model file of any of the three kinds: what it finds, what it misses, and that none of its sums wraps.

    evaluate_model.py --model FILE --blocks PATH/wvad-blocks --corpus DIR --data DIR --work DIR [--json FILE]

Sets: the mixed sessions of DIR/valid; the corpus's natural recordings and clean sentences (categories "natural" and "speech-sample"); the same
mixed with its noise samples at 20, 10, 5 and 0 dB; and the noise samples alone. Scores are the engine's own (wvad-blocks --scores); the
integer reference runs on the same frames, must agree with them, and counts wraps.

With --wvad PROGRAM the sample sets also go through `wvad segment`, and what counts is sentences: how much of the labelled speech lies inside
one, how many utterances (labels joined over pauses below 0.4 s) are missed altogether, and how many sentences hold no labelled speech.

A frame counts as speech if its probability reaches 0.7. "held" applies the engine's next two rules as well: frames below the energy floor
are silence, and so are the first two frames after a silent one.
"""

import argparse
import json
import os
import shutil
import subprocess
import wave

import numpy as np

from audio_corpus import HOP, SAMPLE_RATE, Corpus, mask_to_hops, read_audio, read_label_file, spans_to_mask
from metrics import roc_auc
from mix_sessions import db, rms
from model_file import ModelFile, read_network
import quantised_dnn
import quantised_lstm

THRESHOLD = 0.7
ENERGY_FLOOR = 16.0
SNRS_DB = (20, 10, 5, 0)


def frame_energies(samples, n_frames):
    """ln of the energy of each frame of 400 samples about its mean; 0 for an all-zero frame."""
    windows = np.lib.stride_tricks.sliding_window_view(samples.astype(np.float32), 400)[::HOP][:n_frames]
    energy = np.square(windows - windows.mean(axis=1, keepdims=True)).sum(axis=1)
    return np.where(energy > 0, np.log(np.maximum(energy, 1e-30)), 0.0)


def held_decisions(speech_probability, energies):
    """Speech after the hold-over and the energy floor."""
    out = np.zeros(len(speech_probability), bool)
    hold = 0
    for i, (p, e) in enumerate(zip(speech_probability, energies)):
        positive = p - (1.0 - p) >= 2 * THRESHOLD - 1
        if not positive:
            hold = 2
        elif hold:
            hold -= 1
            positive = False
        if e < ENERGY_FLOOR:
            positive, hold = False, 2
        out[i] = positive
    return out


def load(path):
    return np.fromfile(path, np.int16) if path.endswith(".s16") else read_audio(path)


class Tally:
    """Frames of one set."""

    def __init__(self):
        self.scores, self.labels, self.weights, self.held = [], [], [], []

    def add(self, pairs, labels, weights, held):
        n = min(len(pairs), len(labels))
        self.scores.append(pairs[:n, 0])
        self.labels.append(labels[:n])
        self.weights.append(weights[:n])
        self.held.append(held[:n])

    def summary(self):
        scores, labels, weights, held = (np.concatenate(x) for x in (self.scores, self.labels, self.weights, self.held))
        used = weights > 0
        scores, labels, held = scores[used], labels[used] == 1, held[used]
        found = scores >= np.float32(THRESHOLD)

        def share(flags, where):
            return round(float(flags[where].mean()), 4) if where.any() else None

        return {"hours": round(len(scores) / 360000.0, 3), "speech": round(float(labels.mean()), 3),
                "error": round(float((found != labels).mean()), 4), "miss": share(~found, labels), "false_alarm": share(found, ~labels),
                "held_error": round(float((held != labels).mean()), 4), "held_miss": share(~held, labels),
                "held_false_alarm": share(held, ~labels),
                "auc": round(roc_auc(scores, labels), 4) if labels.any() and not labels.all() else None}


def mixed(clean, labels, noise, snr_db):
    """Clean speech with looped noise; the ratio is that of the labelled speech to the noise."""
    mask = np.repeat(labels == 1, HOP)
    speech = rms(clean[:len(mask)][mask[:len(clean)]].astype(np.float64)) if mask.any() else rms(clean.astype(np.float64))
    noise = np.resize(noise.astype(np.float64), len(clean))
    noise *= speech * db(-snr_db) / max(rms(noise), 1.0)
    return np.clip(np.round(clean + noise), -32768, 32767).astype(np.int16)


def put(folder, group, name, samples):
    path = os.path.join(folder, f"{group}__{name}.wav".replace(" ", "_"))
    with wave.open(path, "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(SAMPLE_RATE)
        out.writeframes(samples.astype(np.int16).tobytes())
    return path


def build_extremes(folder):
    """Audio that asks most of the arithmetic."""
    os.makedirs(folder, exist_ok=True)
    rng = np.random.default_rng(3)
    n = 6 * SAMPLE_RATE
    t = np.arange(n)
    sounds = {"noise": rng.integers(-32768, 32768, n), "clicks": np.where(t % 3200 == 0, 32767, 0),
              "alternating": np.where(t % 2 == 0, 32767, -32768), "constant": np.full(n, -32768)}
    for hertz in (50, 440, 3900):
        sounds[f"square {hertz}"] = np.where(np.sin(2 * np.pi * hertz * t / SAMPLE_RATE) >= 0, 32767, -32768)
    half = t // (SAMPLE_RATE // 2) % 2 == 0
    for name in list(sounds):
        sounds[f"bursts of {name}"] = np.where(half, 0, sounds[name])
    return [put(folder, "extreme", name, samples) for name, samples in sounds.items()]


def build_sets(corpus, folder):
    """Writes all sample sets as WAV files; a list of (set, name, labels)."""
    os.makedirs(folder, exist_ok=True)
    items = []

    def add(group, name, samples, labels):
        items.append((group, put(folder, group, name, samples), labels))

    noises = [(os.path.splitext(os.path.basename(r.path))[0], np.array(corpus.samples(r)), r)
              for r in corpus.recordings if r.category == "noise-sample"]
    for name, samples, recording in noises:
        if "voices" not in recording.subcategory:
            add("noise alone", name, samples, np.zeros(len(samples) // HOP, np.uint8))
    at = 0
    for category in ("natural", "speech-sample"):
        group = "natural" if category == "natural" else "clean"
        for recording in (r for r in corpus.recordings if r.category == category):
            samples = np.array(corpus.samples(recording))
            spans = read_label_file(os.path.join(corpus.root, recording.label))
            labels = mask_to_hops(spans_to_mask(spans, len(samples)))
            name = os.path.splitext(os.path.basename(recording.path))[0]
            add(group, name, samples, labels)
            for snr_db in SNRS_DB:
                for _ in range(2 if category == "natural" else 1):
                    noise_name, noise, _ = noises[at % len(noises)]
                    at += 1
                    add(f"{group} at {snr_db} dB", f"{name}__{noise_name}", mixed(samples, labels, noise, snr_db), labels)
    return items


def utterances(labels, pause_hops=40):
    """Runs of speech as (first, past the last) hop, joined over short pauses; those of less than 0.2 s left out."""
    edges = np.flatnonzero(np.diff(np.concatenate([[0], labels.astype(np.int8), [0]])))
    runs = []
    for first, past in zip(edges[::2], edges[1::2]):
        if runs and first - runs[-1][1] < pause_hops:
            runs[-1][1] = past
        else:
            runs.append([first, past])
    return [(first, past) for first, past in runs if past - first >= 20]


def judge_sentences(program, model, items):
    """Per set: what `wvad segment` made of its recordings."""
    sets = {}
    for group, path, labels in items:
        run = subprocess.run([program, "segment", "--quiet", "--format", "json", "--model", model, path], check=True, capture_output=True)
        found = np.zeros(len(labels), bool)
        row = sets.setdefault(group, {"minutes": 0.0, "speech_hops": 0, "found_hops": 0, "utterances": 0, "missed": 0, "sentences": 0, "empty": 0})
        for sentence in json.loads(run.stdout)["files"][0]["sentences"]:
            first, past = int(sentence["begin"] * 100), int(round(sentence["end"] * 100))
            found[first:past] = True
            row["sentences"] += 1
            row["empty"] += not labels[first:past].any()
        row["minutes"] += len(labels) / 6000.0
        row["speech_hops"] += int(labels.sum())
        row["found_hops"] += int((found & (labels == 1)).sum())
        for first, past in utterances(labels):
            row["utterances"] += 1
            row["missed"] += not found[first:past].any()
    for row in sets.values():
        speech, inside = row.pop("speech_hops"), row.pop("found_hops")
        row["minutes"] = round(row["minutes"], 2)
        row["speech_inside"] = round(inside / speech, 4) if speech else None
    return sets


def run_blocks(program, out, paths, *options):
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    with open(os.path.join(out, "list.txt"), "w", encoding="utf-8") as handle:
        handle.write("\n".join(paths) + "\n")
    subprocess.run([program, "--out", out, "--list", os.path.join(out, "list.txt"), "--jobs", "2", *options], check=True)


class DnnReference:
    """Compares pairs with the integers of a feed-forward network."""

    def __init__(self, network):
        self.network, self.counts = network, quantised_dnn.Counts()
        self.options = ["--centre"]

    def pairs(self, sessions):
        return [quantised_dnn.session_pairs(self.network, x, self.counts) for x in sessions]

    def summary(self):
        return {"frames": self.counts.frames, "wraps": self.counts.wraps(), "greatest_sums": [round(x, 4) for x in self.counts.greatest_sum],
                "worst_case_of_any_input": [round(x, 4) for x in self.network.worst_case()],
                "clipped_weights": self.network.clipped_weights()}


class LstmReference:
    """Compares pairs with the integers of a recurrent network."""

    def __init__(self, network, priming_frames):
        self.network, self.counts, self.priming = network, quantised_lstm.Counts(), priming_frames // quantised_lstm.STACKED
        self.options = ["--model", network.kind]

    def pairs(self, sessions):
        return quantised_lstm.run_sessions(self.network, sessions, self.counts, self.priming)

    def summary(self):
        form = quantised_lstm.form_of(self.network)
        return {"steps": self.counts.steps, "wraps": self.counts.wraps(), "wrapped": self.counts.wrapped, "clipped": self.counts.clipped,
                "greatest_shares": {place: round(share, 4) for place, share in self.counts.greatest.items()},
                "clipped_weights": form.clipped_weights(), "products_that_can_clip": form.saturating()}


def reference_of(path):
    network, file = read_network(path), ModelFile(path)
    return DnnReference(network) if file.kind == "dnn_fb75" else LstmReference(network, int(file.keys["3"]))


def load_pairs(path):
    """Pairs of the engine, not-a-number taken as silence, and how many of those there were."""
    pairs = np.load(path)
    broken = ~np.isfinite(pairs).all(axis=1)
    pairs[broken] = [0.0, 1.0]
    return pairs, int(broken.sum())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--model", required=True)
    parser.add_argument("--blocks", required=True, help="the program wvad-blocks")
    parser.add_argument("--corpus", required=True)
    parser.add_argument("--data", required=True, help="folder of mix_sessions.py, for its split 'valid'")
    parser.add_argument("--work", required=True)
    parser.add_argument("--wvad", help="the program wvad, to judge sentences as well")
    parser.add_argument("--json")
    parser.add_argument("--files", action="store_true", help="one line for each natural recording as well")
    args = parser.parse_args()

    reference = reference_of(args.model)
    corpus = Corpus(args.corpus, os.path.join(args.work, "cache"), exclude_licence=None)
    items = build_sets(corpus, os.path.join(args.work, "audio"))
    samples_only = list(items)
    folder = os.path.join(args.data, "valid")
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for about in map(json.loads, handle):
            name = f"{about['index']:05d}"
            rows = np.load(os.path.join(folder, "labels", name + ".npy"))
            items.append((about, os.path.join(folder, "pcm", name + ".s16"), rows))

    paths = [path for _, path, _ in items]
    everything = paths + build_extremes(os.path.join(args.work, "audio"))
    scores, frames = os.path.join(args.work, "scores"), os.path.join(args.work, "frames")
    run_blocks(args.blocks, scores, everything, "--scores", args.model)
    run_blocks(args.blocks, frames, everything, *reference.options)

    def array_of(folder, path):
        return os.path.join(folder, os.path.splitext(os.path.basename(path))[0] + ".npy")

    difference, not_a_number = 0.0, 0
    for first in range(0, len(everything), 256):
        part = everything[first:first + 256]
        for path, expected in zip(part, reference.pairs([np.load(array_of(frames, path)) for path in part])):
            pairs, broken = load_pairs(array_of(scores, path))
            not_a_number += broken
            if not 0 <= len(pairs) - len(expected) <= 8:
                raise SystemExit(f"{path}: {len(pairs)} pairs from the engine, {len(expected)} from the reference")
            difference = max(difference, float(np.abs(expected - pairs[:len(expected)]).max(initial=0.0)))

    tallies, per_file = {}, {}
    for group, path, labels in items:
        name = os.path.splitext(os.path.basename(path))[0] + ".npy"
        pairs, _ = load_pairs(os.path.join(scores, name))
        if not len(pairs):
            continue
        weights = np.full(len(labels), 100)
        if isinstance(group, dict):
            labels, weights = labels[:, 0], labels[:, 1]
            about, group = group, ["mixed"]
            group.append(f"mixed: {about['kind']}")
            if about["kind"] == "speech":
                if "snr_db" not in about:
                    group.append("mixed: speech, no noise")
                else:
                    low = int(np.floor(about["snr_db"] / 5.0) * 5)
                    group.append(f"mixed: speech, {low} to {low + 5} dB")
                group.append("mixed: speech, room" if "room" in about else "mixed: speech, dry")
                if about.get("band", [0, 8000])[1] < 4000:
                    group.append("mixed: speech, telephone band")
        else:
            group = [group]
        held = held_decisions(pairs[:, 0], frame_energies(load(path), len(pairs)))
        for key in group:
            tallies.setdefault(key, Tally()).add(pairs, labels, weights, held)
        if group == ["natural"]:
            per_file.setdefault(name[:-4], Tally()).add(pairs, labels, weights, held)

    result = {"model": os.path.basename(args.model), "sets": {k: t.summary() for k, t in tallies.items()},
              "files": {k: t.summary() for k, t in per_file.items()},
              "arithmetic": {**reference.summary(), "greatest_difference_to_engine": difference, "pairs_not_a_number": not_a_number}}
    print(f"{'set':34} {'hours':>6} {'speech':>6}   {'error':>6} {'miss':>6} {'alarm':>6}   {'held error, miss, alarm':>24} {'auc':>7}")

    def order(key):
        return (key.startswith("mixed"), ":" in key)

    def show(name, row):
        cells = [row[k] for k in ("error", "miss", "false_alarm", "held_error", "held_miss", "held_false_alarm")]
        text = ["     -" if c is None else f"{100 * c:5.1f}%" for c in cells]
        print(f"{name:34} {row['hours']:6.2f} {row['speech']:6.2f}   {' '.join(text[:3])}     {' '.join(text[3:])}   "
              f"{'-' if row['auc'] is None else row['auc']:>7}")

    for key in sorted(result["sets"], key=order):
        show(key, result["sets"][key])
    if args.files:
        for key, row in result["files"].items():
            show(key, row)
    print("arithmetic:", json.dumps(result["arithmetic"]))
    if args.wvad:
        result["sentences"] = judge_sentences(args.wvad, args.model, samples_only)
        print(f"{'set':22} {'minutes':>7} {'utterances':>10} {'missed':>6} {'speech inside':>13} {'sentences':>9} {'without speech':>14}")
        for key, row in result["sentences"].items():
            inside = "-" if row["speech_inside"] is None else f"{100 * row['speech_inside']:.1f}%"
            print(f"{key:22} {row['minutes']:7.2f} {row['utterances']:10} {row['missed']:6} {inside:>13} {row['sentences']:9} {row['empty']:14}")
    if args.json:
        with open(args.json, "w", encoding="utf-8") as handle:
            json.dump(result, handle, indent=1)
    # Scores may differ by the last bits of exp; anything more is a different network.
    if reference.counts.wraps() or difference > 1e-5:
        raise SystemExit("the arithmetic does not hold")


if __name__ == "__main__":
    main()
