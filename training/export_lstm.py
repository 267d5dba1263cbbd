# SPDX-License-Identifier: Apache-2.0
"""Makes the model folder that `wvad model pack` turns into an "lstm_fb40" or "lstm_fb75" model file.

    export_lstm.py --network OUT/network.npz --data DIR --out MODELDIR

Chooses the ranges of the 8-bit form, makes sure that its sums cannot clip and that the 16-bit form wraps nowhere on DIR/valid and keeps a distance
from that, and moves the output bias so that the best balance of misses and false alarms there falls at a speech probability of 0.7, the engine's
default threshold.
"""

import argparse
import json
import os

import numpy as np

from metrics import best_balance
from model_file import LSTM_FIXED, LSTM_RANGES, gates_to_file
from quantised_lstm import FIXED_SHIFTS, INT8_RANGES, PRIMING_BLOCKS, STACKED, Counts, Lstm, form_of, run_sessions
from session_blocks import load_split

THRESHOLD = 0.7
FC_SHARE = 0.7  # the greatest part of the range before a wrap that the units behind the recurrent layer may use on DIR/valid


def ranges(network):
    """The 9 ranges of the file: weights of recurrence, input, projection, fc, output; activations of input, recurrence, projection, fc."""
    # Eight products of the input are added in 32 bits: the absolute weights of eight neighbours stay below twice the range.
    eights = np.abs(network["wx"]).reshape(len(network["wx"]), -1, 8).sum(axis=2).max()
    of_input = max(np.abs(network["wx"]).max(), eights / 2.0) * 1.001
    r = INT8_RANGES
    return np.array([r["recurrent weights"], of_input, r["projection weights"], r["fc weights"], np.abs(network["out"]).max(),
                     r["layer input"], r["recurrent vector"], r["projection input"], r["recurrent vector"]], np.float32)


def score(net, sessions, counts=None):
    """ln of the odds of speech, labels and weights of all frames of the sessions that have a result."""
    scores, labels, weights = [], [], []
    for pairs, (_, label, weight) in zip(run_sessions(net, [x for x, _, _ in sessions], counts), sessions):
        pairs = pairs.astype(np.float64)
        scores.append(np.log(np.maximum(pairs[:, 0], 1e-9)) - np.log(np.maximum(pairs[:, 1], 1e-9)))
        labels.append(label.ravel()[:len(pairs)])
        weights.append(weight.ravel()[:len(pairs)].astype(np.float64))
    return tuple(map(np.concatenate, (scores, labels, weights)))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--network", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--threshold-shift", type=float, default=0.0,
                        help="moves the score at which the threshold falls: above 0, more false alarms and fewer misses")
    parser.add_argument("--comment", default="", help="kept in model.json, not in the model file")
    args = parser.parse_args()
    stored = dict(np.load(args.network))
    kind = str(stored.pop("kind"))
    scales = ranges(stored) if kind == "lstm_fb40" else None
    net = Lstm(kind=kind, scales=scales, **stored)
    form = form_of(net)
    if sum(form.clipped_weights().values()):
        raise SystemExit(f"weights do not fit: {form.clipped_weights()}")
    if form.saturating():
        raise SystemExit(f"8-bit sums of {form.saturating()} can clip")
    if kind == "lstm_fb40" and form.input_worst_case() >= 1.0:
        raise SystemExit("sums of the input can wrap")

    sessions = load_split(os.path.join(args.data, "valid"), kind)
    counts = Counts()
    scores, labels, weights = score(net, sessions, counts)
    share = counts.greatest.get("fc and bias", 0.0)
    if share > FC_SHARE:
        # A rectified unit made smaller and weighed more says the same.
        net.fc, net.fc_bias, net.out = net.fc * (FC_SHARE / share), net.fc_bias * (FC_SHARE / share), net.out * (share / FC_SHARE)
        if sum(form_of(net).clipped_weights().values()):
            raise SystemExit("the units behind the recurrent layer come too close to a wrap")
        counts = Counts()
        scores, labels, weights = score(net, sessions, counts)
    best, error = best_balance(scores[weights > 0], labels[weights > 0], weights[weights > 0])
    move = np.log(THRESHOLD / (1.0 - THRESHOLD)) - (best - args.threshold_shift)
    net.out_bias = (net.out_bias + np.tile(np.float32([move / 2, -move / 2]), STACKED)).astype(np.float32)
    if kind == "lstm_fb75" and np.abs(net.out_bias).max() > 8.0:
        raise SystemExit("the operating point lies too far away")
    print(f"best score {best:.3f}, balanced error {error:.4f}, output moved by {move:.3f}")
    print(f"on {counts.steps} steps: wrapped {counts.wrapped}, clipped {counts.clipped}")
    print("greatest shares of the range", {place: round(share, 3) for place, share in counts.greatest.items()})
    if counts.wraps():
        raise SystemExit("a sum wraps")

    os.makedirs(args.out, exist_ok=True)
    variables = []

    def store(name, array, shift=None):
        array = np.ascontiguousarray(array, np.float32)
        array = array.reshape(-1, 1) if array.ndim == 1 else array
        np.save(os.path.join(args.out, f"{name}.npy"), array)
        # The engine knows the shifts of a recurrent model itself; they stand in the file for its readers.
        variables.append({"name": name} if scales is not None else {"name": name, "shift": shift or 0})

    q = FIXED_SHIFTS
    store("mean", net.mean)
    store("var", net.inv_std)
    store("pri", net.prior)
    store("lstmp1_bias_", gates_to_file(net.bias), q["bias"])
    store("lstmp1_w_gifo_r_", gates_to_file(net.wr), q["wr"])
    store("lstmp1_w_gifo_x_", gates_to_file(net.wx), q["wx"])
    store("lstmp1_w_projection_", net.wp, q["wp"])
    for row, gate in enumerate("ifo"):
        store(f"lstmp1_peephole_{gate}_c_", net.peepholes[row], q["peepholes"])
    store("fc2_weight_", net.fc, q["fc"])
    store("fc2_bias_", net.fc_bias, q["fc_bias"])
    store("softmax_weight_", net.out, q["out"])
    store("softmax_bias_", net.out_bias, q["out_bias"])
    description = {
        "network_type": LSTM_RANGES if scales is not None else LSTM_FIXED,
        "comment": args.comment,
        # Mean removal, recurrent network, model type, padding frames, sample rate, gain control, reading of the gain-controlled side. The 40
        # values are the same with and without mean removal; without it no frame waits for a mean.
        "keys": [["0", "0" if kind == "lstm_fb40" else "1"], ["1", "1"], ["2", kind], ["3", str(PRIMING_BLOCKS * STACKED)], ["4", "16000"],
                 ["5", "0"], ["6", "0"]],
        "variables": variables,
    }
    if scales is not None:
        description["scales"] = [float(s) for s in scales]
    with open(os.path.join(args.out, "model.json"), "w", encoding="utf-8") as handle:
        json.dump(description, handle, indent=1)


if __name__ == "__main__":
    main()
