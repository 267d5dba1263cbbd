# SPDX-License-Identifier: Apache-2.0
"""Warnings at the line of whoever uses the package, however deep in it they arise."""
import os
import sys
import warnings

from . import errors

_HERE = os.path.dirname(os.path.abspath(__file__)) + os.sep


def warn(words: str) -> None:
    """An AudioWarning."""
    frame, level = sys._getframe(), 1
    while frame.f_back is not None and os.path.abspath(frame.f_code.co_filename).startswith(_HERE):
        frame, level = frame.f_back, level + 1
    warnings.warn(words, errors.AudioWarning, stacklevel=level)
