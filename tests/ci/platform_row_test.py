# SPDX-License-Identifier: Apache-2.0
"""scripts/platform_row.py: what it reads off a run of tests and a package, and which cells of the table it leaves."""
import pathlib
import subprocess
import sys
import unittest

from made_up_tree import MadeUpTree

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/platform_row.py"
HEAD = ("<!-- platforms: begin (scripts/platform_row.py writes the rows) -->\n"
        "| platform | level | transform | tests run | passed | sessions equal | processor | package | transforms a frame |\n"
        "|---|---|---|---|---|---|---|---|---|\n")
END = "<!-- platforms: end -->\nbehind\n"
RESULTS = """<testsuite>
<testcase name="nn.KernelLevels.OneRunsOnThisProcessor" status="run"><system-out>level neon
</system-out></testcase>
<testcase name="builtin_fft.GoldenSessions/GoldenSessions.Equal/0" status="{golden}"/>
<testcase name="nn.Left.Out" status="disabled"/>
</testsuite>"""


class PlatformRowTest(MadeUpTree):
    def row(self, *arguments):
        done = subprocess.run([sys.executable, SCRIPT, *arguments], cwd=self.root, capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def made_up_run(self, golden):
        self.write("build/CMakeCache.txt", "WVAD_FFT:STRING=builtin\n")
        self.write("results.xml", RESULTS.format(golden=golden))
        return "build", "results.xml"

    def package(self):
        (self.root / "package.zip").write_bytes(b"x" * 1_260_000)
        return "--package", "package.zip", "--share", "0.00104"

    def test_tests_that_ran_are_counted_and_those_left_out_are_not(self):
        self.assertEqual(self.row("Moon", *self.made_up_run("run")), "| Moon | neon | builtin | 2 | 2 | yes |  |  | - |\n")

    def test_session_that_differs_is_told(self):
        self.assertEqual(self.row("Moon", *self.made_up_run("fail")), "| Moon | neon | builtin | 2 | 1 | no |  |  | - |\n")

    def test_files_of_other_runners_are_counted_together(self):
        self.made_up_run("run")
        self.write("kernels.txt", "[ RUN      ] KernelLevels.OneRunsOnThisProcessor\nlevel dust\n"
                   "[       OK ] KernelLevels.OneRunsOnThisProcessor (0 ms)\n[ RUN      ] Sums.Wrap\n[  FAILED  ] Sums.Wrap (12 ms)\n"
                   "[  SKIPPED ] Sums.Stay (0 ms)\n[  PASSED  ] 1 test.\n[  FAILED  ] 1 test, listed below:\n[  FAILED  ] Sums.Wrap\n")
        self.write("library.tap", "TAP version 13\n# Subtest: a talk\n    ok 1 - a part of it\nok 1 - a talk, equal\n  ---\n  ...\n"
                   "ok 2 - a page # SKIP there is no browser\nok 3 - a name\nok 4 - /tree/test/shared.mjs\n1..4\n# pass 3\n")
        files = ("kernels.txt", "library.tap", "--sessions", "equal$")
        self.assertEqual(self.row("Dust", "build", *files), "| Dust | dust | builtin | 4 | 3 | yes |  |  | - |\n")
        self.write("library.tap", "ok 1 - a name\nnot ok 2 - a talk, equal\n")
        self.assertEqual(self.row("Dust", "build", *files), "| Dust | dust | builtin | 4 | 2 | no |  |  | - |\n")

    def test_file_that_cannot_be_run_is_a_failure(self):
        self.made_up_run("run")
        self.write("library.tap", "ok 1 - a talk, equal\nnot ok 2 - /tree/test/library.test.mjs\n")
        self.assertEqual(self.row("Dust", "build", "library.tap", "--sessions", "equal$"), "| Dust | ? | builtin | 2 | 1 | yes |  |  | - |\n")

    def test_benchmark_gives_what_a_frame_costs_with_each_model(self):
        self.write("bench.json", """{"benchmarks": [{"name": "Network/lstm_fb75/fixed/manual_time", "ffts": 10.25},
            {"name": "EndToEnd/lstm_fb75/fixed/manual_time", "ffts": 20.04}, {"name": "EndToEnd/dnn_fb75/int/manual_time", "ffts": 12.76},
            {"name": "EndToEnd/lstm_fb40/int8/manual_time", "ffts": 10.5}, {"name": "EndToEnd/lstm_fb40/float_sse/manual_time", "ffts": 33}]}""")
        self.assertEqual(self.row("Moon", *self.made_up_run("run"), "--bench", "bench.json"),
                         "| Moon | neon | builtin | 2 | 2 | yes |  |  | 10.5, 20.0, 12.8 |\n")

    def test_package_gives_its_size_and_what_it_takes(self):
        self.assertEqual(self.row("Moon", *self.package()), "| Moon |  |  |  |  |  | 0.0010 | 1.3 MB |  |\n")

    def test_packages_that_belong_together_are_one_size(self):
        (self.root / "models.zip").write_bytes(b"x" * 2_000_000)
        package, first, *rest = self.package()
        self.assertEqual(self.row("Moon", package, first, "models.zip", *rest), "| Moon |  |  |  |  |  | 0.0010 | 3.3 MB |  |\n")

    def test_a_row_keeps_the_cells_of_the_other_kind_and_its_place(self):
        self.write("page.md", HEAD + "| Moon | neon | builtin | 9 | 9 | yes |  |  |\n| Mars | none | fftw | 1 | 1 | yes |  |  |\n" + END)
        self.row("Moon", *self.package(), "--write", "page.md")
        self.row("Moon", *self.made_up_run("fail"), "--write", "page.md")
        self.assertEqual((self.root / "page.md").read_text(), HEAD + "| Moon | neon | builtin | 2 | 1 | no | 0.0010 | 1.3 MB | - |\n"
                         "| Mars | none | fftw | 1 | 1 | yes |  |  |\n" + END)

    def test_a_platform_that_is_new_comes_last(self):
        self.write("page.md", HEAD + "| Moon | neon | builtin | 9 | 9 | yes |  |  |\n" + END)
        self.row("Mars", *self.package(), "--write", "page.md")
        self.assertEqual((self.root / "page.md").read_text(), HEAD + "| Moon | neon | builtin | 9 | 9 | yes |  |  |\n"
                         "| Mars |  |  |  |  |  | 0.0010 | 1.3 MB |  |\n" + END)


if __name__ == "__main__":
    unittest.main()
