"""What the tests of a check share: a tree in a temporary folder, and the check run over it as a program."""

import pathlib
import subprocess
import sys
import tempfile
import unittest


def write(root, files):
    for name, text in files.items():
        path = pathlib.Path(root, name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


class CheckCase(unittest.TestCase):
    """Begins each test with the tree `good`. `program` is the check's file, `findings(root)` its function."""

    good = {}
    program = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        write(self.root, self.good)

    def check(self):
        return type(self).findings(self.root)

    def expect_program_agrees(self, exit_code):
        """The check as a program prints what the function finds and answers `exit_code`."""
        done = subprocess.run(
            [sys.executable, self.program, self.root], capture_output=True, text=True, timeout=60, check=False
        )
        self.assertEqual(done.returncode, exit_code)
        self.assertEqual(done.stdout.splitlines(), self.check())
        self.assertEqual(done.stderr, "")
