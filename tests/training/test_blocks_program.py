# SPDX-License-Identifier: Apache-2.0
"""The program wvad-blocks that WVAD_BLOCKS names: which files it writes."""

import os
import subprocess
import tempfile
import unittest

import numpy as np


@unittest.skipUnless(os.environ.get("WVAD_BLOCKS"), "WVAD_BLOCKS names no program")
class BlocksProgram(unittest.TestCase):
    def setUp(self):
        self.made = tempfile.TemporaryDirectory()
        self.addCleanup(self.made.cleanup)
        self.folder = self.made.name

    def recording(self, *names):
        path = os.path.join(self.folder, *names)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        np.zeros(16000, "<i2").tofile(path)
        return path

    def blocks(self, *files):
        out = os.path.join(self.folder, "out")
        return subprocess.run([os.environ["WVAD_BLOCKS"], "--out", out, *files], capture_output=True, text=True), out

    def test_each_recording_has_a_file_of_its_name(self):
        done, out = self.blocks(self.recording("a", "x.s16"), self.recording("b", "y.s16"))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(sorted(os.listdir(out)), ["x.npy", "y.npy"])

    def test_recordings_of_one_name_are_refused_before_anything_is_written(self):
        first, second = self.recording("a", "x.s16"), self.recording("b", "x.raw")
        done, out = self.blocks(first, self.recording("y.s16"), second)
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stderr, f"wvad-blocks: {second}: its file would be called x.npy, as that of {first}\n")
        self.assertFalse(os.path.exists(out))
