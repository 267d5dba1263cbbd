# SPDX-License-Identifier: Apache-2.0
"""What check_sizes.py finds in files and functions that are just short enough, and one line longer."""
import shutil
import unittest

from made_up_tree import MadeUpTree

import check_sizes


def c_function(lines):
    return "int Long() {\n" + "  // nothing\n" * (lines - 2) + "}\n"


def python_function(lines):
    return "def long():\n" + "    x = 1\n" * (lines - 1)


class CheckSizesTest(MadeUpTree):
    def found(self):
        return list(check_sizes.problems(self.root, ["src"]))

    def test_file_of_400_lines_is_short_enough_and_one_of_401_is_not(self):
        self.write("src/a.py", "x = 1\n" * 400)
        self.assertEqual(self.found(), [])
        self.write("src/inner/b.py", "x = 1\n" * 401)
        self.assertEqual(self.found(), ["src/inner/b.py: 401 lines; more than 400 are several ideas"])

    def test_script_and_style_are_files_too(self):
        self.write("src/a.py", "x = 1\n")
        self.write("src/a.js", "x();\n" * 401)
        self.write("src/b.css", "\n" * 400)
        self.assertEqual(self.found(), ["src/a.js: 401 lines; more than 400 are several ideas"])

    def test_python_function_of_60_lines_is_short_enough_and_one_of_61_is_not(self):
        self.write("src/a.py", python_function(60))
        self.assertEqual(self.found(), [])
        self.write("src/a.py", "\n\nclass A:\n" + "".join("  " + line + "\n" for line in python_function(61).splitlines()))
        self.assertEqual(self.found(), ["src/a.py:4: long has 61 lines; more than 60 do not read as one act"])

    @unittest.skipUnless(shutil.which("ctags"), "there is no ctags")
    def test_function_of_60_lines_is_short_enough_and_one_of_61_is_not(self):
        self.write("src/a.cc", c_function(60))
        self.assertEqual(self.found(), [])
        for text, line, name in (("\n" + c_function(61), 2, "Long"),
                                 ("namespace a {\nnamespace {\nclass B {\n B() : x_(1) {\n" + "  ++x_;\n" * 59 + "}\n int x_;\n};\n}\n}\n", 4, "B"),
                                 ("template <typename T>\n[[nodiscard]] auto\nF(T a)\n    -> T {\n" + "\n" * 58 + "}\n", 3, "F")):
            self.write("src/a.cc", text)
            self.assertEqual(self.found(), [f"src/a.cc:{line}: {name} has 61 lines; more than 60 do not read as one act"])

    def test_folder_without_sources_is_a_mistake(self):
        (self.root / "src").mkdir()
        self.assertEqual(self.found(), ["src: no source file stands there"])


if __name__ == "__main__":
    unittest.main()
