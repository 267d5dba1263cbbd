# SPDX-License-Identifier: Apache-2.0
"""Look-alikes of other detectors: their calls over this one."""
from . import silero, webrtcvad

__all__ = ["silero", "webrtcvad"]
