# SPDX-License-Identifier: Apache-2.0
"""Joins a network and one that hears sessions backwards into a teacher that knows what comes before and behind, and writes what it says.

    two_way_teacher.py --forward FILE --backward FILE --data DIR [DIR...]

Both come from train_lstm.py for "lstm_fb75", the second with --backwards; the first may be a model file. Writes DIR/train/taught, a 16-bit float for each
frame of every session that holds speech: the log-odds of both, weighed such that they say best what the labels of these sessions say. `--taught` of
train_lstm.py and train_dnn.py reads them. Prints what each of the two and both together make of the judged recordings in the first DIR.
"""

import argparse
import json
import os

# Matrices of this size are faster on one thread than on two that wait for each other; set before the libraries start their own.
for _name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS"):
    os.environ.setdefault(_name, "1")

import numpy as np
import torch

from recurrent_net import RecurrentNet
from session_blocks import load_split, turned
from soft_targets import soft_loss
from teacher import taught_path
from train_lstm import arrays_of
from watched_sets import by_group, merit_of, scores_of

KIND = "lstm_fb75"


def network_of(path):
    arrays = arrays_of(path)
    model = RecurrentNet(KIND, arrays["wx"].shape[1], arrays["wp"].shape[1], len(arrays["fc"]), np.float32(arrays["mean"]), np.float32(arrays["inv_std"]))
    model.take_over(arrays)
    return model


def both_ways(forward, backward, sessions):
    """Of each session what both networks say: (frames, 2), forward and backward."""
    there = scores_of(forward, sessions, 0)
    back = scores_of(backward, [turned(session) for session in sessions], 0)
    return [np.stack([a, b[::-1]], axis=1) for a, b in zip(there, back)]


def weigh(said, sessions):
    """The weights of both networks and a constant with which their sum has the least loss (soft_targets.py) over the sessions."""
    x = torch.from_numpy(np.concatenate(said))
    log_odds = torch.from_numpy(np.concatenate([s.log_odds.reshape(-1) for s in sessions]).astype(np.float32) / 10.0)
    weights = torch.from_numpy(np.concatenate([s.weights.reshape(-1) for s in sessions]).astype(np.float32) / 100.0)
    line = torch.tensor([0.5, 0.5, 0.0], requires_grad=True)
    optimiser = torch.optim.LBFGS([line], max_iter=100, line_search_fn="strong_wolfe")

    def loss():
        optimiser.zero_grad()
        value = soft_loss(x @ line[:2] + line[2], log_odds, weights)
        value.backward()
        return value

    optimiser.step(loss)
    return line.detach().numpy()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--forward", required=True)
    parser.add_argument("--backward", required=True)
    parser.add_argument("--data", required=True, nargs="+")
    args = parser.parse_args()
    torch.set_num_threads(1)
    forward, backward = network_of(args.forward), network_of(args.backward)
    folders = [os.path.join(folder, "train") for folder in args.data]
    spoken = [[session for session in load_split(folder, KIND) if session.labels.any()] for folder in folders]
    said = [both_ways(forward, backward, sessions) for sessions in spoken]
    line = weigh([x for some in said for x in some], [session for some in spoken for session in some])
    print(json.dumps({"weights": [round(float(x), 3) for x in line]}), flush=True)
    judged = load_split(os.path.join(args.data[0], "judged"), KIND)
    heard = both_ways(forward, backward, judged)
    for name, scores in (("forward", [x[:, 0] for x in heard]), ("backward", [x[:, 1] for x in heard]),
                         ("both", [x @ line[:2] + line[2] for x in heard])):
        print(json.dumps({name: merit_of(by_group(judged, scores))}), flush=True)
    for folder, sessions, some in zip(folders, spoken, said):
        os.makedirs(os.path.join(folder, "taught"), exist_ok=True)
        for session, x in zip(sessions, some):
            np.save(taught_path(folder, session.about["index"]), (x @ line[:2] + line[2]).astype(np.float16))


if __name__ == "__main__":
    main()
