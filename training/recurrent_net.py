# SPDX-License-Identifier: Apache-2.0
"""The recurrent networks "lstm_fb40" and "lstm_fb75" for torch, with the engine's rounding in the forward pass and its ranges held."""

import numpy as np
import torch

from quantised_lstm import GATES, INT8_RANGES, PROJECTED, RING_SLOTS, STACKED
from recurrent_layer import Carry, RecurrentLayer, RoundingFixed, RoundingInt8

PAIRS = STACKED
DELAY = RING_SLOTS // 2
GATE_LIMIT = 15.0
RECURRENT_LIMIT = 10.0


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

    def start(self, batch):
        return Carry(batch, self.wp.shape[1], PROJECTED, 2 * DELAY)

    def quantised(self, weight, name):
        if self.kind == "lstm_fb40":
            scale = 128.0 / INT8_RANGES[name]
            return through(weight, (weight * scale).round().clamp(-128, 127) / scale)
        return weight

    def forward(self, blocks, carry=None):
        """blocks (steps, batch, inputs) as the front end gives them; logits (steps, batch, 4, 2), speech first. Without `carry` they are those of
        each block, and those of the last two look into nothing; with it they come as in the engine, each two blocks late."""
        steps, batch, inputs = blocks.shape
        x = (blocks - self.mean) * self.inv_std
        gx = torch.addmm(self.bias, x.view(-1, inputs), self.wx.t()).view(steps, batch, -1)
        r = RecurrentLayer.apply(gx, self.quantised(self.wr, "recurrent weights"), self.quantised(self.wp, "projection weights"),
                                 self.peepholes, self.rounding, carry)
        self.recent = r.detach().reshape(-1, r.shape[2])
        if carry is None:
            r = torch.nn.functional.pad(r, (0, 0, 0, 0, DELAY, DELAY))
        else:
            r = torch.cat([carry.behind, r])
            carry.behind = r[steps:].detach().clone()
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

    def take_over(self, smaller):
        """Becomes a network of fewer cells and units, given as arrays by name: what is new weighs nothing in what follows it, so that both answer
        alike, and begins to learn from small random weights."""
        cells, old = self.wp.shape[1], smaller["wp"].shape[1]
        with torch.no_grad():
            for name, parameter in self.named_parameters():
                value = torch.from_numpy(np.asarray(smaller[name], np.float32))
                if name in ("wx", "wr", "bias"):
                    of_gates = parameter.view(GATES, cells, -1)
                    of_gates[:, :old] = value.reshape(GATES, old, -1)
                elif name in ("wp", "peepholes", "out"):
                    parameter[:, value.shape[1]:] = 0.0
                    parameter[:, :value.shape[1]] = value
                else:
                    parameter[:len(value)] = value


def loudest_blocks(blocks, mean, inv_std, count):
    """The blocks furthest from the mean, normalised: sudden beginnings, mostly."""
    mean, inv_std = np.tile(mean, STACKED), np.tile(inv_std, STACKED)
    size = np.concatenate([np.square((blocks[k:k + 65536] - mean) * inv_std).sum(axis=1) for k in range(0, len(blocks), 65536)])
    return (blocks[np.sort(np.argsort(size, kind="stable")[-count:])].astype(np.float32) - mean) * inv_std
