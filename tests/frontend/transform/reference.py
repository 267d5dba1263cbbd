#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The transform of src/frontend/transform a second time, in exact steps: factors from series with fifty digits, every operation rounded to
single once. Its results on the input of `signal` are tests/data/frontend/transform_SIZE.f32.

    reference.py FOLDER            compares the files there with what comes out here; exit code 1 if a byte differs
    reference.py --write FOLDER    writes them"""
import decimal
import pathlib
import struct
import sys

decimal.getcontext().prec = 50
PI = decimal.Decimal("3.14159265358979323846264338327950288419716939937511")
SIZES = {256: (4, 4), 512: (4, 8), 1024: (8, 8)}  # and the radices of the columns


def single(x):
    """`x`, a double, rounded to single. A sum or product of two singles loses nothing by the rounding to double before."""
    return struct.unpack("<f", struct.pack("<f", x))[0]


def nearest_single(x):
    """Of the singles around the Decimal `x` the nearest, without a rounding on the way."""
    middle = struct.unpack("<i", struct.pack("<f", float(x)))[0]
    around = [struct.unpack("<f", struct.pack("<i", max(bits, 0) if middle >= 0 else bits))[0] for bits in range(middle - 1, middle + 2)]
    return min(around, key=lambda y: abs(decimal.Decimal(y) - x))


def cosine_and_sine(x):
    values = []
    for first in (0, 1):
        term, total, n = x if first else decimal.Decimal(1), decimal.Decimal(0), first
        while abs(term) > decimal.Decimal("1e-45"):
            total += term
            term = -term * x * x / ((n + 1) * (n + 2))
            n += 2
        values.append(total)
    return values


def factor(t, size):
    """exp(-2*pi*i*t / size), both parts rounded to single."""
    if t * 4 % size == 0:
        return [(1.0, 0.0), (0.0, -1.0), (-1.0, 0.0), (0.0, 1.0)][t * 4 // size % 4]
    cosine, sine = cosine_and_sine(2 * PI * t / size)
    return nearest_single(cosine), nearest_single(-sine)


def plus(a, b):
    return single(a[0] + b[0]), single(a[1] + b[1])


def minus(a, b):
    return single(a[0] - b[0]), single(a[1] - b[1])


def times(a, b):
    return (single(single(a[0] * b[0]) - single(a[1] * b[1])), single(single(a[0] * b[1]) + single(a[1] * b[0])))


def turned(a):
    """-i * a."""
    return a[1], -a[0]


def dft4(v):
    s02, d02, s13, d13 = plus(v[0], v[2]), minus(v[0], v[2]), plus(v[1], v[3]), turned(minus(v[1], v[3]))
    return [plus(s02, s13), plus(d02, d13), minus(s02, s13), minus(d02, d13)]


def dft8(v):
    root = nearest_single(decimal.Decimal("0.5").sqrt())
    even = dft4([plus(v[j], v[j + 4]) for j in range(4)])
    odd = [minus(v[j], v[j + 4]) for j in range(4)]
    odd[1] = tuple(single(part * root) for part in plus(odd[1], turned(odd[1])))
    odd[2] = turned(odd[2])
    odd[3] = turned(tuple(single(part * root) for part in plus(odd[3], turned(odd[3]))))
    odd = dft4(odd)
    return [value for pair in zip(even, odd) for value in pair]


def dft(v):
    return dft4(v) if len(v) == 4 else dft8(v)


def column(z, first, second):
    """Of one column of first * second values."""
    rows = [None] * (first * second)
    for p in range(second):
        v = dft([z[p + second * h] for h in range(first)])
        for h in range(first):
            rows[first * p + h] = times(v[h], factor(p * h, first * second)) if h else v[h]
    out = [None] * (first * second)
    for k in range(first):
        for j, value in enumerate(dft([rows[k + first * h] for h in range(second)])):
            out[k + first * j] = value
    return out


def transform(x):
    n = len(x) // 2
    first, second = SIZES[len(x)]
    rows = first * second
    columns = [column([(x[2 * j], x[2 * j + 1]) for j in range(c, n, 8)], first, second) for c in range(8)]
    z = [None] * n
    for k in range(rows):
        row = [times(columns[c][k], factor(k * c, n)) if c else columns[c][k] for c in range(8)]
        for j, value in enumerate(dft8(row)):
            z[k + rows * j] = value
    out = [None] * (n + 1)
    for k in range(n // 2):
        there, back = z[k], z[-k]
        even = single(single(there[0] + back[0]) * 0.5), single(single(there[1] - back[1]) * 0.5)
        w = [part / 2 for part in factor(k, 2 * n)]
        a, b = single(there[1] + back[1]), single(there[0] - back[0])
        odd = single(single(a * w[0]) + single(b * w[1])), single(single(a * w[1]) - single(b * w[0]))
        out[k] = plus(even, odd)
        out[n - k] = single(even[0] - odd[0]), single(odd[1] - even[1])
    out[n // 2] = z[n // 2][0], -z[n // 2][1]
    return out


def signal(size):
    """Whole numbers like samples, and parts of them: a windowed frame has both."""
    return [single((i * i * 7919 + 31 * i) % 60013 - 30006 + i % 8 / 8) for i in range(size)]


def main():
    write = sys.argv[1] == "--write"
    folder = pathlib.Path(sys.argv[-1])
    wrong = 0
    for size in SIZES:
        values = [part for value in transform(signal(size)) for part in value]
        content = struct.pack(f"<{len(values)}f", *values)
        path = folder / f"transform_{size}.f32"
        if write:
            path.write_bytes(content)
        elif path.read_bytes() != content:
            print(f"{path} holds other values")
            wrong = 1
    return wrong


if __name__ == "__main__":
    sys.exit(main())
