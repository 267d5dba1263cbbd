# SPDX-License-Identifier: Apache-2.0
"""What ends a run from outside. TERM, as `kill`, timeout(1) and service managers send it, and HUP, as a terminal that is closed does, are taken for
what Ctrl-C is: the processes are ended, and what is there stays for the command that goes on."""
from __future__ import annotations

import signal
import threading
from contextlib import contextmanager
from typing import Any, Iterator

_ENDS = (signal.SIGTERM, signal.SIGHUP)
_asked = False


def asked() -> bool:
    """Whether one of them has come."""
    return _asked


def _end(_number: int, _frame: Any) -> None:
    global _asked
    _asked = True
    for one in _ENDS:  # timeout(1) sends it to the process and then to its group
        signal.signal(one, signal.SIG_IGN)
    raise KeyboardInterrupt


@contextmanager
def held_off() -> Iterator[None]:
    """Meanwhile neither they nor Ctrl-C are heard, by the main thread, which calls this. What comes is lost."""
    before = {one: signal.signal(one, signal.SIG_IGN) for one in (signal.SIGINT, *_ENDS)}
    try:
        yield
    finally:
        for one, how in before.items():
            signal.signal(one, how)


@contextmanager
def as_interrupts() -> Iterator[None]:
    """Meanwhile the first of them raises KeyboardInterrupt in the main thread, and those behind it are passed over for good. What somebody ignores
    (nohup) or handles already stays so."""
    taken = [one for one in _ENDS if signal.getsignal(one) is signal.SIG_DFL] if threading.current_thread() is threading.main_thread() else []
    for one in taken:
        signal.signal(one, _end)
    try:
        yield
    finally:
        for one in taken:
            if signal.getsignal(one) is _end:
                signal.signal(one, signal.SIG_DFL)
