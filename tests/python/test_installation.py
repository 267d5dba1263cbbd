# SPDX-License-Identifier: Apache-2.0
"""The wheel: what it holds and is called, the program in it, types, and sources that Python 3.9 can read."""
import ast
import importlib.metadata
import os
import re
import subprocess
import sys
import unittest
import zipfile
from pathlib import Path

import wvad
from support import JFK

PACKAGE = Path(wvad.__file__).parent
SOURCES = Path(__file__).resolve().parent.parent.parent / "python"
sys.path.insert(0, str(SOURCES))
import elf_files  # noqa: E402


class Wheel(unittest.TestCase):
    def setUp(self):
        self.path = next(Path(os.environ["WVAD_WHEELS"]).glob("*.whl"))
        self.wheel = zipfile.ZipFile(self.path)
        self.addCleanup(self.wheel.close)

    def test_its_name_says_what_it_needs(self):
        self.assertRegex(self.path.name, r"^wvad-[\d.]+-py3-none-manylinux_2_\d+_\w+\.whl$")
        promised = tuple(map(int, re.search(r"manylinux_(\d+)_(\d+)", self.path.name).groups()))
        asked = set()
        for path in filter(elf_files.is_elf, PACKAGE.rglob("*")):
            asked |= set(re.findall(r"Name: GLIBC_([\d.]+)", elf_files.run("readelf", "--version-info", "--wide", path)))
        self.assertLessEqual(max(tuple(map(int, number.split("."))) for number in asked), promised)

    def test_what_it_loads_is_in_it_or_on_every_system(self):
        inside = PACKAGE / "_native/lib"
        for path in filter(elf_files.is_elf, PACKAGE.rglob("*")):
            if path.name == "ffmpeg.so":
                continue  # FFmpeg's are of the system
            for name in elf_files.needed(path):
                self.assertTrue((inside / name).exists() or elf_files.ON_EVERY_SYSTEM.match(name), f"{path.name}: {name}")
                if (inside / name).exists():
                    self.assertEqual(Path(elf_files.places(path)[name]).resolve(), inside / name)

    def test_it_carries_its_licences(self):
        names = set(self.wheel.namelist())
        for model in wvad.bundled_models():
            self.assertIn(f"wvad/licences/LICENSE.{model}", names)
        for path in sorted((PACKAGE / "_native/lib").glob("lib*-????????.so*")):
            plain = re.sub(r"-[0-9a-f]{8}", "", path.name)
            self.assertIn(plain, (PACKAGE / "licences/README.txt").read_text(encoding="utf-8"))
        self.assertTrue(any(name.endswith("dist-info/NOTICE") for name in names))

    def test_a_wheel_with_fftw_is_under_the_gpl_and_says_so_and_one_without_is_not(self):
        carries_fftw = any("libfftw3" in name for name in self.wheel.namelist())
        self.assertEqual(carries_fftw, os.environ["WVAD_FFT"] == "fftw")
        licence = importlib.metadata.metadata("wvad")["License"]
        self.assertEqual("GPL" in licence.replace("LGPL", ""), carries_fftw)
        papers = (PACKAGE / "licences/README.txt").read_text(encoding="utf-8")
        self.assertEqual("so the GPL holds for the wheel as a whole" in papers, carries_fftw)
        self.assertEqual("None of the libraries puts the wheel as a whole under the GPL" in papers, not carries_fftw)
        self.assertEqual(bool(list((PACKAGE / "licences").glob("copyright.libfftw3*"))), carries_fftw)

    def test_metadata(self):
        metadata = importlib.metadata.metadata("wvad")
        self.assertEqual((metadata["Version"], metadata["Requires-Python"]), (wvad.__version__, ">=3.9"))
        self.assertEqual([re.match(r"\w+", one).group() for one in importlib.metadata.requires("wvad")], ["numpy"])
        self.assertIn("wvad/py.typed", self.wheel.namelist())


class Tags(unittest.TestCase):
    def test_the_tag_follows_the_newest_symbol(self):
        real, elf_files.run = elf_files.run, lambda *_: self.symbols
        self.addCleanup(setattr, elf_files, "run", real)
        for self.symbols, tag in (("Name: GLIBC_2.17  Name: GLIBC_2.4", "manylinux_2_17_x86_64"),
                                  ("Name: GLIBC_2.3.4", "manylinux_2_5_x86_64"),
                                  ("Name: GLIBC_2.17 Name: GLIBCXX_3.4.30", "manylinux_2_35_x86_64"),
                                  ("Name: GLIBC_2.36 Name: GLIBCXX_3.4.9", "manylinux_2_36_x86_64"),
                                  ("Name: GLIBCXX_3.4.99", "linux_x86_64")):
            header = Path(sys.executable).resolve()
            if elf_files.MACHINES[int.from_bytes(header.read_bytes()[18:20], "little")] != "x86_64":
                self.skipTest("worked out for x86_64")
            found = elf_files.platform_tag([header])
            self.assertEqual(found, tag)


class Program(unittest.TestCase):
    def test_the_program_runs_with_its_own_exit_codes(self):
        said = subprocess.run([sys.executable, "-m", "wvad", "segment", "--format", "csv", JFK], capture_output=True, text=True, check=True)
        self.assertEqual(len(wvad.segment(JFK)), len([line for line in said.stdout.splitlines() if re.match(r"[^#].*\d", line)]))
        self.assertEqual(subprocess.run([sys.executable, "-m", "wvad", "segment", "/gone.wav"], capture_output=True, check=False).returncode, 3)
        script = Path(sys.executable).parent / "wvad"
        self.assertIn(wvad.__version__, subprocess.run([script, "--version"], capture_output=True, text=True, check=True).stdout)

    def test_corpus_is_found_as_the_commands_of_the_program_are(self):
        def said(*arguments):
            return subprocess.run([sys.executable, "-m", "wvad", *arguments], capture_output=True, text=True, check=False)

        told = said("help", "corpus")
        self.assertEqual((told.returncode, told.stdout, told.stderr), (0, said("corpus", "--help").stdout, ""))
        self.assertRegex(told.stdout, "^usage: wvad corpus")
        for arguments in (["--help"], ["-h"], ["help"]):
            told = said(*arguments)
            self.assertEqual(told.returncode, 0)
            self.assertRegex(told.stdout, r"(?s)`python -m wvad help corpus`.*\bsegment\b")
        for wrong in ("corups", "corpu", "korpus"):
            told = said(wrong, "talks")
            self.assertEqual((told.returncode, told.stdout, told.stderr), (2, "", f"wvad: no such command: {wrong} (did you mean corpus?) (see --help)\n"))
        self.assertEqual(said("compare", "--help").returncode, 0)

    def test_without_the_program_there_is_a_clear_message(self):
        script = "import pathlib, wvad.__main__ as m; m.NATIVE = pathlib.Path('/gone'); raise SystemExit(m.main())"
        said = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=False)
        self.assertEqual((said.returncode, said.stdout), (1, ""))
        self.assertRegex(said.stderr, "library alone, without the program")


class Sources(unittest.TestCase):
    def test_python_3_9_can_read_them(self):
        paths = sorted(PACKAGE.rglob("*.py"))
        self.assertGreater(len(paths), 10)
        for path in paths:
            ast.parse(path.read_text(encoding="utf-8"), str(path), feature_version=(3, 9))

    def test_structs_are_those_of_the_header(self):
        header = (SOURCES.parent / "include/wvad_stream.h").read_text(encoding="utf-8")
        from wvad import _library
        for name, struct in (("wvad_settings", _library.Settings), ("wvad_setting_info", _library.SettingInfo),
                             ("wvad_event", _library.EventRecord), ("wvad_stream_options", _library.StreamOptions),
                             ("wvad_stream_info", _library.StreamInfo), ("wvad_model_info", _library.ModelInfo)):
            body = re.search(rf"typedef struct {name} {{(.*?)}} {name};", header, re.S).group(1)
            fields = re.findall(r"(\w+);", re.sub(r"/\*.*?\*/", "", body, flags=re.S))
            self.assertEqual([field for field, _ in struct._fields_], fields, name)
        numbers = {name: int(number) for name, number in re.findall(r"WVAD_EVENT_(\w+) = (\d+)", header)}
        self.assertEqual({kind.name: int(kind) for kind in wvad.EventKind}, numbers)
        profiles = re.findall(r"WVAD_PROFILE_\w+ = (\d+),? *(?:/\*)? \"(\w+)\"", header)
        self.assertEqual([name for _, name in profiles], list(wvad.PROFILES))
        self.assertIn(f"#define WVAD_STREAM_ABI {_library.SONAME.rpartition('.')[2]}", header)


if __name__ == "__main__":
    unittest.main()
