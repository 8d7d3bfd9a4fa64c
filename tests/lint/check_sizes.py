#!/usr/bin/env python3
"""Holds what makes a file and a test list readable: no source over 400 lines, no test name of 60 letters or more.

usage: check_sizes.py ROOT

Looks at the C++ and Python sources of the product and of the tests. The name of a test is what stands behind
the name of its suite. Prints "file:line: reason" for everything over the limit, and then exits with 1.
"""

import pathlib
import re
import sys

FOLDERS = ("boundary", "common", "transport", "listing", "fileops", "protocol", "plugin", "host", "tests", "fuzz", "bench")
SOURCES = {".h", ".cpp", ".py"}
MOST_LINES = 400
LONGEST_NAME = 59
TEST = re.compile(r"^\s*(?:TYPED_)?TEST(?:_F|_P)?\(\s*\w+\s*,\s*(\w+)\s*\)|^\s*def (test_\w+)\(", re.MULTILINE)


def findings(root):
    problems = []
    for folder in FOLDERS:
        files = sorted(path for path in (root / folder).rglob("*") if path.suffix in SOURCES)
        if not files:
            problems.append(f"{folder}/:1: no sources found; is this the root of the project?")
        for path in files:
            name = path.relative_to(root).as_posix()
            text = path.read_text(encoding="utf-8")
            if (lines := text.count("\n")) > MOST_LINES:
                problems.append(f"{name}:{MOST_LINES + 1}: {lines} lines, {MOST_LINES} are the most")
            for test in TEST.finditer(text):
                if len(label := test[1] or test[2]) > LONGEST_NAME:
                    line = text.count("\n", 0, test.start(1) if test[1] else test.start(2)) + 1
                    problems.append(f"{name}:{line}: {label} has {len(label)} letters, {LONGEST_NAME} are the most")
    return problems


def main(arguments):
    if len(arguments) != 2:
        sys.exit(__doc__)
    problems = findings(pathlib.Path(arguments[1]).resolve())
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
