# SPDX-License-Identifier: Apache-2.0
"""What the package raises, and warns of.

Every exception of the package is an `Error` with the library's own words, and beside it of the built-in kind that a caller would look for.
A value of a wrong Python type is a plain `TypeError`, as everywhere.
"""
from __future__ import annotations

import errno
import os
from typing import Any, Dict, Type


class Error(Exception):
    """Base of all exceptions of this package.

    Attributes:
        status: the name of the library's status, such as "WVAD_E_RANGE"; "" where the refusal came from elsewhere.
    """

    def __init__(self, message: str, status: str = "") -> None:
        super().__init__(message)
        self.status = status

    def __reduce__(self) -> Any:
        return type(self), (*self.args, self.status)


class ArgumentError(Error, ValueError):
    """A setting, rate, channel, profile or piece of audio that cannot be served. Nothing of it was taken."""


class AudioError(Error, ValueError):
    """A recording that is no audio, or of which nothing can be heard."""


class AudioFileError(Error, OSError):
    """A recording that is missing, a folder, or cannot be read. `errno` and `filename` are those of the system's refusal, None where there was
    none."""

    def __str__(self) -> str:
        return str(self.args[0])

    def __reduce__(self) -> Any:
        return (*super().__reduce__(), {"errno": self.errno, "strerror": self.strerror, "filename": self.filename})


class AudioFileNotFoundError(AudioFileError, FileNotFoundError):
    """A recording that is missing."""


class AudioFileIsFolderError(AudioFileError, IsADirectoryError):
    """A recording that is a folder."""


class AudioFilePermissionError(AudioFileError, PermissionError):
    """A recording that must not be read."""


class ModelError(Error, ValueError):
    """A model file that is missing, a folder, damaged, or of another kind."""


class StateError(Error, RuntimeError):
    """A call that does not fit the state of a stream: it is closed, finished, or in a call on another thread."""


class UnavailableError(Error, RuntimeError):
    """A part that this installation does not have: the library, the decoders, Dask, Slurm's commands."""


class LibraryMemoryError(Error, MemoryError):
    """Memory is exhausted; the stream has to be closed."""


class AudioWarning(UserWarning):
    """A recording that was heard, but was not whole, or of which something should be known; samples whose scale seems wrong."""


_OF_ERRNO: Dict[int, Type[AudioFileError]] = {
    errno.ENOENT: AudioFileNotFoundError,
    errno.EISDIR: AudioFileIsFolderError,
    errno.EACCES: AudioFilePermissionError,
    errno.EPERM: AudioFilePermissionError,
}


def of_file(message: str, number: int, filename: Any) -> AudioFileError:
    """The exception for a file that the system refuses with `number` (errno; 0 where it does not)."""
    error = _OF_ERRNO.get(number, AudioFileError)(message)
    if number:
        error.errno, error.strerror, error.filename = number, os.strerror(number), filename
    return error


_OF_STATUS: Dict[str, Type[Error]] = {
    "WVAD_E_HANDLE": StateError,
    "WVAD_E_STATE": StateError,
    "WVAD_E_BUSY": StateError,
    "WVAD_E_QUEUE_FULL": StateError,
    "WVAD_E_PARAMETER": ArgumentError,
    "WVAD_E_RANGE": ArgumentError,
    "WVAD_E_FORMAT": ArgumentError,
    "WVAD_E_LENGTH": ArgumentError,
    "WVAD_E_SAMPLES": ArgumentError,
    "WVAD_E_MODEL_MISSING": ModelError,
    "WVAD_E_MODEL_DAMAGED": ModelError,
    "WVAD_E_MODEL_KIND": ModelError,
    "WVAD_E_MEMORY": LibraryMemoryError,
}


def of_status(status: str, message: str) -> Error:
    """The exception for a refusal of the library. `status`: its name; `message`: wvad_last_error()."""
    return _OF_STATUS.get(status, Error)(message, status)
