# SPDX-License-Identifier: Apache-2.0
"""Makes the model folder that `wvad model pack` turns into a "dnn_fb75" model file.

    export_dnn.py --network OUT/network.npz --data DIR --out MODELDIR

Chooses the shifts, makes sure that no input can make a sum wrap, and moves the output bias so that the best balance of misses and false
alarms on DIR/judged falls at a speech probability of 0.7, the engine's default threshold (operating_point.py).
"""

import argparse
import json
import os

import numpy as np

from quantised_dnn import CONTEXT, INPUT_SHIFT, Counts, Network, Shifts, forward, input_bound, splice
from operating_point import AT_THRESHOLD, best_score, weighted

FIRST_BIAS_SHIFT = 16


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


def sessions_of(folder):
    """Description, frames and label rows of each session."""
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for about in map(json.loads, handle):
            name = f"{about['index']:05d}.npy"
            frames = np.load(os.path.join(folder, "feat", name)).astype(np.float32)
            if len(frames):
                yield about, frames, np.load(os.path.join(folder, "labels", name))[:len(frames)]


class Export:
    """The layers of a trained network on their way to integers."""

    def __init__(self, stored):
        n = sum(1 for name in stored.files if name.startswith("weight") and name[6:].isdigit())
        self.weights, self.biases = [stored[f"weight{i}"] for i in range(n)], [stored[f"bias{i}"].copy() for i in range(n)]
        weight_shift, sum_shift = int(stored["weight_shift"]), int(stored["sum_shift"])
        self.mean, self.inv_std, self.prior = stored["mean"], stored["inv_std"], stored["prior"]
        first = choose_first_shift(self.weights[0], input_bound(self.mean, self.inv_std))
        self.shifts = Shifts([first] + [weight_shift] * (n - 1), [FIRST_BIAS_SHIFT] + [sum_shift] * (n - 1))
        for i in range(1, n):
            self.weights[i] = hold_rows(self.weights[i], self.biases[i], weight_shift, sum_shift, room=2.0 if i == n - 1 else 0.0)

    def network(self):
        return Network(self.weights, self.biases, self.mean, self.inv_std, self.prior, self.shifts)

    def set_operating_point(self, folder):
        network, groups = self.network(), {}
        for about, frames, hops in sessions_of(folder):
            pairs = forward(network, splice(frames)[::2]).astype(np.float64)
            score = np.log(np.maximum(pairs[:, 0], 1e-9)) - np.log(np.maximum(pairs[:, 1], 1e-9))
            score = np.repeat(score, 2)[:len(hops)]  # the engine computes every second frame, and gives the next one the same score
            used = hops[:, 1] > 0
            groups.setdefault(about["group"], []).append((score[used], hops[:, 0][used]))
        score, error = best_score(*weighted({group: tuple(np.concatenate(column) for column in zip(*rows)) for group, rows in groups.items()}))
        move = AT_THRESHOLD - score
        self.biases[-1] = self.biases[-1] + np.float32([move / 2, -move / 2])
        print(f"threshold at score {score:.3f}, balanced error {error:.4f}")

    def check(self, folder):
        network, counts = self.network(), Counts()
        for _, frames, _ in sessions_of(folder):
            forward(network, splice(frames)[::8], counts)
        print(f"first layer: weights in Q{self.shifts.weights[0]}; clipped weights {network.clipped_weights()}, "
              f"worst case of any input {[round(s, 3) for s in network.worst_case()]}")
        print(f"on {counts.frames} frames: wraps {counts.wraps()}, greatest sums {[round(s, 3) for s in counts.greatest_sum]}")
        if counts.wraps() or max(network.worst_case()) >= 1.0:
            raise SystemExit("a sum can wrap")

    def write(self, folder, comment):
        os.makedirs(folder, exist_ok=True)
        variables = []

        def store(name, array, shift):
            array = np.ascontiguousarray(array, np.float32)
            np.save(os.path.join(folder, f"{name}.npy"), array.reshape(-1, 1) if array.ndim == 1 else array)
            variables.append({"name": name, "shift": shift})

        store("mean", self.mean, 0)
        store("var", self.inv_std, 0)
        store("pri", self.prior, 0)
        for i, (weight, bias) in enumerate(zip(self.weights, self.biases)):
            store(f"weights{i + 1}{i + 2}", weight, self.shifts.weights[i])
            store(f"bias{i + 2}", bias, self.shifts.bias[i])
        description = {
            "network_type": "MLP_RES_DNN",
            "comment": comment,
            # Mean removal, recurrent network, model type, padding frames, sample rate, gain control, reading of the gain-controlled side.
            "keys": [["0", "1"], ["1", "0"], ["2", "dnn_fb75"], ["3", "32"], ["4", "16000"], ["5", "0"], ["6", "0"]],
            "variables": variables,
        }
        with open(os.path.join(folder, "model.json"), "w", encoding="utf-8") as handle:
            json.dump(description, handle, indent=1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--network", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--comment", default="", help="kept in model.json, not in the model file")
    args = parser.parse_args()
    export = Export(np.load(args.network))
    export.set_operating_point(os.path.join(args.data, "judged"))
    export.check(os.path.join(args.data, "valid"))
    export.write(args.out, args.comment)


if __name__ == "__main__":
    main()
