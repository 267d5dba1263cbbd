# SPDX-License-Identifier: Apache-2.0
"""Runs the tests of training/, or those of the one file that is named; exits with 77 where NumPy or libsndfile is missing."""

import ctypes
import ctypes.util
import os
import sys
import unittest

here = os.path.dirname(os.path.abspath(__file__))
sys.dont_write_bytecode = True
try:
    import numpy  # noqa: F401

    ctypes.CDLL(ctypes.util.find_library("sndfile") or "libsndfile.so.1")
except (ImportError, OSError) as missing:
    print(f"skipped: {missing}")
    sys.exit(77)
sys.path.insert(0, os.path.join(here, "..", "..", "training"))
suite = unittest.defaultTestLoader.discover(here, pattern=sys.argv[1] if len(sys.argv) > 1 else "test_*.py")
sys.exit(0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1)
