# SPDX-License-Identifier: Apache-2.0
"""What check_docs.py finds where pages and code have gone apart. Each test spoils one thing of a small tree in which they agree."""
import unittest

from made_up_tree import MadeUpTree

import check_docs

AGREEING = {
    "src/params/param_table.h": 'WVAD_NORMAL_PARAM(wvad_param_a)\n{"VAD_PARAM_B", 1}\n',
    "docs/parameters.md": "| `wvad_param_a` | first |\n| `VAD_PARAM_B` | second |\n| `not_a_parameter` | |\n",
    "include/wvad.h": "enum {\n  WVAD_ERROR_A = 14001,\n};\n",
    "cmake/exports.txt": "# ordinal name\n1 wVadStart\n",
    "docs/api.md": "| 14001 | `WVAD_ERROR_A` |\n| 1 | `wVadStart(inst)` |\n```c\n#include <wvad.h>\nint main(void);\n```\n",
    "tools/wvad/engine.cc": "WVAD_NAMED(WVAD_ERROR_A)\n",
    "tools/wvad/wvad.1": "\\-\\-output \\fIfile\\fR and \\-\\-form table or list\n0 well\n",
    "docs/cli.md": "## wvad find\n`--output` and `--form`, table or list\n## wvad model\n## end\n| 0 | well |\n",
    "tests/a/CMakeLists.txt": "wvad_test(one SOURCES a_test.cc more/b_test.cc LIBS wvad_a)\nadd_test(NAME alone COMMAND x)\n",
    "tests/b/CMakeLists.txt": "wvad_test(\n  two\n  SOURCES c_test.cc)\ntarget_sources(wvad_two_test PRIVATE d_test.cc)\n",
    "fuzz/CMakeLists.txt": "add_test(NAME fuzz.${name} COMMAND x)\n",
    "tests/a/a_test.cc": "TEST(A, Holds) {}\n",
    "tests/a/more/b_test.cc": "TEST_F(B, IsSo) {}\nTEST_P(B,\n       IsMore) {}\n",
    "tests/b/c_test.cc": "TEST(C, Is) {}\n",
    "tests/b/d_test.cc": "TEST(D, Is) {}\n",
    "docs/coverage.md": "`nothing` outside of a table\n| `what` is held | `one.A`, `one.B.IsMore` |\n| all | `two.D`, `alone`, `fuzz` |\n",
    "examples/sentences.c": "/* head */\n#include <wvad.h>\nint main(void);\n",
    "examples/stream.c": "/* head */\n#include <wvad_stream.h>\nint main(void);\n",
    "include/wvad_stream.h": "enum {\n  WVAD_E_A = -1,\n  WVAD_EVENT_B = 1\n};\n",
    "src/stream/settings_table.h": '{"gap", "s", 0.05, 10, true, &wvad_settings::gap, "wvad_param_a", kX, "x"},\n'
                                   '{"call", "", 0, 1, false, &wvad_settings::call, "", kX, "x"},\n',
    "src/stream/profiles.h": '{WVAD_PROFILE_ONE, "one", {0.7, 0.2, 1, 2, 3, 4, -5.5, 6, 0}, "m", 3},\n',
    "docs/stream.md": "```c\n#include <wvad_stream.h>\nint main(void);\n```\n`WVAD_E_A` `WVAD_EVENT_B`\n"
                      "| `gap` | s | 0, 0.05 to 10 | `wvad_param_a` | x |\n| `call` | | 0 to 1 | none | x |\n"
                      "| `one` | 0.7 | 0.2 | 1 | 2 | 3 | 4 | -5.5 | 6 | x |\n",
    "README.md": "```c\nint main(void);\n```\n[page](docs/api.md#part) and [elsewhere](https://a.b/c)\n",
}


# A program that says no more than its help.
PROGRAM = """#!/bin/sh
case "$1" in
  find) echo "Options:\n  -o,--output FILE\n  --form table|list=table" ;;
  model) echo "Options:\n  --output FILE" ;;
  *) echo "Subcommands:\n  find  x\n  model  y\nExit codes:\n  0  well" ;;
esac
"""


class CheckDocsTest(MadeUpTree):
    def setUp(self):
        super().setUp()
        for name, text in AGREEING.items():
            self.write(name, text)
        self.write("program", PROGRAM).chmod(0o755)

    def expect(self, *found):
        self.assertEqual(list(check_docs.problems(self.root, self.root / "program")), list(found))

    def add(self, name, text):
        self.write(name, AGREEING[name] + text)

    def test_tree_that_agrees_is_clean(self):
        self.expect()

    def test_parameters(self):
        self.add("src/params/param_table.h", "WVAD_NORMAL_PARAM(wvad_param_new)\n")
        self.add("docs/parameters.md", "| `wvad_param_old` | |\n")
        self.expect("docs/parameters.md: wvad_param_new is missing", "docs/parameters.md: there is no parameter wvad_param_old")

    def test_codes_and_functions(self):
        self.write("include/wvad.h", "  WVAD_ERROR_A = 14002,\n")
        self.add("cmake/exports.txt", "2 wVadStop\n")
        self.write("tools/wvad/engine.cc", "")
        self.expect("docs/api.md: 14002 WVAD_ERROR_A is missing", "tools/wvad/engine.cc: WVAD_ERROR_A is missing in the table of codes",
                    "docs/api.md: function 2 wVadStop is missing")

    def test_options_that_a_page_does_not_tell_or_that_are_gone(self):
        self.write("program", PROGRAM.replace("--output FILE\n  --form", "--new\n  --form"))
        self.write("docs/cli.md", AGREEING["docs/cli.md"].replace("list", "--new"))
        self.expect("tools/wvad/wvad.1: find --new is missing", "docs/cli.md: find --form list is missing")

    def test_option_that_no_command_has(self):
        self.add("docs/cli.md", "--old\n")
        self.expect("docs/cli.md: no command has --old")

    def test_command_and_exit_code_that_are_not_told(self):
        self.write("docs/cli.md", "## wvad find\n--output --form table list\n## end\n| 0 | bad |\n")
        self.expect("docs/cli.md: there is no section on wvad model", "docs/cli.md: there is no section on wvad model",
                    "docs/cli.md: exit code 0 is not told as: well")

    def test_example_that_its_page_does_not_show(self):
        self.add("examples/sentences.c", "int more(void);\n")
        self.expect("docs/api.md: its C program is not examples/sentences.c")

    def test_lines_of_the_readme_that_its_example_does_not_hold(self):
        self.add("README.md", "```c\nint other(void);\n```\n")
        self.expect("README.md: its lines of C are not from examples/stream.c")

    def test_stream_page_without_its_example_names_and_rows(self):
        self.write("docs/stream.md", "| `gap` | s | 0.05 to 10 | `wvad_param_a` | x |\n| `call` | | 0 to 1 | `x` | x |\n| `one` | 0.7 | 0.3 |\n")
        self.expect("docs/stream.md: its C program is not examples/stream.c", "docs/stream.md: WVAD_E_A is missing",
                    "docs/stream.md: WVAD_EVENT_B is missing", "docs/stream.md: the row of gap is not that of src/stream/settings_table.h",
                    "docs/stream.md: the row of call is not that of src/stream/settings_table.h",
                    "docs/stream.md: the row of the profile one is not that of src/stream/profiles.h")

    def test_program_suite_and_test_that_are_gone(self):
        self.add("docs/coverage.md", "| more | `three`, `one.C`, `one.A.Held`, `fuzzy`, `two.C.Is` |\n")
        self.expect("docs/coverage.md: there is no test fuzzy", "docs/coverage.md: there is no test one.A.Held",
                    "docs/coverage.md: there is no test one.C", "docs/coverage.md: there is no test three")

    def test_program_that_the_page_does_not_name(self):
        self.write("docs/coverage.md", "| what | `one` |\n")
        self.expect("docs/coverage.md: two is missing")

    def test_link_that_leads_nowhere(self):
        self.write("docs/page.md", "[gone](gone.md)\n")
        self.expect("docs/page.md: gone.md does not exist")


if __name__ == "__main__":
    unittest.main()
