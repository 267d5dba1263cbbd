# SPDX-License-Identifier: Apache-2.0
"""Trains a "dnn_fb75" network on mixed sessions, with the engine's quantisation in the loop.

    train_dnn.py --data DIR --out DIR [--hidden 256 256] [--epochs 12] [--seed 1]

DIR/train and DIR/valid come from mix_sessions.py, with the frames written by
    wvad-blocks --centre --half --out DIR/SPLIT/feat --list DIR/SPLIT/sessions.txt

Activations are rounded to the bits that the engine keeps and weights to theirs in every forward pass (gradients pass straight through), and rows
of the 8-bit layers are held inside the sums that 16 bits can carry. Writes OUT/network.npz; export_dnn.py makes the model from it.
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
from quantised_dnn import CONTEXT, FEATURES, input_scaling

SIDE = CONTEXT // 2


def load_split(folder, limit=None):
    """Frames of all sessions one after another, each session with its edge frames repeated, and the rows that are centres."""
    parts, rows, labels, weights = [], [], [], []
    at = 0
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        sessions = [json.loads(line) for line in handle][:limit]
    for about in sessions:
        name = f"{about['index']:05d}.npy"
        frames = np.load(os.path.join(folder, "feat", name))
        if not len(frames):
            continue
        hops = np.load(os.path.join(folder, "labels", name))[:len(frames)]
        parts += [np.repeat(frames[:1], SIDE, axis=0), frames, np.repeat(frames[-1:], SIDE, axis=0)]
        rows.append(np.arange(at, at + len(frames)))
        labels.append(hops[:, 0])
        weights.append(hops[:, 1])
        at += len(frames) + 2 * SIDE
    return np.concatenate(parts), np.concatenate(rows), np.concatenate(labels), np.concatenate(weights)


def scaled_windows(frames, mean, inv_std):
    for start in range(0, len(frames), 1 << 18):
        part = frames[start:start + (1 << 18)].astype(np.float32)
        frames[start:start + (1 << 18)] = ((part - mean) * inv_std).astype(np.float16)
    flat = torch.from_numpy(frames)
    return flat.as_strided((len(frames) - CONTEXT + 1, CONTEXT * FEATURES), (FEATURES, 1))


def rounded(x, shift, low=None, high=None):
    """x at `shift` fraction bits; the gradient passes as if nothing had been done."""
    scale = float(1 << shift)
    y = torch.round(x * scale)
    if low is not None:
        y = y.clamp(low, high)
    return x + (y / scale - x).detach()


class QuantisedDnn(torch.nn.Module):
    def __init__(self, hidden, weight_shifts, activation_shifts):
        super().__init__()
        dims = [CONTEXT * FEATURES, *hidden, 2]
        self.layers = torch.nn.ModuleList(torch.nn.Linear(a, b) for a, b in zip(dims[:-1], dims[1:]))
        self.weight_shifts, self.activation_shifts = weight_shifts, activation_shifts
        for layer in self.layers:
            torch.nn.init.xavier_normal_(layer.weight, gain=1.0)
            torch.nn.init.zeros_(layer.bias)
        with torch.no_grad():
            for layer in self.layers[1:]:
                layer.weight.mul_(2.0)
                # Sigmoids average a half: start with sums around zero.
                layer.bias.copy_(-0.5 * layer.weight.sum(dim=1))

    def forward(self, x):
        for i, layer in enumerate(self.layers):
            if i == 0:
                weight = layer.weight
            else:
                weight = rounded(layer.weight, self.weight_shifts[i], -128, 127)
            x = torch.nn.functional.linear(x, weight, layer.bias)
            if i + 1 < len(self.layers):
                x = rounded(torch.sigmoid(x), self.activation_shifts[i])
        return x

    def hold_in_range(self, limit):
        """Scales the positive and the negative part of each row of the 8-bit layers so that no activations can drive its sum, or its sum with
        the bias, beyond `limit`."""
        with torch.no_grad():
            for i, layer in enumerate(self.layers[1:], start=1):
                layer.bias.clamp_(-limit / 2, limit / 2)
                w = torch.round(layer.weight * (1 << self.weight_shifts[i])) / (1 << self.weight_shifts[i])
                high, low = w.clamp(min=0).sum(dim=1), -w.clamp(max=0).sum(dim=1)
                up = ((limit - layer.bias.clamp(min=0)) / high.clamp(min=1e-6)).clamp(max=1.0)
                down = ((limit + layer.bias.clamp(max=0)) / low.clamp(min=1e-6)).clamp(max=1.0)
                layer.weight.mul_(torch.where(layer.weight >= 0, up[:, None], down[:, None]))


def evaluate(model, windows, rows, labels, weights):
    model.eval()
    scores = []
    with torch.no_grad():
        for start in range(0, len(rows), 16384):
            y = model(windows.index_select(0, rows[start:start + 16384]).float())
            scores.append((y[:, 0] - y[:, 1]).numpy())
    model.train()
    scores = np.concatenate(scores)
    used = weights > 0
    threshold, error = best_balance(scores[used], labels[used], weights[used])
    return roc_auc(scores[used], labels[used]), threshold, error


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--data", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--hidden", type=int, nargs="+", default=[256, 256])
    parser.add_argument("--weight-shift", type=int, default=5, help="fraction bits of the 8-bit weights")
    parser.add_argument("--sum-shift", type=int, default=11, help="fraction bits of the 16-bit sums")
    parser.add_argument("--epochs", type=int, default=12)
    parser.add_argument("--share", type=float, default=0.5, help="share of the frames that each epoch looks at")
    parser.add_argument("--batch", type=int, default=2048)
    parser.add_argument("--rate", type=float, default=2e-3)
    parser.add_argument("--decay", type=float, default=1e-6)
    parser.add_argument("--noise", type=float, default=0.0, help="standard deviation of noise added to the scaled input")
    parser.add_argument("--limit-sessions", type=int)
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    torch.set_num_threads(args.threads)
    torch.manual_seed(args.seed)
    rng = np.random.default_rng(args.seed)

    frames, rows, labels, weights = load_split(os.path.join(args.data, "train"), args.limit_sessions)
    sample = frames[rng.choice(len(frames), min(len(frames), 400000), replace=False)].astype(np.float64)
    mean, inv_std = input_scaling(sample.mean(axis=0), sample.std(axis=0))
    windows = scaled_windows(frames, mean, inv_std)
    v_frames, v_rows, v_labels, v_weights = load_split(os.path.join(args.data, "valid"))
    v_windows = scaled_windows(v_frames, mean, inv_std)
    v_rows = torch.from_numpy(v_rows[::2])
    v_labels, v_weights = v_labels[::2], v_weights[::2].astype(np.float64)
    print(f"train {len(rows) / 360000:.2f} h, speech {labels.mean():.3f}; valid {len(v_labels) * 2 / 360000:.2f} h", flush=True)

    layers = len(args.hidden) + 1
    weight_shifts = [None] + [args.weight_shift] * (layers - 1)
    model = QuantisedDnn(args.hidden, weight_shifts, [args.sum_shift - args.weight_shift] * (layers - 1))
    limit = float(1 << (15 - args.sum_shift)) * 0.97
    target = torch.from_numpy(1 - labels.astype(np.int64))  # output 0 is speech
    frame_weight = torch.from_numpy(weights.astype(np.float32) / 100.0)
    usable = np.flatnonzero(weights > 0)
    per_epoch = int(len(usable) * args.share) // args.batch * args.batch
    steps = args.epochs * per_epoch // args.batch
    optimiser = torch.optim.AdamW(model.parameters(), lr=args.rate, weight_decay=args.decay)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, args.rate, total_steps=steps + 1, pct_start=0.1, final_div_factor=200.0)
    log = []
    began = time.time()
    for epoch in range(args.epochs):
        order = rng.permutation(usable)[:per_epoch]
        total = 0.0
        for start in range(0, per_epoch, args.batch):
            pick = torch.from_numpy(order[start:start + args.batch])
            x = windows.index_select(0, torch.from_numpy(rows[order[start:start + args.batch]])).float()
            if args.noise:
                x += args.noise * torch.randn_like(x)
            losses = torch.nn.functional.cross_entropy(model(x), target[pick], reduction="none", label_smoothing=0.02)
            w = frame_weight[pick]
            loss = (losses * w).sum() / w.sum()
            optimiser.zero_grad(set_to_none=True)
            loss.backward()
            optimiser.step()
            schedule.step()
            if (start // args.batch) % 4 == 0:
                model.hold_in_range(limit)
            total += loss.item()
        model.hold_in_range(limit)
        auc, threshold, error = evaluate(model, v_windows, v_rows, v_labels, v_weights)
        line = {"epoch": epoch + 1, "loss": round(total * args.batch / per_epoch, 4), "valid_auc": round(auc, 5),
                "valid_balanced_error": round(error, 5), "best_score": round(threshold, 3), "seconds": round(time.time() - began)}
        log.append(line)
        print(json.dumps(line), flush=True)

    arrays = {"mean": mean, "inv_std": inv_std, "prior": np.array([labels.mean(), 1.0 - labels.mean()], np.float32),
              "weight_shift": args.weight_shift, "sum_shift": args.sum_shift}
    for i, layer in enumerate(model.layers):
        arrays[f"weight{i}"] = layer.weight.detach().numpy()
        arrays[f"bias{i}"] = layer.bias.detach().numpy()
    np.savez(os.path.join(args.out, "network.npz"), **arrays)
    with open(os.path.join(args.out, "training.json"), "w", encoding="utf-8") as handle:
        json.dump({"arguments": vars(args), "log": log, "torch": torch.__version__, "numpy": np.__version__}, handle, indent=1)


if __name__ == "__main__":
    main()
