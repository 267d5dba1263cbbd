# SPDX-License-Identifier: Apache-2.0
"""The arithmetic of the two recurrent networks, in NumPy: the 8-bit form of "lstm_fb40" and the 16-bit form of "lstm_fb75".

The forward passes are references of the engine's own, for one recurrent layer: they take many sessions side by side and give the same pairs.
Beside the pairs they count what did not fit where the engine keeps it: wraps, which change a value's sign, and clips, which only hold it at the
end of its range.

Block s of 4 frames goes through the layer at step s; its pairs are made at step s + 2, from the outputs of the steps s - 2 to s + 2.
"""

from dataclasses import dataclass, field

import numpy as np

STACKED = 4
PROJECTED = 96
RING_SLOTS = 5
PRIMING_BLOCKS = 8
DELAY = RING_SLOTS // 2
# Ranges of the 8-bit form. Four neighbouring weights of one sign stay below the range together (see can_saturate), so they are chosen wider than
# single weights ask for.
INT8_RANGES = {"recurrent weights": 3.0, "projection weights": 2.0, "fc weights": 2.0, "layer input": 8.0, "recurrent vector": 2.0,
               "projection input": 1.0}
BANK_RANGE = 33.7  # what a logarithmic band energy can be at most, see quantised_dnn
FIXED_SHIFTS = {"wx": 13, "bias": 10, "wr": 15, "peepholes": 13, "wp": 14, "fc": 15, "fc_bias": 10, "out": 13, "out_bias": 11}
GATES = 4  # input, forget, output, cell


def static_scaling(mean, std):
    """Mean and multiplier of each of the 40 values, the multiplier cut so that no possible value leaves the range of the layer's input."""
    mean = mean.astype(np.float32)
    reach = np.maximum(BANK_RANGE - mean, mean)
    return mean, np.minimum(1.0 / np.maximum(std, 1e-3), 0.999 * INT8_RANGES["layer input"] / reach).astype(np.float32)


def f32(x):
    return np.asarray(x).astype(np.float32)


def exp_of_minus(x):
    with np.errstate(over="ignore"):  # infinity is the right answer: the functions below give their ends
        return np.exp(-x.astype(np.float64))


def sigmoid(x):
    with np.errstate(over="ignore"):
        e = f32(exp_of_minus(x)).astype(np.float64)
    return f32(1.0 / (e + 1.0))


def tanh(x):
    """The float form keeps its exponential in double."""
    return f32(2.0 / (exp_of_minus(2.0 * x.astype(np.float64)) + 1.0) - 1.0)


def softmax_pairs(z):
    """Last axis of 2."""
    y = f32(np.exp((z - z.max(axis=-1, keepdims=True)).astype(np.float64)))
    return y / y.sum(axis=-1, keepdims=True, dtype=np.float32)


def quantise(x, full, reach):
    """Floats to integers of a range: halves away from zero, then clipped. `full` is 32768 or 128."""
    y = f32(x) * f32(np.float64(full) / np.float64(f32(reach)))
    y = np.where(y >= 0, np.floor(y.astype(np.float64) + 0.5), np.ceil(y.astype(np.float64) - 0.5))
    return np.clip(y, -full, full - 1).astype(np.int64)


def quantise_weights(w, full, reach):
    """The same as the loader does it: with the quotient of two singles."""
    y = f32(w) * (f32(full) / f32(reach))
    y = np.where(y >= 0, np.floor(y.astype(np.float64) + 0.5), np.ceil(y.astype(np.float64) - 0.5))
    return np.clip(y, -full, full - 1).astype(np.int64)


def fixed16(x, shift):
    """Floats to 16 bits with `shift` fraction bits: 0.5 added, cut towards zero, the low 16 bits kept. Nothing is clipped."""
    return wrap16(np.trunc(x.astype(np.float64) * 2.0**shift + 0.5).astype(np.int64))


def wrap16(v):
    return ((v + 32768) & 0xFFFF) - 32768


def saturate16(v):
    return np.clip(v, -32768, 32767)


def product(x, w):
    """x (n, columns) by w (rows, columns), integers; every sum is exact in doubles."""
    return np.rint(x.astype(np.float64) @ w.T.astype(np.float64)).astype(np.int64)


def can_saturate(w):
    """Whether any unsigned bytes can make a 16-bit sum of the 8-bit product clip: pairs first, then two pairs."""
    groups = w.reshape(w.shape[0], -1, 4)
    high, low = np.maximum(groups, 0).sum(axis=2), np.minimum(groups, 0).sum(axis=2)
    return bool((255 * high > 32767).any() or (255 * low < -32768).any())


def product8(x, w, saturating):
    """Signed bytes by signed bytes through unsigned ones, 128 added to each: the sum that the kernel makes."""
    u = x + 128
    if not saturating:
        return product(u, w)
    u = u.reshape(len(u), 1, -1, 2)
    pairs = saturate16((u * w.reshape(1, len(w), -1, 2)).sum(axis=3))
    return saturate16(pairs.reshape(len(u), len(w), -1, 2).sum(axis=3)).sum(axis=2)


@dataclass
class Counts:
    """Steps seen, values that did not fit, per place, and the greatest magnitude there as a share of the range."""

    steps: int = 0
    wrapped: dict = field(default_factory=dict)
    clipped: dict = field(default_factory=dict)
    greatest: dict = field(default_factory=dict)

    def wraps(self):
        return sum(self.wrapped.values())

    def _note(self, table, place, outside, magnitude, live):
        table[place] = table.get(place, 0) + int(np.sum(outside & live))
        self.greatest[place] = max(self.greatest.get(place, 0.0), float(np.max(magnitude * live, initial=0.0)))

    def wrap(self, place, v, live):
        self._note(self.wrapped, place, wrap16(v) != v, np.abs(v) / 32768.0, live)
        return wrap16(v)

    def wrap32(self, place, v, live):
        low = ((v + 2**31) & 0xFFFFFFFF) - 2**31
        self._note(self.wrapped, place, low != v, np.abs(v) / 2.0**31, live)
        return low

    def clip(self, place, v, low, high, live):
        self._note(self.clipped, place, (v < low) | (v > high), np.abs(v) / float(high), live)
        return np.clip(v, low, high)


@dataclass
class Lstm:
    """Float weights of one layer and the two output layers; gates in the order input, forget, output, cell."""

    kind: str
    mean: np.ndarray
    inv_std: np.ndarray
    prior: np.ndarray
    wx: np.ndarray  # 4 * cells x inputs
    wr: np.ndarray  # 4 * cells x 96
    wp: np.ndarray  # 96 x cells
    bias: np.ndarray
    peepholes: np.ndarray  # input, forget, output
    fc: np.ndarray  # hidden x 480
    fc_bias: np.ndarray
    out: np.ndarray  # 8 x hidden
    out_bias: np.ndarray
    scales: np.ndarray = None  # 9 ranges of the 8-bit form

    @property
    def cells(self):
        return len(self.bias) // GATES

    def normalise(self, blocks):
        mean, inv_std = np.tile(f32(self.mean), STACKED), np.tile(f32(self.inv_std), STACKED)
        return (f32(blocks) - mean) * inv_std


class Int8Form:
    """The 8-bit form. State: float r, c, t and the ring."""

    def __init__(self, net):
        self.net = net
        s = f32(net.scales)
        self.input_range, self.recurrent_range, self.cell_range, self.fc_range = s[5], s[6], s[7], s[8]
        self.wx = quantise_weights(net.wx, 32768.0, s[1])
        self.wr, self.wp, self.fc = (quantise_weights(w, 128.0, s[k]) for w, k in ((net.wr, 0), (net.wp, 2), (net.fc, 3)))
        self.input_factor = f32(np.float64(s[5] * s[1]) / 1073676288.0)
        self.products = {}
        for name, w, scale in (("wr", self.wr, s[0] * s[6]), ("wp", self.wp, s[7] * s[2]), ("fc", self.fc, s[8] * s[3])):
            saturating = can_saturate(w)
            offset = product8(np.zeros((1, w.shape[1]), np.int64), w, saturating)[0]
            correction = -(f32(offset) * (f32(scale) / f32(16384.0)))
            self.products[name] = (w, saturating, f32(np.float64(f32(scale)) * 6.103515625e-05), correction)
        # fc's correction is part of its bias.
        w, saturating, factor, correction = self.products["fc"]
        self.products["fc"] = (w, saturating, factor, f32(net.fc_bias) + correction)

    def saturating(self):
        return [name for name, (_, saturating, _, _) in self.products.items() if saturating]

    def clipped_weights(self):
        s, n = self.net.scales, self.net
        return {name: int(np.sum(np.abs(w) > r)) for name, w, r in
                (("recurrent", n.wr, s[0]), ("input", n.wx, s[1]), ("projection", n.wp, s[2]), ("fc", n.fc, s[3]))}

    def input_worst_case(self):
        """Share of 32 bits that eight neighbouring products of the input can reach at most."""
        groups = np.abs(self.wx).reshape(len(self.wx), -1, 8).sum(axis=2)
        return float(groups.max() * 32768.0 / 2.0**31)

    def start(self, n):
        cells = self.net.cells
        self.r, self.c, self.t = (np.zeros((n, k), np.float32) for k in (PROJECTED, cells, cells))
        self.ring = np.zeros((n, RING_SLOTS, PROJECTED), np.float32)

    def prime(self, blocks, counts):
        zero = self.net.normalise(np.zeros((1, len(self.net.mean) * STACKED), np.float32))
        for _ in range(blocks):
            y = self.layer(np.repeat(zero, len(self.r), axis=0), counts, np.zeros((len(self.r), 1), bool))
            # One slot moves, and a quarter of one enters.
            self.ring[:, 0] = self.ring[:, 1]
            self.ring[:, -1, :PROJECTED // 4] = y[:, :PROJECTED // 4]

    def product(self, name, x):
        w, saturating, factor, correction = self.products[name]
        return f32(product8(x, w, saturating).astype(np.float64) * np.float64(factor)) + correction

    def layer(self, x, counts, live):
        n, cells = self.net, self.net.cells
        x = quantise(counts.clip("input", x, -float(self.input_range), float(self.input_range), live), 32768.0, self.input_range)
        G = f32(product(x, self.wx).astype(np.float64) * np.float64(self.input_factor)) + f32(n.bias)
        r = quantise(counts.clip("recurrent vector", self.r, -float(self.recurrent_range), float(self.recurrent_range), live),
                     128.0, self.recurrent_range)
        H = self.product("wr", r)
        p = f32(n.peepholes)
        H[:, :cells] += self.t * p[0]
        H[:, cells:2 * cells] += self.t * p[1]
        i, f = (sigmoid(G[:, k * cells:(k + 1) * cells] + H[:, k * cells:(k + 1) * cells]) for k in (0, 1))
        g = tanh(G[:, 3 * cells:] + H[:, 3 * cells:])
        self.c = f32(f.astype(np.float64) * self.c + i.astype(np.float64) * g)
        self.t = tanh(self.c)
        o = sigmoid(H[:, 2 * cells:3 * cells] + self.t * p[2] + G[:, 2 * cells:3 * cells])
        m = quantise(self.t * o, 128.0, self.cell_range)
        self.r = self.product("wp", m)
        return self.r

    def step(self, blocks, counts, live):
        """The pairs of the block two steps before: (sessions, 4, 2)."""
        y = self.layer(self.net.normalise(blocks), counts, live)
        self.ring = np.concatenate([self.ring[:, 1:], y[:, None]], axis=1)
        ring = counts.clip("fc input", self.ring.reshape(len(y), -1), -float(self.fc_range), float(self.fc_range), live)
        hidden = self.product("fc", quantise(ring, 128.0, self.fc_range))
        hidden = np.where(hidden < 0, np.float32(0), hidden)
        # Four running sums of singles, added in double.
        lanes = np.zeros((len(y), len(self.net.out), 4), np.float32)
        weights = f32(self.net.out).reshape(1, len(self.net.out), -1, 4)
        x = hidden.reshape(len(y), 1, -1, 4)
        for k in range(x.shape[2]):
            lanes += x[:, :, k] * weights[:, :, k]
        z = f32(lanes.astype(np.float64).sum(axis=2)) + f32(self.net.out_bias)
        return softmax_pairs(z.reshape(len(y), STACKED, 2))


def sigmoid_fixed(v):
    """10 fraction bits to 14."""
    e = f32(np.exp(-(v * 2.0**-10)))
    y = f32(1.0 / (e.astype(np.float64) + 1.0))
    z = y * np.float32(2.0**14) + np.float32(0.5)
    return np.trunc(np.clip(z, -32768.0, 32767.0)).astype(np.int64)


def tanh_fixed(v, bits_in, bits_out):
    with np.errstate(over="ignore"):  # a cell below -44 overflows to infinity, which gives -1
        e = f32(np.exp(-2.0 * (v * 2.0**-bits_in)))
    y = f32(2.0 / (e.astype(np.float64) + 1.0) - 1.0)
    z = y * np.float32(2.0**bits_out) + np.float32(0.5)
    return np.trunc(np.clip(z, -32768.0, 32767.0)).astype(np.int64)


class FixedForm:
    """The 16-bit form. State: integers r, c, t and the ring."""

    def __init__(self, net):
        self.net = net
        self.q = {name: fixed16(getattr(net, name), shift) for name, shift in FIXED_SHIFTS.items()}
        self.recurrent_range = 32767.0 / 4096.0

    def saturating(self):
        return []

    def clipped_weights(self):
        """Weights that would wrap: there is no clip in this form."""
        return {name: int(np.sum(np.abs(getattr(self.net, name).astype(np.float64) * 2.0**shift) > 32766.0))
                for name, shift in FIXED_SHIFTS.items()}

    def start(self, n):
        cells = self.net.cells
        self.r, self.c, self.t = (np.zeros((n, k), np.int64) for k in (PROJECTED, cells, cells))
        self.ring = np.zeros((n, RING_SLOTS, PROJECTED), np.int64)

    def prime(self, blocks, counts):
        raise ValueError("this kind is not primed")

    def gemv_clamped(self, place, x, w, shift, counts, live):
        v = np.trunc(product(x, w) * 2.0**-shift + 0.5).astype(np.int64)
        return counts.clip(place, v, -32767, 32767, live)

    def layer(self, x, counts, live):
        q, cells = self.q, self.net.cells

        def gate(v, k):
            return v[:, k * cells:(k + 1) * cells]

        x = np.trunc(x.astype(np.float64) * 2048.0).astype(np.int64)
        x = counts.wrap("input", x, live)
        # Sums of 32 bits, shifted down; what is kept is their low half. That of the input is the tighter one, and 32 bits bound the recurrent
        # sum: it ends at 16 where its kept half would go on to 32.
        total = counts.wrap32("input sum", product(x, q["wx"]), live)
        G = counts.wrap("input product", total >> 14, live)
        G = counts.wrap("input product and bias", G + q["bias"], live)
        H = counts.wrap32("recurrent product", product(self.r, q["wr"]), live) >> 17

        def peephole(k):
            return counts.wrap("peephole", gate(H, k) + saturate16((self.t * q["peepholes"][k]) >> 17), live)

        i = sigmoid_fixed(counts.wrap("gates", gate(G, 0) + peephole(0), live))
        f = sigmoid_fixed(counts.wrap("gates", gate(G, 1) + peephole(1), live))
        g = tanh_fixed(counts.wrap("gates", gate(G, 3) + gate(H, 3), live), 10, 9)
        self.c = counts.clip("cell", (f * self.c + i * g) >> 14, -32768, 32767, live)
        self.t = tanh_fixed(self.c, 9, 14)
        o = sigmoid_fixed(counts.wrap("gates", peephole(2) + gate(G, 2), live))
        m = saturate16(np.rint(f32(self.t * o) * np.float32(2.0**-13)).astype(np.int64))
        self.r = self.gemv_clamped("recurrent vector", m, q["wp"], 17, counts, live)
        return self.r

    def step(self, blocks, counts, live):
        q = self.q
        y = self.layer(self.net.normalise(blocks), counts, live)
        self.ring = np.concatenate([self.ring[:, 1:], y[:, None]], axis=1)
        hidden = self.gemv_clamped("fc", self.ring.reshape(len(y), -1), q["fc"], 17, counts, live)
        hidden = np.maximum(counts.wrap("fc and bias", hidden + q["fc_bias"], live), 0)
        z = self.gemv_clamped("output", hidden, q["out"], 12, counts, live)
        z = counts.wrap("output and bias", z + q["out_bias"], live)
        return softmax_pairs(f32(z * 0.00048828125).reshape(len(y), STACKED, 2))


def form_of(net):
    return Int8Form(net) if net.kind == "lstm_fb40" else FixedForm(net)


def run_sessions(net, sessions, counts=None, priming=PRIMING_BLOCKS, side_by_side=64):
    """Pairs of each session (blocks x inputs), 4 a block, for all blocks but the last two: those are owed at the end of audio."""
    counts = counts if counts is not None else Counts()
    form = form_of(net)
    results = [np.zeros((0, 2), np.float32)] * len(sessions)
    order = sorted(range(len(sessions)), key=lambda k: len(sessions[k]))
    for first in range(0, len(order), side_by_side):
        group = order[first:first + side_by_side]
        lengths = np.array([len(sessions[k]) for k in group])
        inputs = sessions[group[0]].shape[1]
        blocks = np.zeros((lengths.max(), len(group), inputs), np.float32)
        for row, k in enumerate(group):
            blocks[:lengths[row], row] = sessions[k]
        form.start(len(group))
        if net.kind == "lstm_fb40":
            form.prime(priming, counts)
        pairs = np.zeros((lengths.max(), len(group), STACKED, 2), np.float32)
        for step in range(lengths.max()):
            live = (step < lengths)[:, None]
            counts.steps += int(live.sum())
            pairs[step] = form.step(blocks[step], counts, live)
        for row, k in enumerate(group):
            results[k] = pairs[DELAY:lengths[row], row].reshape(-1, 2)
    return results
