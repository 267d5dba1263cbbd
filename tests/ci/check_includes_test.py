# SPDX-License-Identifier: Apache-2.0
"""What check_includes.py finds in a tree of four rooms, two tools and a client."""
import unittest

from made_up_tree import MadeUpTree

import check_includes

PAGE = """# Architecture

| Folder | What | May include |
|---|---|---|
| include | the public header | |
| src/low | | |
| src/left | | low |
| src/right | | low |
| src/top | | left |
| tools/box | | left |
| tools/program | | tools/box |
| examples | | |
| tests, bench | | everything |

| Headers | Only in |
|---|---|
| of the operating system | src/low, tools/program/system.cc |
| `transform.h` | src/left/transform.cc |
| `pieces/*` | src |
"""


class CheckIncludesTest(MadeUpTree):
    def setUp(self):
        super().setUp()
        self.write("docs/architecture.md", PAGE)
        self.write("include/wvad.h", "#include <stdint.h>\n")
        self.write("include/wvad_stream.h", "#include <stddef.h>\n")
        self.write("src/low/low.h", "#include <unistd.h>\n#include <vector>\n")
        self.write("src/left/left.h", '#include "low/low.h"\n#include "wvad.h"\n#include <pieces/any.hpp>\n')
        self.write("src/left/transform.cc", "#include <transform.h>\n")
        self.write("src/right/right.h", '#include "low/low.h"\n')
        self.write("src/top/top.h", '#include "left/left.h"\n#include "low/low.h"\n')
        self.write("tools/box/box.h", '#include "left/left.h"\n#include "low/low.h"\n')
        self.write("tools/program/program.cc", '#include "box/box.h"\n#include <wvad.h>\n')
        self.write("tools/program/system.cc", "#include <unistd.h>\n")
        self.write("examples/client.c", "#include <stdio.h>\n#include <wvad.h>\n#include <wvad_stream.h>\n")
        self.write("tests/any_test.cc", '#include "top/top.h"\n#include <unistd.h>\n')
        self.write("bench/any.cc", '#include "nobody/knows.h"\n')

    def found(self):
        return list(check_includes.problems(self.root))

    def expect_one(self, text):
        self.assertEqual(self.found(), [text])

    def test_tree_that_keeps_the_arrows_is_clean(self):
        self.assertEqual(self.found(), [])

    def test_arrow_up_is_found(self):
        self.write("src/low/low.cc", '\n#include "left/left.h"\n')
        self.expect_one("src/low/low.cc:2: src/low must not include src/left/left.h")

    def test_arrow_to_a_neighbour_is_found(self):
        self.write("src/left/more.cc", '  #  include "right/right.h"\n')
        self.expect_one("src/left/more.cc:1: src/left must not include src/right/right.h")

    def test_angle_brackets_hide_nothing(self):
        self.write("src/left/more.cc", "#include <right/right.h>\n")
        self.expect_one("src/left/more.cc:1: src/left must not include src/right/right.h")

    def test_folder_of_src_brings_what_is_below_it_and_a_folder_of_tools_does_not(self):
        self.write("src/top/more.cc", '#include "right/right.h"\n')
        self.write("tools/program/more.cc", '#include "left/left.h"\n')
        self.assertEqual(self.found(), ["src/top/more.cc:1: src/top must not include src/right/right.h",
                                        "tools/program/more.cc:1: tools/program must not include src/left/left.h"])

    def test_src_does_not_include_tools(self):
        self.write("src/top/more.cc", '#include "box/box.h"\n')
        self.expect_one("src/top/more.cc:1: src/top must not include tools/box/box.h")

    def test_example_has_the_public_header_alone(self):
        self.write("examples/more.c", '#include "low/low.h"\n')
        self.expect_one("examples/more.c:1: examples must not include src/low/low.h")

    def test_header_that_is_nowhere_is_found(self):
        self.write("src/top/more.cc", '#include "left/gone.h"\n')
        self.expect_one('src/top/more.cc:1: "left/gone.h" is no file under src or tools')

    def test_header_of_the_system_has_its_places(self):
        self.write("src/left/more.cc", "#include <sys/stat.h>\n")
        self.write("tools/program/more.cc", "#include <unistd.h>\n")
        self.assertEqual(self.found(), ["src/left/more.cc:1: <sys/stat.h> may be included by src/low, tools/program/system.cc only",
                                        "tools/program/more.cc:1: <unistd.h> may be included by src/low, tools/program/system.cc only"])

    def test_library_has_the_one_file_that_may_include_it(self):
        self.write("src/left/more.cc", "#include <transform.h>\n")
        self.write("src/low/more.cc", "#include <transform.h>\n")
        self.assertEqual(self.found(), ["src/left/more.cc:1: <transform.h> may be included by src/left/transform.cc only",
                                        "src/low/more.cc:1: <transform.h> may be included by src/left/transform.cc only"])

    def test_library_of_src_is_not_for_tools(self):
        self.write("tools/box/more.cc", "#include <pieces/any.hpp>\n")
        self.expect_one("tools/box/more.cc:1: <pieces/any.hpp> may be included by src only")

    def test_link_against_the_arrows_is_found(self):
        self.write("src/left/CMakeLists.txt", "wvad_component(\n  left\n  SOURCES transform.cc\n  DEPS low right\n  LIBS Some::thing)\n")
        self.expect_one("src/left/CMakeLists.txt: left must not link right")

    def test_folder_without_a_row_and_row_without_a_folder_are_found(self):
        self.write("docs/architecture.md", PAGE.replace("| src/right |", "| src/wrong |"))
        self.assertEqual(self.found(), ["docs/architecture.md: there is no folder src/wrong", "docs/architecture.md: src/right has no row"])

    def test_table_that_points_upward_is_found(self):
        self.write("docs/architecture.md", PAGE.replace("| src/left | | low |", "| src/left | | low, top |"))
        self.expect_one("docs/architecture.md: src/left may include src/top, which does not stand above it in the table")

    def test_inner_folder_can_have_a_row_of_its_own(self):
        self.write("src/left/inner/inner.cc", '#include "left/left.h"\n')
        self.assertEqual(self.found(), [])
        self.write("docs/architecture.md", PAGE.replace("| src/left |", "| src/left/inner | | low/low.h |\n| src/left |"))
        self.expect_one("src/left/inner/inner.cc:1: src/left/inner must not include src/left/left.h")


if __name__ == "__main__":
    unittest.main()
