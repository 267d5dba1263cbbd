# SPDX-License-Identifier: Apache-2.0
"""Names of files as text."""
from __future__ import annotations

import os
import re

_ADDRESS = re.compile(r"[A-Za-z][A-Za-z0-9+.-]*://")


def shown(name: str) -> str:
    """A name as text that can be written, whatever it holds."""
    return os.fsencode(name).decode("utf-8", "backslashreplace")


def trouble_of(name: str, path: str) -> str:
    """What is wrong with a recording's name, `path` being where it would lie; "" for one that may be a file's."""
    if _ADDRESS.match(name):
        return f"{shown(name)}: is an address, and addresses are not opened here, files alone"
    if "#t=" in name and not os.path.lexists(path):
        return f"{shown(name)}: no such file; what #t= asks for are offset and duration in a row of a manifest"
    return ""
