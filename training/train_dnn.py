# SPDX-License-Identifier: Apache-2.0
"""Trains a "dnn_fb75" network on mixed sessions, with the engine's quantisation in the loop.

    train_dnn.py --data DIR [DIR...] --judged DIR --out DIR [--hidden 384 256] [--epochs 10] [--seed 1]

Each DIR/train comes from mix_sessions.py and JUDGED/judged from judged_sets.py, with the frames written by
    wvad-blocks --centre --half --ready-means 0 --out DIR/SPLIT/feat --list DIR/SPLIT/sessions.txt
and with --ready those whose number is no multiple of 3 in DIR/train/feat_ready, without --ready-means 0.

Activations are rounded to the bits that the engine keeps and weights to theirs in every forward pass (gradients pass straight through), and rows
of the 8-bit layers are held inside the sums that 16 bits can carry. Writes OUT/network.npz, the epoch with the greatest merit on the judged
recordings (watched_sets.py); export_dnn.py makes the model from it.
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

from dnn_net import QuantisedDnn
from quantised_dnn import CONTEXT, FEATURES, input_scaling
from session_blocks import READY, begins_ready
from soft_targets import TEMPERATURE, soft_loss
from teacher import blended_tenths, taught_path
from watched_sets import merit_of

SIDE = CONTEXT // 2
# The 8-bit outputs cannot be weighed anew after training, so they learn log-odds of about the size that probabilities ask for.
SPREAD = 0.8 * TEMPERATURE


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--data", required=True, nargs="+")
    parser.add_argument("--judged", required=True, help="folder of judged_sets.py")
    parser.add_argument("--out", required=True)
    parser.add_argument("--hidden", type=int, nargs="+", default=[384, 256])
    parser.add_argument("--weight-shift", type=int, default=5, help="fraction bits of the 8-bit weights")
    parser.add_argument("--sum-shift", type=int, default=11, help="fraction bits of the 16-bit sums")
    parser.add_argument("--epochs", type=int, default=10)
    parser.add_argument("--share", type=float, default=0.3, help="share of the frames that each epoch looks at")
    parser.add_argument("--batch", type=int, default=2048)
    parser.add_argument("--rate", type=float, default=2e-3)
    parser.add_argument("--decay", type=float, default=1e-6)
    parser.add_argument("--taught", type=float, default=0.0, help="how much counts, beside the labels, what two_way_teacher.py wrote")
    parser.add_argument("--ready", action="store_true", help="two thirds of the sessions begin with the usual means: their frames lie in feat_ready")
    parser.add_argument("--limit-sessions", type=int)
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1)
    return parser.parse_args()


def sessions_of(folders, limit):
    for folder in folders:
        with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
            for line in list(handle)[:limit]:
                yield folder, json.loads(line)


class Frames:
    """Frames of all sessions one after another, each session with its edge frames repeated; `rows` are those that are centres."""

    def __init__(self, folders, limit=None, taught=0.0, ready=False):
        parts, rows, hops, self.spans, at, total = [], [], [], [], 0, 0
        for folder, about in sessions_of(folders, limit):
            name = f"{about['index']:05d}.npy"
            frames = np.load(os.path.join(folder, READY if ready and begins_ready(about["index"]) else "feat", name))
            if not len(frames):
                continue
            hops.append(np.load(os.path.join(folder, "labels", name))[:len(frames)])
            if taught and hops[-1][:, 0].any():
                said = np.load(taught_path(folder, about["index"])).astype(np.float32)
                hops[-1][:, 2] = blended_tenths(hops[-1][:, 2], said, taught)
            parts += [np.repeat(frames[:1], SIDE, axis=0), frames, np.repeat(frames[-1:], SIDE, axis=0)]
            rows.append(np.arange(at, at + len(frames)))
            at += len(frames) + 2 * SIDE
            self.spans.append((about.get("group", ""), total, total + len(frames)))
            total += len(frames)
        self.frames, self.rows, self.hops = np.concatenate(parts), np.concatenate(rows), np.concatenate(hops)

    def windows(self, mean, inv_std):
        """Blocks of 11 normalised frames, as a view."""
        for start in range(0, len(self.frames), 1 << 18):
            part = self.frames[start:start + (1 << 18)].astype(np.float32)
            self.frames[start:start + (1 << 18)] = ((part - mean) * inv_std).astype(np.float16)
        flat = torch.from_numpy(self.frames)
        return flat.as_strided((len(self.frames) - CONTEXT + 1, CONTEXT * FEATURES), (FEATURES, 1))


def look(model, judged, windows):
    """What the engine would say: every second frame is computed, and stands for the next one."""
    rows = torch.from_numpy(judged.rows)
    scores = []
    with torch.no_grad():
        for start in range(0, len(rows), 16384):
            y = model(windows.index_select(0, rows[start:start + 16384]).float())
            scores.append((y[:, 0] - y[:, 1]).numpy())
    scores, groups = np.concatenate(scores), {}
    for group, first, past in judged.spans:
        used = judged.hops[first:past, 1] > 0
        held = np.repeat(scores[first:past:2], 2)[:past - first]
        groups.setdefault(group, []).append((held[used], judged.hops[first:past, 0][used]))
    return merit_of({group: tuple(np.concatenate(column) for column in zip(*rows)) for group, rows in groups.items()})


class Trainer:
    def __init__(self, args):
        self.args, self.rng = args, np.random.default_rng(args.seed)
        data = Frames([os.path.join(folder, "train") for folder in args.data], args.limit_sessions, args.taught, args.ready)
        sample = data.frames[self.rng.choice(len(data.frames), min(len(data.frames), 400000), replace=False)].astype(np.float64)
        self.mean, self.inv_std = input_scaling(sample.mean(axis=0), sample.std(axis=0))
        self.windows, self.rows = data.windows(self.mean, self.inv_std), data.rows
        self.judged = Frames([os.path.join(args.judged, "judged")])
        self.judged_windows = self.judged.windows(self.mean, self.inv_std)
        self.speech = float(data.hops[:, 0].mean())
        print(f"train {len(data.rows) / 360000:.2f} h, speech {self.speech:.3f}", flush=True)
        self.goal = data.hops[:, 2].astype(np.float32) / 10.0
        self.weight = data.hops[:, 1].astype(np.float32) / 100.0
        self.usable = np.flatnonzero(self.weight > 0)
        layers = len(args.hidden) + 1
        self.limit = float(1 << (15 - args.sum_shift)) * 0.97
        self.model = QuantisedDnn(args.hidden, [None] + [args.weight_shift] * (layers - 1), [args.sum_shift - args.weight_shift] * (layers - 1))
        self.per_epoch = int(len(self.usable) * args.share) // args.batch * args.batch
        self.optimiser = torch.optim.AdamW(self.model.parameters(), lr=args.rate, weight_decay=args.decay)
        self.schedule = torch.optim.lr_scheduler.OneCycleLR(self.optimiser, args.rate, total_steps=args.epochs * self.per_epoch // args.batch + 1,
                                                            pct_start=0.1, final_div_factor=200.0)

    def epoch(self):
        """The mean loss."""
        total, batch = 0.0, self.args.batch
        order = self.rng.permutation(self.usable)[:self.per_epoch]
        for start in range(0, self.per_epoch, batch):
            pick = order[start:start + batch]
            y = self.model(self.windows.index_select(0, torch.from_numpy(self.rows[pick])).float())
            loss = soft_loss((y[:, 0] - y[:, 1]) / SPREAD, torch.from_numpy(self.goal[pick]), torch.from_numpy(self.weight[pick]))
            self.optimiser.zero_grad(set_to_none=True)
            loss.backward()
            self.optimiser.step()
            self.schedule.step()
            if (start // batch) % 4 == 0:
                self.model.hold_in_range(self.limit)
            total += loss.item()
        self.model.hold_in_range(self.limit)
        return total * batch / self.per_epoch

    def store(self, log):
        args = self.args
        arrays = {"mean": self.mean, "inv_std": self.inv_std, "prior": np.array([self.speech, 1.0 - self.speech], np.float32),
                  "weight_shift": args.weight_shift, "sum_shift": args.sum_shift}
        for i, layer in enumerate(self.model.layers):
            arrays[f"weight{i}"] = layer.weight.detach().numpy()
            arrays[f"bias{i}"] = layer.bias.detach().numpy()
        if log[-1]["merit"] == max(line["merit"] for line in log):
            np.savez(os.path.join(args.out, "network.npz"), **arrays)
        with open(os.path.join(args.out, "training.json"), "w", encoding="utf-8") as handle:
            json.dump({"arguments": vars(args), "log": log, "torch": torch.__version__, "numpy": np.__version__}, handle, indent=1)


def main():
    args = parse_arguments()
    os.makedirs(args.out, exist_ok=True)
    torch.set_num_threads(args.threads)
    torch.manual_seed(args.seed)
    trainer, log, began = Trainer(args), [], time.time()
    for epoch in range(args.epochs):
        line = {"epoch": epoch + 1, "loss": round(trainer.epoch(), 4), "seconds": round(time.time() - began)}
        line.update(look(trainer.model, trainer.judged, trainer.judged_windows))
        log.append(line)
        print(json.dumps(line), flush=True)
        trainer.store(log)


if __name__ == "__main__":
    main()
