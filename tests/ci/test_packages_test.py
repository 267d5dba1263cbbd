# SPDX-License-Identifier: Apache-2.0
"""scripts/test_packages.sh where a package fails: it says so, and leaves no folder behind. All that it would run is made up."""
import os
import pathlib
import shutil
import subprocess
import unittest

from made_up_tree import MadeUpTree

SOURCE = pathlib.Path(__file__).resolve().parents[2]


class TestPackagesTest(MadeUpTree):
    def setUp(self):
        super().setUp()
        (self.root / "scripts").mkdir()
        shutil.copy(SOURCE / "scripts/test_packages.sh", self.root / "scripts")
        self.write("scripts/packages.sh", 'js_packages=""\nensure_packages() { :; }\n')
        self.write("include/wvad.h", '#define WVAD_VERSION "1.2.3"\n')
        for name in ("dist/wvad-1.2.3.tgz", "tests/packages/heard.mjs"):
            self.write(name, "")
        for name, script in (("id", "echo 0"), ("flac", ":"), ("npm", "echo no room left; exit 1")):
            self.write(f"bin/{name}", f"#!/bin/sh\n{script}\n").chmod(0o755)
        self.scratch = self.root / "scratch"
        self.scratch.mkdir()

    def test_a_package_that_fails_is_told_and_its_folder_removed(self):
        environment = {**os.environ, "PATH": f"{self.root / 'bin'}:{os.environ['PATH']}", "TMPDIR": str(self.scratch)}
        done = subprocess.run(["sh", self.root / "scripts/test_packages.sh", "npm"], capture_output=True, text=True, env=environment)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, r"\Ano room left\nFAILED  npm, see .*/npm\.log\n\Z")
        self.assertEqual(list(self.scratch.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
