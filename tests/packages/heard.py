# SPDX-License-Identifier: Apache-2.0
"""heard.py FILE [ROUNDS]: what heard.c does, by the package for Python that is installed."""
import sys

import numpy
import wvad

samples = numpy.fromfile(sys.argv[1], "<i2")
for _ in range(int(sys.argv[2]) if len(sys.argv) > 2 else 1):
    found = list(wvad.segment(samples, 16000))
for sentence in found:
    print(sentence.begin_frame, sentence.end_frame)
