# SPDX-License-Identifier: Apache-2.0
"""Annotations agree with the code, by mypy with all its checks, and with what a caller writes."""
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import wvad

CALLER = """
import numpy as np
import wvad
from typing import List

def begins(path: str) -> List[float]:
    return [sentence.begin for sentence in wvad.segment(path, min_silence=0.3, channel="all")]

with wvad.Stream(rate=48000, channels=2, profile="fast") as stream:
    for event in stream.push(np.zeros((480, 2), np.float32)):
        if event.sentence is not None:
            print(event.sentence.snr + event.sentence.duration)
loudest: float = float(wvad.scores("talk.mp3").max())
"""
WRONG = """
import wvad
wvad.Stream(rate="16000")
wvad.segment("talk.mp3")[0].begins
"""


class Types(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.cache = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.cache.cleanup)

    def check(self, *arguments):
        # mypy is the system's; the package is that of the environment.
        said = subprocess.run(["/usr/bin/python3", "-m", "mypy", "--strict", "--cache-dir", self.cache.name, *arguments], capture_output=True, text=True,
                              check=False, env=dict(os.environ, MYPYPATH=str(Path(wvad.__file__).parent.parent), PYTHONPATH=""))
        if "No module named mypy" in said.stderr:
            self.skipTest("there is no mypy")
        return said.stdout + said.stderr

    def test_annotations_hold(self):
        self.assertRegex(self.check("-p", "wvad"), "^Success")

    def test_callers_are_understood(self):
        self.assertRegex(self.check("-c", CALLER), "^Success")
        self.assertRegex(self.check("-c", WRONG), 'incompatible type "str".*\n.*no attribute "begins"')


if __name__ == "__main__":
    unittest.main()
