# SPDX-License-Identifier: Apache-2.0
"""Reads a model file back into the network that it describes.

The layout is the one of docs/model_format.md: a prefix, a header with the table of variables and the table of keys, and the variables as floats
one after another. The header of "lstm_fb40" carries ranges, that of the other two kinds shifts. Writing is left to `wvad model pack`; this reader
exists so that the integer references judge the very file that ships.
"""

import struct

import numpy as np

from quantised_dnn import Network, Shifts
from quantised_lstm import Lstm

DNN, LSTM_FIXED, LSTM_RANGES = "MLP_RES_DNN", "MLP_RES_RNNCATDNN", "MLP_RES_RNNCNNPAD28"
KINDS = {DNN: "dnn_fb75", LSTM_FIXED: "lstm_fb75", LSTM_RANGES: "lstm_fb40"}


def _text(data):
    return data.split(b"\0", 1)[0].decode("ascii")


class ModelFile:
    """kind; keys as a dictionary; variables by name as arrays of rows; shifts by name as (16-bit, 8-bit); ranges or None."""

    def __init__(self, path):
        with open(path, "rb") as handle:
            data = handle.read()
        if _text(data[44:60]) != "orvalin":
            raise ValueError(f"{path}: not a model file")
        base = struct.unpack_from("<H", data, 2)[0]
        network_type = _text(data[base + 16:base + 48])
        if network_type not in KINDS:
            raise ValueError(f"{path}: no model of a kind that this reader knows")
        self.path, self.kind = path, KINDS[network_type]
        with_ranges = network_type == LSTM_RANGES
        count = struct.unpack_from("<i", data, base + 48)[0]
        inner = struct.unpack_from("<128i", data, base + 84)
        outer = struct.unpack_from("<128i", data, base + 596)
        keys_at = base + (10388 if with_ranges else 12372)
        n_keys = struct.unpack_from("<i", data, keys_at)[0]
        self.keys = {_text(data[keys_at + 4 + 16 * i:keys_at + 20 + 16 * i]): _text(data[keys_at + 516 + 16 * i:keys_at + 532 + 16 * i])
                     for i in range(n_keys)}
        self.ranges = np.frombuffer(data, "<f4", 16, base + 10324) if with_ranges else None
        self.variables, self.shifts = {}, {}
        shift16, shift8 = (None, None) if with_ranges else (struct.unpack_from("<128i", data, base + at) for at in (10324, 11348))
        at = keys_at + 4 + 2 * 512
        for i in range(count):
            name = _text(data[base + 1108 + 64 * i:base + 1172 + 64 * i])
            kind = _text(data[base + 9300 + 8 * i:base + 9308 + 8 * i])
            if kind != "float":
                raise ValueError(f"{path}: variable {name} is of type {kind}")
            size = inner[i] * outer[i]
            self.variables[name] = np.frombuffer(data, "<f4", size, at).reshape(outer[i], inner[i])
            if not with_ranges:
                self.shifts[name] = (shift16[i] & 255, shift8[i] & 255)
            at += 4 * size

    def vector(self, name):
        return self.variables[name][:, 0]


def _feed_forward(file):
    weights, biases, shifts = [], [], Shifts([], [])
    layer = 1
    while f"bias{layer + 1}" in file.variables:
        names = f"weights{layer}{layer + 1}", f"bias{layer + 1}"
        if any(file.shifts[name][0] != file.shifts[name][1] for name in names):
            raise ValueError(f"{file.path}: layer {layer} has different shifts for its two tables")
        weights.append(file.variables[names[0]])
        biases.append(file.vector(names[1]))
        shifts.weights.append(file.shifts[names[0]][1])
        shifts.bias.append(file.shifts[names[1]][1])
        layer += 1
    return Network(weights, biases, file.vector("mean"), file.vector("var"), file.vector("pri"), shifts)


def gates_from_file(x):
    """Files hold the parts cell, input, forget, output; the networks here input, forget, output, cell."""
    return np.roll(x.reshape(4, -1), -1, axis=0).reshape(x.shape)


def gates_to_file(x):
    return np.roll(x.reshape(4, -1), 1, axis=0).reshape(x.shape)


def _recurrent(file):
    if "lstmp2_bias_" in file.variables:
        raise ValueError(f"{file.path}: more than one recurrent layer")
    v = file.variables
    return Lstm(file.kind, file.vector("mean"), file.vector("var"), file.vector("pri"), gates_from_file(v["lstmp1_w_gifo_x_"]),
                gates_from_file(v["lstmp1_w_gifo_r_"]), v["lstmp1_w_projection_"], gates_from_file(file.vector("lstmp1_bias_")),
                np.stack([file.vector(f"lstmp1_peephole_{gate}_c_") for gate in "ifo"]), v["fc2_weight_"], file.vector("fc2_bias_"),
                v["softmax_weight_"], file.vector("softmax_bias_"), file.ranges)


def read_network(path):
    """A `quantised_dnn.Network` or a `quantised_lstm.Lstm`, by the file."""
    file = ModelFile(path)
    return _feed_forward(file) if file.kind == "dnn_fb75" else _recurrent(file)
