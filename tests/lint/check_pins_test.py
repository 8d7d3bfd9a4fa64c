#!/usr/bin/env python3
"""The check of pins must find what is wrong, and only that."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).with_name("check_pins.py")


def run(files):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        result = subprocess.run([sys.executable, CHECK, folder], capture_output=True, text=True, check=False)
        return result.returncode, result.stdout


TESTS = {"tests/unit/a_test.cpp": "TEST(Read, Stops) {}\nTEST_P(Line,\n       Fills) {}\n"}


class CheckPins(unittest.TestCase):
    def test_accepts_pins_that_exist(self):
        code, _ = run({**TESTS, "common/a.cpp": "// Kept. Pinned by Read.Stops and\n// Line.Fills.\nint a;\n"})
        self.assertEqual(code, 0)

    def test_finds_a_missing_test_and_its_line(self):
        code, output = run({**TESTS, "common/a.cpp": "int b;\n// Kept. Pinned by\n// Read.Sleeps.\n"})
        self.assertEqual((code, output.strip()), (1, "common/a.cpp:2: no test Read.Sleeps"))

    def test_finds_a_pin_without_a_test(self):
        code, output = run({**TESTS, "common/a.cpp": "// Pinned by hope.\n"})
        self.assertEqual(code, 1)
        self.assertIn("names no test", output)

    def test_finds_a_missing_file(self):
        code, _ = run({**TESTS, "common/a.cpp": "// Pinned by the rows of tests/unit/b_test.cpp.\n"})
        self.assertEqual(code, 1)
        code, _ = run({**TESTS, "common/a.cpp": "// Pinned by the rows of tests/unit/a_test.cpp.\n"})
        self.assertEqual(code, 0)

    def test_reads_the_table_of_quirks(self):
        table = "| What | Why | Pinned by |\n|---|---|---|\n| a | b | `Read.{}` |\n"
        self.assertEqual(run({**TESTS, "docs/quirks.md": table.format("Stops")})[0], 0)
        self.assertEqual(run({**TESTS, "docs/quirks.md": table.format("*")})[0], 0)
        code, output = run({**TESTS, "docs/quirks.md": table.format("Sleeps")})
        self.assertEqual((code, output.strip()), (1, "docs/quirks.md:3: no test Read.Sleeps"))

    def test_refuses_a_tree_without_tests(self):
        self.assertEqual(run({"common/a.cpp": "int a;\n"})[0], 1)


if __name__ == "__main__":
    unittest.main()
