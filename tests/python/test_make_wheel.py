# SPDX-License-Identifier: Apache-2.0
"""Making the wheel where something is missing or fails: one line that says what, and the wheel that was there stays."""
import contextlib
import importlib.util
import io
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "python"))
import elf_files  # noqa: E402
import make_wheel  # noqa: E402


class Refusal(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.out = Path(folder.name)
        (self.out / "wvad-0.0.1-py3-none-any.whl").write_text("the last one")

    def refused(self, **patched):
        with contextlib.ExitStack() as stack:
            for name, change in patched.items():
                stack.enter_context(mock.patch(name.replace("__", "."), change))
            stack.enter_context(mock.patch("sys.argv", ["make_wheel.py", "build", str(self.out)]))
            with self.assertRaises(SystemExit) as caught:
                make_wheel.main()
        self.assertEqual((self.out / "wvad-0.0.1-py3-none-any.whl").read_text(), "the last one")
        return str(caught.exception)

    def test_what_python_and_the_system_lack_is_named_as_debian_calls_it(self):
        find, which = importlib.util.find_spec, make_wheel.shutil.which
        words = self.refused(importlib__util__find_spec=lambda name: None if name == "wheel" else find(name),
                             shutil__which=lambda name: None if name == "readelf" else which(name))
        self.assertTrue(words.endswith("lack what a wheel takes, Debian's packages python3-wheel binutils (for /usr/bin/python3)"), words)
        self.assertNotIn("\n", words)

    def test_a_failure_of_pip_is_one_line_and_keeps_the_wheel_that_is_there(self):
        def fail(command, **options):
            self.assertIn("pip", command)
            return subprocess.CompletedProcess(command, 1)

        words = self.refused(make_wheel__make_stage=lambda build, stage: stage.mkdir(), subprocess__run=fail, make_wheel__missing=list)
        self.assertEqual(words, "make_wheel.py: pip could not make the wheel; what was there stays")
        self.assertEqual([path.name for path in self.out.iterdir() if path.is_file()], ["wvad-0.0.1-py3-none-any.whl"])

    def test_a_library_that_the_system_lacks_is_named_with_what_needs_it(self):
        said = {"ldd": "\tlibgone.so.1 => not found\n\tlibc.so.6 => /lib/libc.so.6 (0x1)\n", "patchelf": "libgone.so.1\nlibc.so.6\n", "strip": ""}
        with mock.patch.object(elf_files, "run", lambda program, *_: said[program]), self.assertRaises(SystemExit) as caught:
            elf_files.carry_along([(Path("lib/ours.so"), ".")], self.out, re.compile("libav"))
        self.assertEqual(str(caught.exception), "make_wheel.py: lib/ours.so needs libgone.so.1, which this system does not have")


if __name__ == "__main__":
    unittest.main()
