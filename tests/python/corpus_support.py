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


def wait_until(reached, child=None):
    """Waits for `reached()`, as long as the test may run; fails where `child` ends before that."""
    while not reached():
        if child is not None and child.poll() is not None:
            raise AssertionError(f"the run ended with {child.returncode} before it came so far")
        time.sleep(0.002)
