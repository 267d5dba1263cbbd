# SPDX-License-Identifier: Apache-2.0
"""Reads a "dnn_fb75" model file back into the network that it describes.

The layout is the one of docs/model_format.md for feed-forward models: a prefix, a header of 13400 bytes with the table of variables and the
table of keys, and the variables as floats one after another. Writing is left to `wvad model pack`; this reader exists so that the integer
reference judges the very file that ships.
"""

import struct

import numpy as np

from quantised_dnn import Network, Shifts

HEADER_BYTES = 13400


def _text(data):
    return data.split(b"\0", 1)[0].decode("ascii")


def read_variables(path):
    """Variables by name as (array of rows, 16-bit shift, 8-bit shift), and keys as a dictionary."""
    with open(path, "rb") as handle:
        data = handle.read()
    if _text(data[44:60]) != "orvalin":
        raise ValueError(f"{path}: not a model file")
    base = struct.unpack_from("<H", data, 2)[0]
    if _text(data[base + 16:base + 48]) != "MLP_RES_DNN":
        raise ValueError(f"{path}: not a feed-forward model")
    count = struct.unpack_from("<i", data, base + 48)[0]
    inner = struct.unpack_from("<128i", data, base + 84)
    outer = struct.unpack_from("<128i", data, base + 596)
    shift16 = struct.unpack_from("<128i", data, base + 10324)
    shift8 = struct.unpack_from("<128i", data, base + 11348)
    n_keys = struct.unpack_from("<i", data, base + 12372)[0]
    keys = {_text(data[base + 12376 + 16 * i:base + 12392 + 16 * i]): _text(data[base + 12888 + 16 * i:base + 12904 + 16 * i])
            for i in range(n_keys)}
    variables = {}
    at = base + HEADER_BYTES
    for i in range(count):
        name = _text(data[base + 1108 + 64 * i:base + 1172 + 64 * i])
        kind = _text(data[base + 9300 + 8 * i:base + 9308 + 8 * i])
        if kind != "float":
            raise ValueError(f"{path}: variable {name} is of type {kind}")
        size = inner[i] * outer[i]
        array = np.frombuffer(data, "<f4", size, at).reshape(outer[i], inner[i])
        variables[name] = (array, shift16[i] & 255, shift8[i] & 255)
        at += 4 * size
    return variables, keys


def read_network(path):
    variables, _ = read_variables(path)
    weights, biases, shifts = [], [], Shifts([], [])
    layer = 1
    while f"bias{layer + 1}" in variables:
        weight, w16, w8 = variables[f"weights{layer}{layer + 1}"]
        bias, b16, b8 = variables[f"bias{layer + 1}"]
        if (w16, b16) != (w8, b8):
            raise ValueError(f"{path}: layer {layer} has different shifts for its two tables")
        weights.append(weight)
        biases.append(bias[:, 0])
        shifts.weights.append(w8)
        shifts.bias.append(b8)
        layer += 1
    return Network(weights, biases, variables["mean"][0][:, 0], variables["var"][0][:, 0], variables["pri"][0][:, 0], shifts)
