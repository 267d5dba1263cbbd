# SPDX-License-Identifier: Apache-2.0
"""Names of files as text."""
from __future__ import annotations

import os


def shown(name: str) -> str:
    """A name as text that can be written, whatever it holds."""
    return os.fsencode(name).decode("utf-8", "backslashreplace")
