# SPDX-License-Identifier: Apache-2.0
"""docs/python.md, the package's README and its docstrings: the examples run as they are written, and every name in them is there."""
import dataclasses
import os
import re
import shutil
import subprocess
import sys
import types
import unittest
from pathlib import Path

import numpy as np
import wvad
from support import JFK, InFolder

ROOT = Path(__file__).resolve().parent.parent.parent
PAGES = [ROOT / "docs/python.md", ROOT / "python/README.md"]


class EndOfAudio(Exception):
    """The made microphone has no more."""


class Microphone:
    """As sounddevice.InputStream: 20 blocks of silence."""

    def __init__(self, rate, channels):
        self.samples = np.zeros((rate, channels), np.float32)
        self.left = 20

    def __enter__(self):
        return self

    def __exit__(self, *_):
        pass

    def read(self, frames):
        if self.left == 0:
            raise EndOfAudio
        self.left -= 1
        return self.samples[:frames], False


class Page(InFolder):
    def test_its_examples_run_as_they_are_written(self):
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        if shutil.which("ffmpeg") is None:
            shutil.copy(JFK, "talk.mp3")  # the content decides, not the ending
        else:
            subprocess.run(["ffmpeg", "-v", "error", "-i", JFK, "talk.mp3"], check=True)
        sys.modules["sounddevice"] = types.SimpleNamespace(InputStream=Microphone)
        self.addCleanup(sys.modules.pop, "sounddevice")
        for page in PAGES:
            blocks = re.findall(r"^```python\n(.*?)^```", page.read_text(encoding="utf-8"), re.S | re.M)
            self.assertGreater(len(blocks), 0)
            for block in blocks:
                with self.subTest(block):
                    given = {"block": np.zeros((480, 2), np.float32), "samples": np.zeros(16000, np.int16), "rate": 16000, "print": lambda *_: None}
                    try:
                        exec(compile(block, page.name, "exec"), given)
                    except EndOfAudio:
                        pass

    def test_every_name_that_they_write_is_there_after_the_plain_import(self):
        texts = [page.read_text(encoding="utf-8") for page in PAGES] + [wvad.__doc__]
        names = sorted({name for text in texts for name in re.findall(r"\bwvad(?:\.[A-Za-z_]\w*)+", text)})
        self.assertIn("wvad.aio.events", names)
        script = f"import wvad\nfor name in {names!r}:\n    eval(name)\nprint('all', dir(wvad).count('aio'))"
        said = subprocess.run([sys.executable, "-W", "error", "-c", script], capture_output=True, text=True, check=False)
        self.assertEqual((said.stdout, said.stderr), ("all 1\n", ""))

    def test_the_fields_of_events_and_sentences_are_those_of_their_classes(self):
        page = PAGES[0].read_text(encoding="utf-8")
        for one in (wvad.Event, wvad.Sentence):
            table = re.search(rf"^\| Of an? `{one.__name__}` .*?\n\n", page, re.S | re.M)
            self.assertIsNotNone(table, one)
            told = re.findall(r"`([a-z_]+)`", table.group())
            self.assertEqual({field.name for field in dataclasses.fields(one)} - set(told), set())
            firsts = re.findall(r"^\| ((?:`[a-z_]+`(?:, )?)+) \|", table.group(), re.M)
            for name in re.findall(r"`([a-z_]+)`", " ".join(firsts)):
                self.assertTrue(hasattr(one, name) or name in one.__dataclass_fields__, name)

    def test_what_is_not_asked_for_is_not_loaded(self):
        script = "import sys, wvad\nprint('asyncio' in sys.modules, 'wvad.aio' in sys.modules)\nwvad.gone"
        said = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=False)
        self.assertEqual(said.stdout, "False False\n")
        self.assertRegex(said.stderr, "AttributeError: module 'wvad' has no attribute 'gone'")


if __name__ == "__main__":
    unittest.main()
