# SPDX-License-Identifier: Apache-2.0
"""Makes the model folder that `wvad model pack` turns into a "dnn_fb75" model file.

    export_dnn.py --network OUT/network.npz --data DIR --out MODELDIR

Chooses the shifts, makes sure that no input can make a sum wrap, and moves the output bias so that the best balance of misses and false
alarms on DIR/valid falls at a speech probability of 0.7, the engine's default threshold.
"""

import argparse
import json
import os

import numpy as np

from quantised_dnn import CONTEXT, INPUT_SHIFT, Counts, Network, Shifts, forward, input_bound, splice
from metrics import best_balance

FIRST_BIAS_SHIFT = 16
THRESHOLD = 0.7


def choose_first_shift(weight, bound):
    """The most fraction bits with which no input can make a sum of the first layer leave 32 bits."""
    reach = (np.abs(weight) @ np.tile(bound, CONTEXT)).max()
    for shift in range(14, 5, -1):
        if (reach + CONTEXT * 75 * bound.max() * 2.0 ** (-shift - 1)) * 2.0 ** (shift + INPUT_SHIFT) < 2.0**31 and \
                np.abs(weight).max() * 2.0**shift < 32767:
            return shift
    raise SystemExit("the first layer's weights are too large")


def hold_rows(weights, bias, weight_shift, sum_shift, room=0.0):
    """Shrinks rows of an 8-bit layer until the exact integer sums fit 16 bits for all activations from 0 to 1, with a bias moved by up to
    `room` either way."""
    weights = np.clip(weights, -128 / 2.0**weight_shift, 127 / 2.0**weight_shift).astype(np.float64)
    one = 1 << (sum_shift - weight_shift)
    for _ in range(200):
        w = np.trunc(weights * 2.0**weight_shift + np.where(weights >= 0, 0.5, -0.5))
        b = np.round(bias * 2.0**sum_shift)
        extra = room * 2.0**sum_shift
        high = one * np.maximum(w, 0).sum(axis=1)
        low = one * np.minimum(w, 0).sum(axis=1)
        over = np.maximum(high, high + b + extra) > 32767
        under = np.minimum(low, low + b - extra) < -32768
        if not (over.any() or under.any()):
            return weights.astype(np.float32)
        weights = np.where((weights > 0) & over[:, None] | (weights < 0) & under[:, None], weights * 0.99, weights)
    raise SystemExit("an 8-bit layer cannot be held in its range")


def validation_blocks(folder, stride):
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for line in handle:
            name = f"{json.loads(line)['index']:05d}.npy"
            frames = np.load(os.path.join(folder, "feat", name)).astype(np.float32)
            if len(frames):
                hops = np.load(os.path.join(folder, "labels", name))[:len(frames)]
                yield splice(frames)[::stride], hops[::stride]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--network", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--threshold-shift", type=float, default=0.0,
                        help="moves the score at which the threshold falls: above 0, more false alarms and fewer misses")
    parser.add_argument("--comment", default="", help="kept in model.json, not in the model file")
    args = parser.parse_args()
    stored = np.load(args.network)
    n = sum(1 for name in stored.files if name.startswith("weight") and name[6:].isdigit())
    weights = [stored[f"weight{i}"] for i in range(n)]
    biases = [stored[f"bias{i}"].copy() for i in range(n)]
    weight_shift, sum_shift = int(stored["weight_shift"]), int(stored["sum_shift"])
    mean, inv_std = stored["mean"], stored["inv_std"]
    first = choose_first_shift(weights[0], input_bound(mean, inv_std))
    shifts = Shifts([first] + [weight_shift] * (n - 1), [FIRST_BIAS_SHIFT] + [sum_shift] * (n - 1))
    for i in range(1, n):
        weights[i] = hold_rows(weights[i], biases[i], weight_shift, sum_shift, room=2.0 if i == n - 1 else 0.0)

    def build():
        return Network(weights, biases, mean, inv_std, stored["prior"], shifts)

    network = build()
    scores, labels, frame_weights = [], [], []
    for blocks, hops in validation_blocks(os.path.join(args.data, "valid"), 2):
        pairs = forward(network, blocks).astype(np.float64)
        scores.append(np.log(np.maximum(pairs[:, 0], 1e-9)) - np.log(np.maximum(pairs[:, 1], 1e-9)))
        labels.append(hops[:, 0])
        frame_weights.append(hops[:, 1].astype(np.float64))
    scores, labels, frame_weights = map(np.concatenate, (scores, labels, frame_weights))
    best, error = best_balance(scores[frame_weights > 0], labels[frame_weights > 0], frame_weights[frame_weights > 0])
    move = np.log(THRESHOLD / (1.0 - THRESHOLD)) - (best - args.threshold_shift)
    biases[-1] = biases[-1] + np.float32([move / 2, -move / 2])
    network = build()
    counts = Counts()
    for blocks, _ in validation_blocks(os.path.join(args.data, "valid"), 8):
        forward(network, blocks, counts)
    print(f"first layer: weights in Q{first}; best score {best:.3f}, balanced error {error:.4f}, output moved by {move:.3f}")
    print(f"clipped weights {network.clipped_weights()}, worst case of any input {[round(s, 3) for s in network.worst_case()]}")
    print(f"on {counts.frames} frames: wraps {counts.wraps()}, greatest sums {[round(s, 3) for s in counts.greatest_sum]}")
    if counts.wraps() or max(network.worst_case()) >= 1.0:
        raise SystemExit("a sum can wrap")

    os.makedirs(args.out, exist_ok=True)
    variables = []

    def store(name, array, shift):
        array = np.ascontiguousarray(array, np.float32)
        array = array.reshape(-1, 1) if array.ndim == 1 else array
        np.save(os.path.join(args.out, f"{name}.npy"), array)
        variables.append({"name": name, "shift": shift})

    store("mean", mean, 0)
    store("var", inv_std, 0)
    store("pri", stored["prior"], 0)
    for i in range(n):
        store(f"weights{i + 1}{i + 2}", weights[i], shifts.weights[i])
        store(f"bias{i + 2}", biases[i], shifts.bias[i])
    description = {
        "network_type": "MLP_RES_DNN",
        "comment": args.comment,
        # Mean removal, recurrent network, model type, padding frames, sample rate, gain control, reading of the gain-controlled side.
        "keys": [["0", "1"], ["1", "0"], ["2", "dnn_fb75"], ["3", "32"], ["4", "16000"], ["5", "0"], ["6", "0"]],
        "variables": variables,
    }
    with open(os.path.join(args.out, "model.json"), "w", encoding="utf-8") as handle:
        json.dump(description, handle, indent=1)


if __name__ == "__main__":
    main()
