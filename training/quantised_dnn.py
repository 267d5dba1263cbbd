# SPDX-License-Identifier: Apache-2.0
"""The integer arithmetic of a "dnn_fb75" network, in NumPy: bounds of the input, quantisation of a trained network, and its forward pass.

The forward pass is a reference of the engine's own: 16-bit input with 11 fraction bits, 16-bit weights and 32-bit sums in the first layer,
unsigned 8-bit activations, signed 8-bit weights and wrapping 16-bit sums behind it, a table for the sigmoid. Beside the score pairs it counts
every value that did not fit where the engine keeps it, so that a network can be shown not to wrap.
"""

from dataclasses import dataclass, field

import numpy as np

CONTEXT = 11
FEATURES = 75
INPUT_SHIFT = 11
# What one frame's 75 values can be at most, whatever the audio. A power spectrum of 512 points over 400 samples of 16 bits, pre-emphasised
# by at most 1.97, holds less than e^33.7; values are floored at ln 1 = 0, and a mean of such values is taken off. The difference filters
# weigh a range r by 0.3 and again by 0.6 (bank) and by 1.125 and again by 2.25 (pitch, 0 to 24); the correlation is scaled to 80.
BANK_RANGE = 33.7
PITCH_RANGE = 24.0
FEATURE_LOW = np.concatenate([np.full(24, -BANK_RANGE), np.full(24, -0.3 * BANK_RANGE), np.full(24, -0.18 * BANK_RANGE),
                              [-1.125 * PITCH_RANGE, -2.25 * 1.125 * PITCH_RANGE, 0.0]])
FEATURE_HIGH = np.concatenate([-FEATURE_LOW[:74], [80.1]])
INPUT_LIMIT = 15.9  # of the 16.0 that 16 bits with 11 fraction bits hold


def input_scaling(mean, std):
    """Mean and multiplier of each value, the multiplier cut so that no possible input reaches 16.0."""
    mean = mean.astype(np.float32)
    reach = np.maximum(FEATURE_HIGH - mean, mean - FEATURE_LOW)
    inv_std = np.minimum(1.0 / np.maximum(std, 1e-3), INPUT_LIMIT / reach)
    return mean, inv_std.astype(np.float32)


def input_bound(mean, inv_std):
    """The greatest magnitude that each of the 75 values can have after scaling."""
    return np.maximum(FEATURE_HIGH - mean, mean - FEATURE_LOW) * inv_std


def sigmoid_table():
    x = (np.arange(8192) - 4096) / 256.0
    e = np.exp(-x).astype(np.float32).astype(np.float64)
    y = (1.0 / (e + 1.0)).astype(np.float32).astype(np.float64)
    return np.floor(y * 2.0**30).astype(np.int64)


_TABLE = sigmoid_table()


def sigmoid_table8(v, a, b):
    """Integers with `a` fraction bits to unsigned bytes with `b`."""
    index = (v + (1 << (a + 4))) >> (a - 8)
    inside = (_TABLE[np.clip(index, 0, 8191)] + (1 << (29 - b))) >> (30 - b)
    return np.where(index >= 8192, (1 << b) & 255, np.where(index < 1, 0, inside & 255))


def fixed(x, shift, low, high):
    """Rounded to the nearest, halves away from zero, then clipped: the conversion of the model loader."""
    y = x.astype(np.float64) * 2.0**shift
    y = np.clip(np.where(x >= 0, y + 0.5, y - 0.5), low, high)
    return np.trunc(y).astype(np.int64)


def wrap(v, bits):
    half = 1 << (bits - 1)
    return ((v + half) & ((1 << bits) - 1)) - half


@dataclass
class Shifts:
    """Fraction bits of each layer's weights and bias. The activations between layer i and i + 1 have bias[i+1] - weights[i+1] of them."""

    weights: list
    bias: list

    def activation(self, layer):
        return self.bias[layer + 1] - self.weights[layer + 1]


@dataclass
class Network:
    """Float weights, one row an output, with the shifts that the model file will carry."""

    weights: list
    biases: list
    mean: np.ndarray
    inv_std: np.ndarray
    prior: np.ndarray
    shifts: Shifts

    def __post_init__(self):
        s = self.shifts
        n = len(self.weights)
        self.int_weights = [fixed(w, s.weights[i], *((-32768, 32767) if i == 0 else (-128, 127))) for i, w in enumerate(self.weights)]
        self.int_biases = [fixed(b, s.bias[i], -2**31, 2**31 - 1) for i, b in enumerate(self.biases)]
        self.product_bits = [s.weights[i] + (INPUT_SHIFT if i == 0 else s.activation(i - 1)) for i in range(n)]
        for i in range(n - 1):
            if not 0 <= s.activation(i) <= 7:  # with 8, 1.0 would read as 0, and sums of byte pairs could saturate
                raise ValueError(f"layer {i}: activations of {s.activation(i)} fraction bits")
        if min(s.bias) < 8:
            raise ValueError("fewer than 8 fraction bits before a sigmoid")

    def clipped_weights(self):
        """How many weights do not fit their integers, per layer."""
        counts = []
        for i, w in enumerate(self.weights):
            limit = 32767 if i == 0 else 127
            counts.append(int(np.sum(np.abs(np.round(w * 2.0 ** self.shifts.weights[i])) > limit)))
        return counts

    def worst_case(self):
        """For each layer the greatest share of its sum's range that any input could use; below 1.0 nothing can ever wrap."""
        shares = []
        for i, w in enumerate(self.int_weights):
            if i == 0:
                reach = np.tile(np.floor(input_bound(self.mean, self.inv_std) * 2.0**INPUT_SHIFT), CONTEXT)
                shares.append(float((np.abs(w) @ reach).max() / 2.0**31))
                continue
            one = 1 << self.shifts.activation(i - 1)
            high, low = one * np.maximum(w, 0).sum(axis=1), one * np.minimum(w, 0).sum(axis=1)
            scale = 2.0 ** (self.shifts.bias[i] - self.product_bits[i])
            bias = self.int_biases[i]
            shares.append(float(max(high.max() / 32767.0, low.min() / -32768.0, (high * scale + bias).max() / 32767.0,
                                    (low * scale + bias).min() / -32768.0, np.abs(bias).max() / 32767.0)))
        return shares


@dataclass
class Counts:
    """Values seen and values that did not fit, per place."""

    frames: int = 0
    input_wraps: int = 0
    sum_wraps: list = field(default_factory=list)
    bias_wraps: list = field(default_factory=list)
    greatest_sum: list = field(default_factory=list)  # as a share of the range

    def wraps(self):
        return self.input_wraps + sum(self.sum_wraps) + sum(self.bias_wraps)


def forward(network, blocks, counts=None):
    """Score pairs, speech first, for rows of 825 values as they come from the feature stage (float32)."""
    counts = counts if counts is not None else Counts()
    n_layers = len(network.weights)
    if not counts.sum_wraps:
        counts.sum_wraps, counts.bias_wraps, counts.greatest_sum = [0] * n_layers, [0] * n_layers, [0.0] * n_layers
    counts.frames += len(blocks)
    mean = np.tile(network.mean.astype(np.float32), CONTEXT)
    inv_std = np.tile(network.inv_std.astype(np.float32), CONTEXT)
    x = (blocks.astype(np.float32) - mean) * inv_std
    x = np.trunc(x.astype(np.float64) * 2.0**INPUT_SHIFT).astype(np.int64)
    counts.input_wraps += int(np.sum(wrap(x, 16) != x))
    x = wrap(x, 16)
    for i in range(n_layers):
        bits = 32 if i == 0 else 16
        # Sums of products stay below 2^53, so doubles add them exactly.
        total = (x.astype(np.float64) @ network.int_weights[i].T.astype(np.float64)).astype(np.int64)
        counts.greatest_sum[i] = max(counts.greatest_sum[i], float(np.abs(total).max(initial=0)) / 2.0 ** (bits - 1))
        counts.sum_wraps[i] += int(np.sum(wrap(total, bits) != total))
        total = wrap(total, bits)
        scale = 2.0 ** (network.shifts.bias[i] - network.product_bits[i])
        value = np.trunc(network.int_biases[i] + total * scale).astype(np.int64)
        counts.bias_wraps[i] += int(np.sum(wrap(value, bits) != value))
        value = wrap(value, bits)
        if i + 1 < n_layers:
            x = sigmoid_table8(value, network.shifts.bias[i], network.shifts.activation(i))
    y = (value * np.float32(2.0 ** -network.shifts.bias[-1])).astype(np.float32)
    y = np.exp((y - y.max(axis=1, keepdims=True)).astype(np.float64)).astype(np.float32)
    return y / y.sum(axis=1, keepdims=True, dtype=np.float32)


def splice(frames):
    """Blocks of 11 frames around each frame, the first and the last frame standing in beyond the ends."""
    n = len(frames)
    index = np.clip(np.arange(n)[:, None] + np.arange(-(CONTEXT // 2), CONTEXT // 2 + 1), 0, n - 1)
    return frames[index].reshape(n, CONTEXT * frames.shape[1])


def session_pairs(network, frames, counts=None):
    """Score pairs of all frames of a session given its 75-value frames: even frames are computed, odd frames repeat the one before."""
    even = forward(network, splice(frames)[::2], counts)
    return np.repeat(even, 2, axis=0)[:len(frames)]
