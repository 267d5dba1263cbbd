# SPDX-License-Identifier: Apache-2.0
"""Trains a recurrent network ("lstm_fb40" or "lstm_fb75") on mixed sessions, with the engine's rounding in the loop.

    train_lstm.py --kind lstm_fb40 --data DIR --out DIR [--steps 1100] [--seed 1]

DIR/train and DIR/valid come from mix_sessions.py. What the network sees lies in DIR/SPLIT/feat40 for "lstm_fb40", written by
    wvad-blocks --model lstm_fb40 --half --out DIR/SPLIT/feat40 --list DIR/SPLIT/sessions.txt
and in DIR/SPLIT/feat for "lstm_fb75", the same frames as for "dnn_fb75".

Writes OUT/network.npz; export_lstm.py makes the model from it.
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

from metrics import best_balance, roc_auc
from quantised_dnn import input_scaling
from quantised_lstm import INT8_RANGES, PRIMING_BLOCKS, PROJECTED, RING_SLOTS, STACKED, static_scaling
from recurrent_layer import RecurrentLayer, RoundingFixed, RoundingInt8
from session_blocks import load_split

PAIRS = STACKED
DELAY = RING_SLOTS // 2
LOUDEST = 8192  # blocks that the input weights of "lstm_fb75" are held against
GATE_LIMIT = 15.0
RECURRENT_LIMIT = 10.0
WARM_UP = 8  # steps without loss where a piece begins inside a session


def joined(sessions, priming):
    """All sessions one after another, each behind `priming` blocks of zeros that carry no loss, and where each begins."""
    blocks, labels, weights, starts = [], [], [], []
    at = 0
    for x, y, w in sessions:
        starts.append(at)
        blocks += [np.zeros((priming, x.shape[1]), x.dtype), x]
        labels += [np.zeros((priming, STACKED), y.dtype), y]
        weights += [np.zeros((priming, STACKED), w.dtype), w]
        at += priming + len(x)
    return np.concatenate(blocks), np.concatenate(labels), np.concatenate(weights), np.array(starts)


def through(x, q):
    """q in the forward pass, the gradient of x."""
    return x + (q - x).detach()


class RecurrentNet(torch.nn.Module):
    """Gates in the order input, forget, output, cell."""

    def __init__(self, kind, inputs, cells, hidden, mean, inv_std):
        super().__init__()
        self.kind = kind
        self.rounding = RoundingInt8(INT8_RANGES["recurrent vector"]) if kind == "lstm_fb40" else RoundingFixed()
        self.register_buffer("mean", torch.from_numpy(np.tile(mean, STACKED)))
        self.register_buffer("inv_std", torch.from_numpy(np.tile(inv_std, STACKED)))
        self.recent = None  # projected vectors of the last batch

        def matrix(rows, columns, gain):
            return torch.nn.Parameter(torch.randn(rows, columns) * (gain / columns**0.5))

        self.wx = matrix(4 * cells, inputs, 0.5)
        self.wr = matrix(4 * cells, PROJECTED, 0.7)
        self.wp = matrix(PROJECTED, cells, 1.5)
        self.bias = torch.nn.Parameter(torch.zeros(4 * cells))
        self.peepholes = torch.nn.Parameter(torch.zeros(3, cells))
        self.fc = matrix(hidden, PROJECTED * RING_SLOTS, 1.0)
        self.fc_bias = torch.nn.Parameter(torch.zeros(hidden))
        self.out = matrix(2 * PAIRS, hidden, 1.0)
        self.out_bias = torch.nn.Parameter(torch.zeros(2 * PAIRS))
        with torch.no_grad():
            self.bias[cells:2 * cells] = 1.0  # remember at first

    def quantised(self, weight, name):
        if self.kind == "lstm_fb40":
            scale = 128.0 / INT8_RANGES[name]
            return through(weight, (weight * scale).round().clamp(-128, 127) / scale)
        return weight

    def forward(self, blocks):
        """blocks (steps, batch, inputs) as the front end gives them; logits (steps, batch, 4, 2), speech first, of each block; those of the
        last two blocks look into nothing."""
        steps, batch, inputs = blocks.shape
        x = (blocks - self.mean) * self.inv_std
        gx = torch.addmm(self.bias, x.view(-1, inputs), self.wx.t()).view(steps, batch, -1)
        r = RecurrentLayer.apply(gx, self.quantised(self.wr, "recurrent weights"), self.quantised(self.wp, "projection weights"),
                                 self.peepholes, self.rounding)
        self.recent = r.detach().reshape(-1, r.shape[2])
        r = torch.nn.functional.pad(r, (0, 0, 0, 0, DELAY, DELAY))
        # fc over 5 slots as the sum of 5 products: the slots need not be laid side by side.
        fc = self.quantised(self.fc, "fc weights")
        hidden = self.fc_bias
        products = r.reshape(-1, PROJECTED) @ fc.view(-1, RING_SLOTS, PROJECTED).permute(2, 1, 0).reshape(PROJECTED, -1)
        products = products.view(steps + 2 * DELAY, batch, RING_SLOTS, -1)
        for slot in range(RING_SLOTS):
            hidden = hidden + products[slot:slot + steps, :, slot]
        y = torch.nn.functional.linear(torch.relu(hidden), self.out, self.out_bias)
        return y.view(steps, batch, PAIRS, 2)

    def hold_in_range(self, loudest=None):
        """Keeps weights where the engine's integers can hold them. With `loudest`, normalised blocks (n, inputs), the rows of the input weights of
        "lstm_fb75" are scaled down until none of them brings a gate beyond GATE_LIMIT: beyond 32, all parts taken together, it would wrap. The rows of
        its recurrent weights are scaled down where the last batch brought their sum beyond RECURRENT_LIMIT: at 16 it wraps."""
        with torch.no_grad():
            if self.kind == "lstm_fb40":
                # Four neighbours are added in 16 bits after a product with up to 255: no sign may weigh more than the range in all.
                for weight, name in ((self.wr, "recurrent weights"), (self.wp, "projection weights"), (self.fc, "fc weights")):
                    limit = INT8_RANGES[name] * 0.98  # rounding may add a little
                    groups = weight.view(weight.shape[0], -1, 4)
                    up = (limit / groups.clamp(min=0).sum(dim=2, keepdim=True).clamp(min=1e-6)).clamp(max=1.0)
                    down = (limit / (-groups).clamp(min=0).sum(dim=2, keepdim=True).clamp(min=1e-6)).clamp(max=1.0)
                    groups.mul_(torch.where(groups >= 0, up, down))
                return
            for weight, limit in ((self.wr, 0.999), (self.wx, 3.99), (self.peepholes, 3.99), (self.wp, 1.99), (self.fc, 0.999),
                                  (self.out, 3.99), (self.bias, 8.0), (self.fc_bias, 4.0), (self.out_bias, 4.0)):
                weight.clamp_(-limit, limit)
            if loudest is not None:
                reach = (loudest @ self.wx.t()).abs().amax(dim=0)
                self.wx.mul_((GATE_LIMIT / reach.clamp(min=1e-6)).clamp(max=1.0)[:, None])
                if self.recent is not None:
                    reach = (self.recent @ self.wr.t()).abs().amax(dim=0)
                    self.wr.mul_((RECURRENT_LIMIT / reach.clamp(min=1e-6)).clamp(max=1.0)[:, None])


def loudest_blocks(blocks, mean, inv_std, count):
    """The blocks furthest from the mean, normalised: sudden beginnings, mostly."""
    mean, inv_std = np.tile(mean, STACKED), np.tile(inv_std, STACKED)
    size = np.concatenate([np.square((blocks[k:k + 65536] - mean) * inv_std).sum(axis=1) for k in range(0, len(blocks), 65536)])
    return (blocks[np.sort(np.argsort(size, kind="stable")[-count:])].astype(np.float32) - mean) * inv_std


def evaluate(model, sessions, priming):
    order = sorted(range(len(sessions)), key=lambda k: len(sessions[k][0]))
    scores, labels, weights = [], [], []
    with torch.no_grad():
        for first in range(0, len(order), 40):
            group = [sessions[k] for k in order[first:first + 40]]
            longest = max(len(x) for x, _, _ in group)
            blocks = np.zeros((priming + longest, len(group), group[0][0].shape[1]), np.float32)
            for k, (x, _, _) in enumerate(group):
                blocks[priming:priming + len(x), k] = x
            y = model(torch.from_numpy(blocks)).numpy()[priming:]
            for k, (x, label, weight) in enumerate(group):
                scores.append((y[:len(x), k, :, 0] - y[:len(x), k, :, 1]).ravel())
                labels.append(label.ravel())
                weights.append(weight.ravel())
    scores, labels, weights = np.concatenate(scores), np.concatenate(labels), np.concatenate(weights).astype(np.float64)
    used = weights > 0
    threshold, error = best_balance(scores[used], labels[used], weights[used])
    return roc_auc(scores[used], labels[used]), threshold, error


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--kind", required=True, choices=["lstm_fb40", "lstm_fb75"])
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--cells", type=int, default=128)
    parser.add_argument("--hidden", type=int, default=64)
    parser.add_argument("--steps", type=int, default=1100, help="batches to train on")
    parser.add_argument("--batch", type=int, default=64, help="pieces in a batch")
    parser.add_argument("--piece", type=int, default=160, help="blocks of 40 ms in a piece")
    parser.add_argument("--long-every", type=int, default=4, help="every so many batches, pieces are three times as long and a third as many")
    parser.add_argument("--rate", type=float, default=4e-3)
    parser.add_argument("--decay", type=float, default=1e-4)
    parser.add_argument("--report", type=int, default=220, help="batches between two looks at the validation sessions")
    parser.add_argument("--init", help="network.npz of an earlier run of the same kind and sizes to go on from")
    parser.add_argument("--limit-sessions", type=int)
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    torch.set_num_threads(args.threads)
    torch.manual_seed(args.seed)
    torch.set_flush_denormal(True)
    rng = np.random.default_rng(args.seed)

    priming = PRIMING_BLOCKS if args.kind == "lstm_fb40" else 0
    sessions = load_split(os.path.join(args.data, "train"), args.kind, args.limit_sessions)
    valid = load_split(os.path.join(args.data, "valid"), args.kind)
    blocks, labels, weights, starts = joined(sessions, priming)
    inputs = blocks.shape[1]
    frames = np.concatenate([x for x, _, _ in sessions[::4]]).reshape(-1, inputs // STACKED)
    sample = frames[rng.choice(len(frames), min(len(frames), 400000), replace=False)].astype(np.float64)
    scaling = static_scaling if args.kind == "lstm_fb40" else input_scaling
    mean, inv_std = scaling(sample.mean(axis=0), sample.std(axis=0))
    del sessions, frames, sample
    speech = float(labels[weights > 0].mean())
    print(f"train {len(blocks) / 90000:.2f} h, speech {speech:.3f}; valid {sum(len(x) for x, _, _ in valid) / 90000:.2f} h", flush=True)

    model = RecurrentNet(args.kind, inputs, args.cells, args.hidden, mean, inv_std)
    if args.init:
        stored = np.load(args.init)
        mean, inv_std = stored["mean"], stored["inv_std"]
        model.load_state_dict({name: torch.from_numpy(np.tile(stored[name], STACKED) if name in ("mean", "inv_std") else stored[name])
                               for name in model.state_dict()})
    loudest = torch.from_numpy(loudest_blocks(blocks, mean, inv_std, LOUDEST)) if args.kind == "lstm_fb75" else None
    target = 1 - labels.astype(np.int64)  # output 0 is speech
    optimiser = torch.optim.AdamW(model.parameters(), lr=args.rate, weight_decay=args.decay)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, args.rate, total_steps=args.steps + 1, pct_start=0.1, final_div_factor=200.0)
    # A third of the pieces are beginnings of sessions, the others begin anywhere and run on into whatever session comes next: a client's
    # session lasts for hours, in which rooms and noises change.
    beginnings = starts[starts <= len(blocks) - 3 * args.piece]
    if not len(beginnings):
        raise SystemExit("the sessions are too short for pieces of this length")
    log, total, began = [], 0.0, time.time()
    for step in range(1, args.steps + 1):
        stretch = 3 if args.long_every and step % args.long_every == 0 else 1
        piece, batch = stretch * args.piece, max(1, args.batch // stretch)
        first = rng.integers(0, len(blocks) - piece, batch)
        at_start = np.arange(batch) % 3 == 0
        first[at_start] = rng.choice(beginnings, at_start.sum())
        rows = first[None, :] + np.arange(piece)[:, None]
        w = weights[rows].astype(np.float32) / 100.0
        w[:WARM_UP, ~at_start] = 0.0
        w[-DELAY:] = 0.0
        y = model(torch.from_numpy(blocks[rows].astype(np.float32)))
        losses = torch.nn.functional.cross_entropy(y.reshape(-1, 2), torch.from_numpy(target[rows].reshape(-1)), reduction="none",
                                                   label_smoothing=0.02)
        w = torch.from_numpy(w.reshape(-1))
        loss = (losses * w).sum() / w.sum()
        optimiser.zero_grad(set_to_none=True)
        loss.backward()
        torch.nn.utils.clip_grad_norm_(model.parameters(), 0.5)
        optimiser.step()
        schedule.step()
        model.hold_in_range(loudest if step % 4 == 0 or step == args.steps else None)
        total += loss.item()
        if step % args.report == 0 or step == args.steps:
            auc, threshold, error = evaluate(model, valid, priming)
            line = {"step": step, "loss": round(total / ((step - 1) % args.report + 1), 4), "valid_auc": round(auc, 5),
                    "valid_balanced_error": round(error, 5), "best_score": round(threshold, 3), "seconds": round(time.time() - began)}
            log.append(line)
            total = 0.0
            print(json.dumps(line), flush=True)
            arrays = {name: value.detach().numpy() for name, value in model.named_parameters()}
            np.savez(os.path.join(args.out, "network.npz"), kind=args.kind, mean=mean, inv_std=inv_std,
                     prior=np.tile(np.array([speech, 1.0 - speech], np.float32), PAIRS), **arrays)
            with open(os.path.join(args.out, "training.json"), "w", encoding="utf-8") as handle:
                json.dump({"arguments": vars(args), "log": log, "torch": torch.__version__, "numpy": np.__version__}, handle, indent=1)


if __name__ == "__main__":
    main()
