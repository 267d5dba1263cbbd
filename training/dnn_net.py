# SPDX-License-Identifier: Apache-2.0
"""The feed-forward network "dnn_fb75" for torch, with the engine's rounding in the forward pass and its sums held in 16 bits."""

import torch

from quantised_dnn import CONTEXT, FEATURES


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
