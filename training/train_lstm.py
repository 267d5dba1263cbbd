# SPDX-License-Identifier: Apache-2.0
"""Trains a recurrent network ("lstm_fb40" or "lstm_fb75") on mixed sessions, with the engine's rounding in the loop and its state carried on.

    train_lstm.py --kind lstm_fb40 --data DIR [DIR...] --out DIR [--init FILE] [--steps 3000] [--seed 1]

DIR/train comes from mix_sessions.py and DIR/judged from judged_sets.py. What the network sees lies in DIR/SPLIT/feat40 for "lstm_fb40", written by
    wvad-blocks --model lstm_fb40 --half --ready-means 0 --out DIR/SPLIT/feat40 --list DIR/SPLIT/sessions.txt
and in DIR/SPLIT/feat for "lstm_fb75", the same frames as for "dnn_fb75"; with --ready those whose number is no multiple of 3
in DIR/train/feat_ready, without --ready-means 0.

Writes OUT/step_00000.npz, the beginning, OUT/step_NNNNN.npz at every look at the judged recordings, weights being averaged over some hundred steps, and
OUT/network.npz, the one of these with the greatest merit (watched_sets.py). A run that was stopped goes on from OUT/resume.pt. export_lstm.py makes the
model.
"""

import argparse
import json
import os
import time

# Matrices of this size are faster on one thread than on two that wait for each other; set before the libraries start their own.
for _name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS"):
    os.environ.setdefault(_name, "1")

import numpy as np
import torch

from model_file import read_network
from quantised_dnn import input_scaling
from quantised_lstm import PRIMING_BLOCKS, STACKED, static_scaling
from rate_change import old_from_new, paired_frames, with_other_inputs
from recurrent_net import DELAY, PAIRS, RecurrentNet, loudest_blocks
from session_blocks import load_split, rate_of, turned
from session_streams import SessionStreams
from soft_targets import SQUARED_SHARE, TEMPERATURE, soft_loss
from teacher import listen, take_taught
from watched_sets import look

LOUDEST = 8192  # blocks that the input weights of "lstm_fb75" are held against
AVERAGED = 0.998  # share of the averaged weights that stays at each step
UNITS = 32  # rectified units come in this many: the engine reads rows of the output layer as if no padding stood between them
WARM_UP = 150  # steps over which the rate rises


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--kind", required=True, choices=["lstm_fb40", "lstm_fb75"])
    parser.add_argument("--data", required=True, nargs="+", help="folders of mixed sessions; the judged recordings lie in the first")
    parser.add_argument("--out", required=True)
    parser.add_argument("--init", help="a model file (.bin) or network.npz to begin with; it may be smaller")
    parser.add_argument("--init-data", help="where --init is for another sample rate: the first folder of sessions at that rate")
    parser.add_argument("--teacher-share", type=float, default=0.0, help="how much the beginning counts beside the labels where somebody speaks")
    parser.add_argument("--taught", type=float, default=0.0, help="how much counts, beside the labels, what two_way_teacher.py wrote")
    parser.add_argument("--ready", action="store_true",
                        help="two thirds of the sessions begin with the usual means: their blocks lie in feat_ready (session_blocks.py)")
    parser.add_argument("--backwards", action="store_true", help="hear sessions from their end: half of a two-way teacher, nothing for a model file")
    parser.add_argument("--silence-weight", type=float, default=1.0, help="of sessions in which nobody speaks; 2.5 at most")
    parser.add_argument("--cells", type=int, default=192)
    parser.add_argument("--hidden", type=int, default=96, help=f"rectified units, a multiple of {UNITS}")
    parser.add_argument("--steps", type=int, default=3000, help="batches to train on")
    parser.add_argument("--streams", type=int, default=64, help="pieces in a batch")
    parser.add_argument("--piece", type=int, default=160, help="blocks of 40 ms in a piece")
    parser.add_argument("--rate", type=float, default=2e-3)
    parser.add_argument("--decay", type=float, default=1e-4)
    parser.add_argument("--temperature", type=float, default=TEMPERATURE, help="what log-odds are divided by")
    parser.add_argument("--squared", type=float, default=SQUARED_SHARE, help="share of the squared distance in the loss")
    parser.add_argument("--report", type=int, default=250, help="batches between two looks at the judged recordings")
    parser.add_argument("--limit-sessions", type=int)
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    if args.hidden % UNITS:
        parser.error(f"--hidden {args.hidden}: the engine's scores of such a model are not those of the reference; take a multiple of {UNITS}")
    if args.ready and args.kind == "lstm_fb40":
        parser.error("--ready: \"lstm_fb40\" removes no mean, its sessions begin in one way only")
    return args


def arrays_of(path):
    """The arrays of a network by name, from a model file or from a training run."""
    if path.endswith(".npz"):
        return dict(np.load(path))
    net = read_network(path)
    names = ("mean", "inv_std", "wx", "wr", "wp", "bias", "peepholes", "fc", "fc_bias", "out", "out_bias")
    return {name: np.asarray(getattr(net, name), np.float32) for name in names}


def weigh_silence(sessions, weight):
    """Makes sessions without speech count more, or less; weights are kept in percent, in a byte."""
    for session in sessions:
        if not session.labels.any():
            session.weights = np.minimum(255, np.round(weight * session.weights.astype(np.float32))).astype(np.uint8)


def scaling(kind, sessions, rng):
    width = sessions[0].blocks.shape[1] // STACKED
    chosen = rng.choice(len(sessions), min(len(sessions), 400), replace=False)
    sample = np.concatenate([sessions[k].blocks.reshape(-1, width) for k in chosen]).astype(np.float64)
    return (static_scaling if kind == "lstm_fb40" else input_scaling)(sample.mean(axis=0), sample.std(axis=0))


def make_model(args, sessions, rng):
    begin = arrays_of(args.init) if args.init else None
    if begin and args.init_data:
        pairs = paired_frames(args.kind, os.path.join(args.init_data, "train"), os.path.join(args.data[0], "train"), rng)
        begin = with_other_inputs(begin, *old_from_new(*pairs), *scaling(args.kind, sessions, rng))
    mean, inv_std = (begin["mean"], begin["inv_std"]) if begin else scaling(args.kind, sessions, rng)
    model = RecurrentNet(args.kind, sessions[0].blocks.shape[1], args.cells, args.hidden, np.float32(mean), np.float32(inv_std))
    if begin:
        model.take_over(begin)
    return model


class Run:
    """A model, its average, and what is needed to go on after a stop."""

    def __init__(self, args, model, prior, sample_rate):
        self.args, self.model, self.prior, self.sample_rate = args, model, prior, sample_rate
        self.optimiser = torch.optim.AdamW(model.parameters(), lr=args.rate, weight_decay=args.decay)
        self.average = {name: value.detach().clone() for name, value in model.named_parameters()}
        self.step, self.log, self.best = 0, [], -1.0
        path = os.path.join(args.out, "resume.pt")
        if os.path.exists(path):
            kept = torch.load(path)
            model.load_state_dict(kept["model"])
            self.optimiser.load_state_dict(kept["optimiser"])
            self.average, self.step, self.log, self.best = (kept[name] for name in ("average", "step", "log", "best"))

    def set_rate(self):
        """Rises, then falls in a line."""
        share = self.step / self.args.steps
        for group in self.optimiser.param_groups:
            group["lr"] = self.args.rate * min(1.0, self.step / WARM_UP) * max(0.01, 1.0 - share)

    def learn(self, loss, loudest):
        self.optimiser.zero_grad(set_to_none=True)
        loss.backward()
        torch.nn.utils.clip_grad_norm_(self.model.parameters(), 0.5)
        self.set_rate()
        self.optimiser.step()
        self.model.hold_in_range(loudest if self.step % 4 == 0 or self.step == self.args.steps else None)
        keep = min(AVERAGED, self.step / (self.step + 10.0))
        with torch.no_grad():
            for name, value in self.model.named_parameters():
                self.average[name].mul_(keep).add_(value, alpha=1.0 - keep)

    def averaged_model(self):
        model = self.model
        copy = RecurrentNet(model.kind, model.wx.shape[1], model.wp.shape[1], len(model.fc), np.ones(1, np.float32), np.ones(1, np.float32))
        copy.mean, copy.inv_std = model.mean, model.inv_std
        copy.load_state_dict({**model.state_dict(), **self.average})
        # Averages of weights that are held stay held, but for what the last steps scaled down.
        copy.hold_in_range()
        return copy

    def store(self, model, name):
        arrays = {key: value.detach().numpy() for key, value in model.named_parameters()}
        width = len(model.mean) // STACKED
        np.savez(os.path.join(self.args.out, name), kind=self.args.kind, sample_rate=self.sample_rate,
                 mean=model.mean.numpy()[:width], inv_std=model.inv_std.numpy()[:width],
                 prior=np.tile(np.array([self.prior, 1.0 - self.prior], np.float32), PAIRS), **arrays)

    def report(self, line, judged, priming):
        model = self.averaged_model()
        line.update(look(model, judged, priming))
        self.log.append(line)
        print(json.dumps(line), flush=True)
        self.store(model, f"step_{self.step:05d}.npz")
        if line["merit"] > self.best:
            self.best = line["merit"]
            self.store(model, "network.npz")
        path = os.path.join(self.args.out, "resume.pt")
        torch.save({"model": self.model.state_dict(), "optimiser": self.optimiser.state_dict(), "average": self.average, "step": self.step,
                    "log": self.log, "best": self.best}, path + ".part")
        os.replace(path + ".part", path)
        with open(os.path.join(self.args.out, "training.json"), "w", encoding="utf-8") as handle:
            json.dump({"arguments": vars(self.args), "log": self.log, "torch": torch.__version__, "numpy": np.__version__}, handle, indent=1)


def train(args, run, streams, judged, priming, loudest):
    carry = run.model.start(args.streams)
    total, since, began = 0.0, 0, time.time()
    while run.step < args.steps:
        run.step += 1
        blocks, log_odds, weights, fresh = streams.pieces()
        carry.clear(torch.from_numpy(fresh))
        y = run.model(torch.from_numpy(blocks), carry)
        loss = soft_loss(y[..., 0] - y[..., 1], torch.from_numpy(log_odds), torch.from_numpy(weights), args.temperature, args.squared)
        run.learn(loss, loudest)
        total, since = total + loss.item(), since + 1
        if run.step % args.report == 0 or run.step == args.steps:
            run.report({"step": run.step, "loss": round(total / since, 4), "seconds": round(time.time() - began)}, judged, priming)
            total, since = 0.0, 0


def main():
    args = parse_arguments()
    os.makedirs(args.out, exist_ok=True)
    torch.set_num_threads(args.threads)
    torch.manual_seed(args.seed)
    rng = np.random.default_rng(args.seed)
    sessions = []
    for folder in (os.path.join(folder, "train") for folder in args.data):
        loaded = load_split(folder, args.kind, args.limit_sessions, args.ready)
        for k, session in enumerate(loaded):
            if args.taught:
                take_taught(session, folder, args.taught)
            if args.backwards:
                loaded[k] = turned(session)  # in its place: all sessions twice would take gigabytes
        sessions += loaded
    judged = load_split(os.path.join(args.data[0], "judged"), args.kind)
    if args.backwards:
        judged = [turned(session) for session in judged]
    frames = sum(s.labels.size for s in sessions)
    speech = sum(int(s.labels.sum()) for s in sessions) / frames
    print(f"{args.kind}: train {frames / 360000:.2f} h, speech {speech:.3f}", flush=True)
    priming = PRIMING_BLOCKS if args.kind == "lstm_fb40" else 0
    model = make_model(args, sessions, rng)
    weigh_silence(sessions, args.silence_weight)
    if args.teacher_share:
        listen(model, sessions, priming, args.teacher_share)
    loudest = None
    if args.kind == "lstm_fb75":
        some = np.concatenate([s.blocks for s in sessions[::2]])
        width = some.shape[1] // STACKED
        loudest = torch.from_numpy(loudest_blocks(some, model.mean.numpy()[:width], model.inv_std.numpy()[:width], LOUDEST))
        del some
    run = Run(args, model, speech, rate_of(sessions + judged))
    if run.step == 0:
        print(json.dumps({"before": look(model, judged, priming)}), flush=True)
        run.store(model, "step_00000.npz")
    streams = SessionStreams(sessions, args.streams, args.piece, priming, DELAY, np.random.default_rng([args.seed, run.step]))
    train(args, run, streams, judged, priming, loudest)


if __name__ == "__main__":
    main()
