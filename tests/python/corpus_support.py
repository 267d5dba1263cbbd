# SPDX-License-Identifier: Apache-2.0
"""What the tests of `wvad corpus` share: recordings whose sentences are known, the command as a user calls it, and its rows."""
import json
import os
import subprocess
import sys
import time
from pathlib import Path

from support import MODEL, InFolder, bursts


class CorpusTest(InFolder):
    """Tests in a folder of their own, which is the working folder too."""

    def setUp(self):
        super().setUp()
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)

    def talks(self, count):
        """Recordings of 4 s with a burst from 1 s to 2 s and a hundredth more in each."""
        Path("talks/deep").mkdir(parents=True)
        for i in range(count):
            self.wave(f"talks/{'deep/' if i % 2 else ''}{i:02}.wav", bursts(4, [(1, 2 + i / 100)]))

    def listed_talks(self, count):
        """The same, and talks.txt that names them in the order of the folder: what is named is heard even while it is a pipe."""
        self.talks(count)
        names = [os.path.join(where, name) for where, folders, files in os.walk("talks") for name in sorted(files)]
        Path("talks.txt").write_text("".join(name + "\n" for name in names), encoding="utf-8")

    def manifest(self, name, *rows):
        Path(name).write_text("".join(json.dumps(row) + "\n" for row in rows), encoding="utf-8")

    def command(self, *arguments, code=0, output="out.jsonl"):
        """Runs it, expects its exit code, and gives what it said."""
        said = subprocess.run(corpus("-j", "1", *arguments, "-o", output), capture_output=True, text=True, check=False)
        self.assertEqual((said.returncode, said.stdout), (code, ""), said.stderr)
        return said.stderr

    def rows(self, name="out.jsonl"):
        return [json.loads(line) for line in Path(name).read_text(encoding="utf-8").splitlines()]


def corpus(*arguments):
    """The command line, with the model of the tests."""
    return [sys.executable, "-W", "error", "-m", "wvad", "corpus", "--model", str(MODEL), *map(str, arguments)]


def files_in(folder):
    """{name: bytes} of the files right in a folder."""
    return {path.name: path.read_bytes() for path in Path(folder).iterdir() if path.is_file()}


def ending_with_us(command):
    """A command whose process is killed where this one is, so that none is left of a test that was."""
    return ["setpriv", "--pdeathsig", "KILL", "--", *map(str, command)]


def wait_until(reached, child=None):
    """Waits for `reached()`, as long as the test may run; fails where `child` ends before that."""
    while not reached():
        if child is not None and child.poll() is not None:
            raise AssertionError(f"the run ended with {child.returncode} before it came so far")
        time.sleep(0.002)


def children(pid):
    """Processes that `pid` has begun, on any of its threads."""
    found = []
    try:
        for thread in os.listdir(f"/proc/{pid}/task"):
            found += Path(f"/proc/{pid}/task/{thread}/children").read_text(encoding="ascii").split()
    except OSError:
        pass
    return found


def descendants(pid):
    """Its processes and theirs."""
    return [each for child in children(pid) for each in (child, *descendants(child))]


def runs(pid):
    """Whether a process is there and not dead already."""
    try:
        return Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] not in "ZX"
    except OSError:
        return False


class Fifo:
    """A recording that is a pipe for a while: whoever listens to it waits until serve(). In the end it is the file that it was."""

    def __init__(self, path):
        self._path = Path(path)
        self._handle = -1

    def __enter__(self):
        self._data = self._path.read_bytes()
        self._path.unlink()
        os.mkfifo(self._path)
        return self

    def __exit__(self, *_):
        self.drop_reader()
        self._path.unlink()
        self._path.write_bytes(self._data)

    def wait_for_reader(self):
        wait_until(self._is_read)

    def _is_read(self):
        try:
            self._handle = os.open(self._path, os.O_WRONLY | os.O_NONBLOCK)
        except OSError:  # nobody has opened it
            return False
        return True

    def drop_reader(self):
        """What read it is gone."""
        if self._handle >= 0:
            os.close(self._handle)
        self._handle = -1

    def serve(self):
        """Gives the recording to whoever waits for it."""
        handle, self._handle = self._handle, -1
        os.set_blocking(handle, True)
        with open(handle, "wb") as file:
            file.write(self._data)
