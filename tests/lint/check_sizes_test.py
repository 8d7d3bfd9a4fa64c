#!/usr/bin/env python3
"""The check of sizes against small trees, good and too large on purpose."""

import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import check_sizes
from check_case import CheckCase, write

LONG = "A" * 60
GOOD = {f"{folder}/a.cpp": "TEST(Suite, ReadsOnce) {}\n" for folder in check_sizes.FOLDERS}


class CheckSizes(CheckCase):
    good = GOOD
    program = pathlib.Path(__file__).with_name("check_sizes.py")
    findings = staticmethod(check_sizes.findings)

    def test_accepts_what_is_small_enough(self):
        write(self.root, {"host/b.cpp": "int a;\n" * 400, "tests/b.cpp": f"TEST_F(Suite, {'A' * 59}) {{}}\n"})
        self.assertEqual(self.check(), [])
        self.expect_program_agrees(0)

    def test_finds_a_source_with_a_line_too_many(self):
        write(self.root, {"tests/b.py": "a = 1\n" * 401})
        self.assertEqual(self.check(), ["tests/b.py:401: 401 lines, 400 are the most"])
        self.expect_program_agrees(1)

    def test_finds_names_with_a_letter_too_many_at_their_line(self):
        write(self.root, {"tests/b.cpp": f"\nTEST_P(Suite,\n       {LONG}) {{}}\n", "tests/c.py": f"\n    def test_{LONG}(self):\n"})
        self.assertEqual([found.rpartition(": ")[0] for found in self.check()], ["tests/b.cpp:3", "tests/c.py:2"])

    def test_refuses_a_folder_that_is_not_the_project(self):
        with tempfile.TemporaryDirectory() as empty:
            findings = check_sizes.findings(pathlib.Path(empty))
        self.assertEqual(len(findings), len(check_sizes.FOLDERS))


if __name__ == "__main__":
    unittest.main()
