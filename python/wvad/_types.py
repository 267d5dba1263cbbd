# SPDX-License-Identifier: Apache-2.0
"""Names for types that annotations share."""
from typing import Any, Union

from numpy.typing import NDArray

Array = NDArray[Any]
Channel = Union[int, str]  # a number from 1, "mix", or where it is said "all"
