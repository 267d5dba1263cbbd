#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""moved_edges.py PROGRAM OTHER FOLDER [MODEL...]: how often a sentence begins or ends elsewhere with another build of the program.

Both find the sentences of all recordings below FOLDER, with each MODEL (the three for 16000 Hz unless named). A sentence
of one that overlaps a sentence of the other most, and the other way round, is the same; what is left over is in one of the two only. Prints a row
of a table for each model: sentences, edges moved by 10 ms, by up to 100 ms, by more, and sentences that only one of the two has."""
import collections
import csv
import io
import subprocess
import sys

MODELS = ("dnn_fb75", "lstm_fb40", "lstm_fb75")


def sentences_of(program, folder, model):
    """{recording: [(begin, end) in hundredths of a second]}"""
    command = [program, "segment", "-q", "--bare", "-f", "csv", "-r", "-m", model, folder]
    # A file that is no recording is told by the exit code; both programs skip it. Of a run that was refused nothing is said, not even the heading.
    text = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False).stdout
    if not text:
        sys.exit(f"{program}: nothing came of {model} and {folder}")
    found = collections.defaultdict(list)
    for row in csv.DictReader(io.StringIO(text)):
        if row["begin"]:
            found[row["file"]].append((round(float(row["begin"]) * 100), round(float(row["end"]) * 100)))
    return found


def overlap(a, b):
    return min(a[1], b[1]) - max(a[0], b[0])


def best(sentence, others):
    """The place of the one that overlaps `sentence` most, or None."""
    at = max(range(len(others)), key=lambda i: overlap(sentence, others[i]), default=None)
    return at if at is not None and overlap(sentence, others[at]) > 0 else None


def compare(first, second):
    """(moves of the edges of the same sentences, sentences in one only)"""
    moves, pairs = [], 0
    for i, sentence in enumerate(first):
        at = best(sentence, second)
        if at is not None and best(second[at], first) == i:
            pairs += 1
            moves += [abs(sentence[0] - second[at][0]), abs(sentence[1] - second[at][1])]
    return moves, len(first) + len(second) - 2 * pairs


def row_of(program, other, folder, model):
    first, second = sentences_of(program, folder, model), sentences_of(other, folder, model)
    moves, alone, changed = [], 0, 0
    for recording in sorted(set(first) | set(second)):
        of_recording, of_one = compare(first[recording], second[recording])
        moves += of_recording
        alone += of_one
        changed += any(of_recording) or of_one > 0
    counts = [sum(low <= move <= high for move in moves) for low, high in ((1, 1), (2, 10), (11, 10**9))]
    return [model, len(set(first) | set(second)), sum(map(len, first.values())), len(moves), *counts, alone, changed]


def main():
    program, other, folder, *models = sys.argv[1:]
    print("| model | recordings with sentences | sentences | edges compared | moved 10 ms | up to 100 ms | more | sentences in one only | recordings "
          "with a difference |")
    print("|---|---|---|---|---|---|---|---|---|")
    for model in models or MODELS:
        print("| " + " | ".join(map(str, row_of(program, other, folder, model))) + " |", flush=True)


if __name__ == "__main__":
    main()
