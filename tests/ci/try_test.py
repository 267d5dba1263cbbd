# SPDX-License-Identifier: Apache-2.0
"""scripts/try.sh with a CMake and a program that are made up: what is built where, and in which folder the program gets which arguments."""
import os
import pathlib
import shutil
import subprocess
import unittest

from made_up_tree import MadeUpTree

SOURCE = pathlib.Path(__file__).resolve().parents[2]
CMAKE = """#!/bin/sh
if [ "$1" = --build ]; then
  mkdir -p "$2/bin"
  printf '#!/bin/sh\\npwd\\nprintf "%%s\\\\n" "$@"\\n' >"$2/bin/wvad"
  chmod +x "$2/bin/wvad"
else
  mkdir -p "$4"
  touch "$4/build.ninja"
fi
"""


class TryTest(MadeUpTree):
    def setUp(self):
        super().setUp()
        self.root = self.root.resolve()
        self.tree = self.root / "a clone"
        self.tree.joinpath("scripts").mkdir(parents=True)
        shutil.copy(SOURCE / "scripts/try.sh", self.tree / "scripts")
        self.write("a clone/scripts/packages.sh", 'build_packages=""\nensure_packages() { :; }\nbuild_jobs() { echo 1; }\n')
        self.write("bin/cmake", CMAKE).chmod(0o755)
        self.caller = self.root / "caller"
        self.caller.mkdir()

    def run_try(self, *arguments, script=None, cwd=None):
        """The folder and the arguments of the program."""
        environment = {**os.environ, "PATH": f"{self.root / 'bin'}:{os.environ['PATH']}"}
        done = subprocess.run(["sh", script or self.tree / "scripts/try.sh", *arguments], cwd=cwd or self.caller, env=environment, check=True,
                              capture_output=True, text=True)
        folder, *words = done.stdout.splitlines()
        return pathlib.Path(folder), words

    def test_arguments_reach_the_program_as_they_are_and_where_they_were_given(self):
        for name in ("talk.wav", "two words.wav", "csv", "segment"):  # the last ones are values of options, too
            (self.caller / name).touch()
        arguments = ["talk.wav", "two words.wav", "-f", "csv", "-o", "out.srt"]
        self.assertEqual(self.run_try(*arguments), (self.caller, ["segment", *arguments]))
        self.assertEqual(self.run_try("talk.wav", script="../a clone/scripts/try.sh"), (self.caller, ["segment", "talk.wav"]))

    def test_without_arguments_the_examples_are_named_as_seen_from_the_tree(self):
        wanted = (self.tree, ["segment", "examples/audio/jfk.flac", "examples/audio/moby.flac"])
        self.assertEqual(self.run_try(), wanted)
        self.assertEqual(self.run_try(script="scripts/try.sh", cwd=self.tree), wanted)

    def test_all_that_is_made_lies_in_the_tree(self):
        self.run_try()
        self.assertTrue((self.tree / "build/build.ninja").exists())
        self.assertEqual(list(self.caller.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
