# SPDX-License-Identifier: Apache-2.0
"""scripts/format.sh in a repository of its own: what it names, what it leaves, what it writes."""
import pathlib
import shutil
import subprocess
import sys
import unittest

from made_up_tree import MadeUpTree

SOURCE = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77
WELL = "int main() { return 0; }\n"
BADLY = "int main(){return 0;}\n"


class FormatTest(MadeUpTree):
    def setUp(self):
        super().setUp()
        for name in ("scripts/format.sh", "scripts/packages.sh", ".clang-format"):
            (self.root / name).parent.mkdir(exist_ok=True)
            shutil.copy(SOURCE / name, self.root / name)
        subprocess.run(["git", "init", "-q"], cwd=self.root, check=True)
        self.write("well.cc", WELL)
        self.write("not_tracked.cc", BADLY)
        subprocess.run(["git", "add", "well.cc", "scripts"], cwd=self.root, check=True)

    def format(self, *arguments):
        return subprocess.run([self.root / "scripts/format.sh", *arguments], capture_output=True, text=True)

    def add(self, name, text):
        self.write(name, text)
        subprocess.run(["git", "add", name], cwd=self.root, check=True)

    def test_tracked_files_that_are_laid_out_well_pass(self):
        self.assertEqual(self.format("--check").returncode, 0)

    def test_tracked_file_that_is_not_is_named_and_left(self):
        self.add("inner/badly.h", BADLY)
        done = self.format("--check")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("inner/badly.h", done.stderr)
        self.assertEqual((self.root / "inner/badly.h").read_text(encoding="utf-8"), BADLY)

    def test_without_check_it_is_written(self):
        self.add("inner/badly.h", BADLY)
        self.assertEqual(self.format().returncode, 0)
        self.assertEqual((self.root / "inner/badly.h").read_text(encoding="utf-8"), WELL)
        self.assertEqual(self.format("--check").returncode, 0)


if __name__ == "__main__":
    if shutil.which("git") is None or shutil.which("clang-format-14") is None:
        print("skipped: there is no git, or no clang-format-14")
        sys.exit(SKIPPED)
    unittest.main()
