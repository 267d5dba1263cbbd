# SPDX-License-Identifier: Apache-2.0
"""Makes the model folder that `wvad model pack` turns into an "lstm_fb40" or "lstm_fb75" model file.

    export_lstm.py --network OUT/network.npz --data DIR --out MODELDIR

Chooses the ranges of the 8-bit form, makes sure that its sums cannot clip and that the 16-bit form wraps nowhere on DIR/valid and DIR/judged and keeps a
distance from that, and moves and weighs the outputs so that the best balance of misses and false alarms on DIR/judged falls at a speech probability
of 0.7, the engine's default threshold (operating_point.py).
"""

import argparse
import json
import os

import numpy as np

from audio_corpus import SAMPLE_RATE
from model_file import LSTM_FIXED, LSTM_RANGES, gates_to_file
from operating_point import AT_THRESHOLD, choose
from quantised_lstm import FIXED_SHIFTS, INT8_RANGES, PRIMING_BLOCKS, STACKED, Counts, Lstm, form_of, run_sessions
from session_blocks import load_split, rate_of

FC_SHARE = 0.7  # the greatest part of the range before a wrap that the units behind the recurrent layer may use
OUTPUT_SHARE = 0.75  # the same of the outputs: their sum is held at the end of its range, but wraps when the bias is added there
GREATEST_WEIGHT = 3.9  # of the outputs of the 16-bit form
GREATEST_BIAS = 8.0


def ranges(network):
    """The 9 ranges of the file: weights of recurrence, input, projection, fc, output; activations of input, recurrence, projection, fc."""
    # Eight products of the input are added in 32 bits: the absolute weights of eight neighbours stay below twice the range.
    eights = np.abs(network["wx"]).reshape(len(network["wx"]), -1, 8).sum(axis=2).max()
    of_input = max(np.abs(network["wx"]).max(), eights / 2.0) * 1.001
    r = INT8_RANGES
    return np.array([r["recurrent weights"], of_input, r["projection weights"], r["fc weights"], np.abs(network["out"]).max(),
                     r["layer input"], r["recurrent vector"], r["projection input"], r["recurrent vector"]], np.float32)


def scores_by_group(net, sessions, counts):
    """Group to ln of the odds of speech and labels of all frames that have a result; sessions without a group only count wraps."""
    groups = {}
    for pairs, session in zip(run_sessions(net, [s.blocks for s in sessions], counts), sessions):
        pairs = pairs.astype(np.float64)
        score = np.log(np.maximum(pairs[:, 0], 1e-9)) - np.log(np.maximum(pairs[:, 1], 1e-9))
        labels = session.labels.ravel()[:len(pairs)]
        used = session.weights.ravel()[:len(pairs)] > 0
        groups.setdefault(session.about.get("group"), []).append((score[used], labels[used]))
    groups.pop(None, None)
    return {group: tuple(np.concatenate(column) for column in zip(*rows)) for group, rows in groups.items()}


def refuse_unfit(net):
    form = form_of(net)
    if sum(form.clipped_weights().values()):
        raise SystemExit(f"weights do not fit: {form.clipped_weights()}")
    if form.saturating():
        raise SystemExit(f"8-bit sums of {form.saturating()} can clip")
    if net.kind == "lstm_fb40" and form.input_worst_case() >= 1.0:
        raise SystemExit("sums of the input can wrap")


def with_smaller_units(net, share):
    """A rectified unit made smaller and weighed more says the same."""
    factor = FC_SHARE / share
    net.fc, net.fc_bias, net.out = net.fc * factor, net.fc_bias * factor, net.out / factor
    if sum(form_of(net).clipped_weights().values()):
        raise SystemExit("the units behind the recurrent layer come too close to a wrap")


def set_operating_point(net, groups, counts):
    most = 2.0
    if net.kind == "lstm_fb75":
        most = min(most, GREATEST_WEIGHT / float(np.abs(net.out).max()), OUTPUT_SHARE / counts.greatest["output and bias"])
    point = choose(groups, highest=max(0.6, most))
    move = AT_THRESHOLD - point.slope * point.score
    net.out = (net.out * point.slope).astype(np.float32)
    net.out_bias = (net.out_bias * point.slope + np.tile(np.float32([move / 2, -move / 2]), STACKED)).astype(np.float32)
    if net.kind == "lstm_fb75" and np.abs(net.out_bias).max() > GREATEST_BIAS:
        raise SystemExit("the operating point lies too far away")
    if net.kind == "lstm_fb40":
        net.scales[4] = np.abs(net.out).max()
    print(f"threshold at score {point.score:.3f}, slope {point.slope:.2f}, balanced error {point.balanced_error:.4f}")


def check(net, sessions):
    counts = Counts()
    run_sessions(net, [s.blocks for s in sessions], counts)
    print(f"on {counts.steps} steps: wrapped {counts.wrapped}, clipped {counts.clipped}")
    print("greatest shares of the range", {place: round(share, 3) for place, share in counts.greatest.items()})
    if counts.wraps():
        raise SystemExit("a sum wraps")


def write_folder(net, sample_rate, folder, comment):
    os.makedirs(folder, exist_ok=True)
    variables, fixed = [], net.kind == "lstm_fb75"

    def store(name, array, shift=0):
        array = np.ascontiguousarray(array, np.float32)
        array = array.reshape(-1, 1) if array.ndim == 1 else array
        np.save(os.path.join(folder, f"{name}.npy"), array)
        # The engine knows the shifts of a recurrent model itself; they stand in the file for its readers.
        variables.append({"name": name, "shift": shift} if fixed else {"name": name})

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
        "network_type": LSTM_FIXED if fixed else LSTM_RANGES,
        "comment": comment,
        # Mean removal, recurrent network, model type, padding frames, sample rate, gain control, reading of the gain-controlled side. The 40
        # values are the same with and without mean removal; without it no frame waits for a mean.
        "keys": [["0", "1" if fixed else "0"], ["1", "1"], ["2", net.kind], ["3", str(PRIMING_BLOCKS * STACKED)], ["4", str(sample_rate)],
                 ["5", "0"], ["6", "0"]],
        "variables": variables,
    }
    if not fixed:
        description["scales"] = [float(s) for s in net.scales]
    with open(os.path.join(folder, "model.json"), "w", encoding="utf-8") as handle:
        json.dump(description, handle, indent=1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--network", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--comment", default="", help="kept in model.json, not in the model file")
    args = parser.parse_args()
    stored = dict(np.load(args.network))
    kind, sample_rate = str(stored.pop("kind")), int(stored.pop("sample_rate", SAMPLE_RATE))
    net = Lstm(kind=kind, scales=ranges(stored) if kind == "lstm_fb40" else None, **stored)
    refuse_unfit(net)
    judged, valid = (load_split(os.path.join(args.data, split), kind) for split in ("judged", "valid"))
    if rate_of(judged + valid) != sample_rate:
        raise SystemExit(f"the network is for {sample_rate} Hz, the recordings are not")
    counts = Counts()
    groups = scores_by_group(net, judged, counts)
    if counts.greatest.get("fc and bias", 0.0) > FC_SHARE:
        with_smaller_units(net, counts.greatest["fc and bias"])
        counts = Counts()
        groups = scores_by_group(net, judged, counts)
    set_operating_point(net, groups, counts)
    refuse_unfit(net)
    check(net, judged + valid)
    write_folder(net, sample_rate, args.out, args.comment)


if __name__ == "__main__":
    main()
