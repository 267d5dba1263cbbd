# SPDX-License-Identifier: Apache-2.0
"""The recordings that models are watched on while they train and judged on; training sets leave them out.

    judged_sets.py --corpus DIR --out DIR [--cache DIR]

Writes OUT/judged like a split of mix_sessions.py, so that the same tools read it: pcm, labels, sessions.txt, sessions.jsonl with `group`, and with `heard`
where training hears the same speaker, or the very reading, in another file. Such a recording helps to choose among the states of a network and to set its
operating point, and counts in no figure that tells how good a model is.

Groups, those with marks by people first:
    meeting            distant microphone, turns marked by people
    call               a call whose two channels were labelled apart
    natural            long recordings with pauses (joined labels of two detectors)
    natural at N dB    the same with noises of the split "valid" behind, labels of the clean ones
    languages          speech of the split "valid", and speech that licences keep out of training
    noise, music       nothing but that, of the split "valid" and what licences keep out of training, by kind in `detail`
"""

import argparse
import json
import os
import re

import numpy as np

from audio_corpus import CERTAIN, EXCLUDED_LICENCES, HOP, SAMPLE_RATE, Corpus, mask_to_hops, spans_to_mask
from background_sound import SUNG, VOICES
from signal_tools import db, rms

SNRS_DB = (10, 0)
MOST_LANGUAGE_FILES = 90
ACTED = r"^acted\b"
LONGEST = 60 * SAMPLE_RATE  # of one recording of noise or of a language


def labels_of(corpus, recording, n):
    """Rows of label, weight and log-odds. Marks by people carry no log-odds of their own."""
    hops = n // HOP
    hard = mask_to_hops(spans_to_mask(corpus.speech_spans(recording), hops * HOP))
    log_odds = np.where(hard == 1, CERTAIN, -CERTAIN)
    if corpus.has_log_odds(recording):
        log_odds, _ = corpus.log_odds(recording, hops)
    return np.stack([hard, np.full(hops, 100), np.round(10 * log_odds)], axis=1).astype(np.int16)


def silent_rows(n):
    hops = n // HOP
    return np.stack([np.zeros(hops), np.full(hops, 100), np.full(hops, -10 * CERTAIN)], axis=1).astype(np.int16)


def without_hidden(corpus, recording, rows):
    """No weight where a voice was found in a file of noise."""
    for start, end in corpus.hidden_speech.get(recording.path, []):
        rows[start // HOP:-(-end // HOP), 1] = 0
    return rows


def mixed(clean, hard, noise, snr_db):
    """Clean speech with looped noise; the ratio is that of the labelled speech to the noise."""
    mask = np.repeat(hard == 1, HOP)
    n = min(len(mask), len(clean))
    speech = rms(clean[:n][mask[:n]].astype(np.float64)) if mask.any() else rms(clean.astype(np.float64))
    noise = np.resize(noise.astype(np.float64), len(clean))
    noise *= speech * db(-snr_db) / max(rms(noise), 1.0)
    return np.clip(np.round(clean + noise), -32768, 32767).astype(np.int16)


def unheard(corpus, category):
    """Recordings that no training hears: of the split "valid", or under a licence that keeps them out."""
    return [r for r in corpus.recordings if r.category == category
            and (r.split == "valid" or re.search(EXCLUDED_LICENCES, r.licence))]


def heard_voices(corpus):
    """The speakers, or groups of them, that training hears."""
    return {r.speaker for r in corpus.recordings if r.category in ("speech", "conversation") and r.split == "train"
            and not re.search(EXCLUDED_LICENCES, r.licence)}


def speech_items(corpus):
    """(group, name, samples, rows, detail) of all recordings with speech and a background of their own."""
    groups = [("meeting", [r for r in corpus.recordings if r.category == "meeting"]),
              ("call", [r for r in unheard(corpus, "conversation") if r.label_quality == "good"]),
              ("natural", [r for r in corpus.recordings if r.category == "natural"])]
    spoken = sorted((r for r in unheard(corpus, "speech") if r.label_quality in ("good", "fair") and corpus.has_log_odds(r)),
                    key=lambda r: (r.row.get("language") or "", r.path))
    groups.append(("languages", spoken[::max(1, len(spoken) // MOST_LANGUAGE_FILES)]))
    for group, recordings in groups:
        for recording in recordings:
            samples = np.array(corpus.samples(recording))
            yield group, recording, samples, labels_of(corpus, recording, len(samples)), recording.row.get("language") or ""


def noise_items(corpus):
    for category in ("noise", "music"):
        for recording in unheard(corpus, category):
            if recording.subcategory == SUNG or any(word in recording.subcategory for word in VOICES) or recording.seconds < 2.0:
                continue
            samples = np.array(corpus.samples(recording))[:LONGEST]
            yield category, recording, samples, without_hidden(corpus, recording, silent_rows(len(samples))), recording.subcategory


def part_of(group, recording):
    """The part of a group that is also looked at apart: voices of games are shouted, acted or disguised, and unlike what the rest of "languages" holds."""
    if group != "languages":
        return ""
    return "game voices" if re.search(ACTED, recording.subcategory) else "other voices"


class Writer:
    def __init__(self, folder):
        self.folder, self.lines = folder, []
        for name in ("pcm", "labels"):
            os.makedirs(os.path.join(folder, name), exist_ok=True)

    def add(self, group, path, samples, rows, detail, part="", heard=False):
        index = len(self.lines)
        samples.astype("<i2").tofile(os.path.join(self.folder, "pcm", f"{index:05d}.s16"))
        np.save(os.path.join(self.folder, "labels", f"{index:05d}.npy"), rows)
        self.lines.append({"index": index, "group": group, "name": os.path.splitext(path)[0], "detail": detail,
                           "seconds": round(len(samples) / SAMPLE_RATE, 2), **({"part": part} if part else {}), **({"heard": True} if heard else {})})

    def close(self):
        with open(os.path.join(self.folder, "sessions.jsonl"), "w", encoding="utf-8") as handle:
            handle.writelines(json.dumps(line) + "\n" for line in self.lines)
        with open(os.path.join(self.folder, "sessions.txt"), "w", encoding="utf-8") as handle:
            handle.writelines(os.path.abspath(os.path.join(self.folder, "pcm", f"{line['index']:05d}.s16")) + "\n" for line in self.lines)


def build(corpus, folder):
    noises = [item for item in noise_items(corpus) if item[0] == "noise" and item[1].split == "valid" and len(item[2]) >= 5 * SAMPLE_RATE]
    if not noises and any(r.category == "natural" for r in corpus.recordings):
        raise SystemExit("natural recordings are judged with noise behind them, and the corpus has no noise of the split \"valid\" that takes 5 s or more")
    writer, voices = Writer(folder), heard_voices(corpus)
    at = 0
    for group, recording, samples, rows, detail in speech_items(corpus):
        heard = recording.speaker in voices
        writer.add(group, recording.path, samples, rows, detail, part_of(group, recording), heard)
        if group == "natural":
            for snr_db in SNRS_DB:
                for _ in range(2):
                    noise = noises[at % len(noises)]
                    at += 5  # neighbours in the list are of one kind
                    writer.add(f"natural at {snr_db} dB", recording.path, mixed(samples, rows[:, 0], noise[2], snr_db), rows, noise[4], heard=heard)
    for group, recording, samples, rows, detail in noise_items(corpus):
        writer.add(group, recording.path, samples, rows, detail)
    writer.close()
    return writer.lines


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--corpus", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--cache", help="folder for decoded audio (default: OUT/cache)")
    args = parser.parse_args()
    corpus = Corpus(args.corpus, args.cache or os.path.join(args.out, "cache"), exclude_licence=None)
    hours = {}
    for line in build(corpus, os.path.join(args.out, "judged")):
        hours[line["group"]] = hours.get(line["group"], 0.0) + line["seconds"] / 3600.0
    for group, total in hours.items():
        print(f"{group:20} {total:6.2f} h")


if __name__ == "__main__":
    main()
