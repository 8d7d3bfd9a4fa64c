#!/usr/bin/env python3
"""Every test that a comment or docs/quirks.md names as the pin of a behaviour must exist.

A comment says `Pinned by Suite.Test`, further pins follow in the same sentence; the table of quirks names its
pins in the last column. `Suite.*` stands for any test of a suite, `tests/...` for a file.

usage: check_pins.py PROJECT_ROOT
"""

import re
import sys
from pathlib import Path

SOURCE_FOLDERS = ("boundary", "plugin", "protocol", "listing", "fileops", "transport", "common", "host")
TEST = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)")
NAME = re.compile(r"\b([A-Z]\w*)\.([A-Z]\w*|\*)")
FILE = re.compile(r"\btests/[\w/.]*\w")


def known_tests(root):
    return {match.groups() for file in (root / "tests").rglob("*.cpp") for match in TEST.finditer(file.read_text())}


def pins_of_source(text):
    """(line, sentence) of each `Pinned by` in comments, joined over lines."""
    joined = re.sub(r"\n\s*//[/!]?<?\s*", lambda match: "\0" + " " * (len(match.group()) - 1), text)
    for match in re.finditer(r"Pinned\s+by\s", joined.replace("\0", " ")):
        line = text[: match.start()].count("\n") + 1
        rest = joined[match.end():].split("\n", 1)[0].replace("\0", " ")
        yield line, re.split(r"\.(?:\s|$)", rest, maxsplit=1)[0]


def pins_of_table(text):
    """(line, last cell) of each row of a table, head rows left out."""
    for number, line in enumerate(text.splitlines(), 1):
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if line.startswith("|") and len(cells) >= 3 and not set(line) <= set("|-: ") and "`" in cells[-1]:
            yield number, cells[-1]


def check(root):
    tests = known_tests(root)
    suites = {suite for suite, _ in tests}
    for folder in SOURCE_FOLDERS:
        for file in sorted((root / folder).rglob("*")):
            if file.suffix in (".h", ".cpp"):
                for line, sentence in pins_of_source(file.read_text()):
                    yield from unknown(root, tests, suites, file, line, sentence)
    table = root / "docs" / "quirks.md"
    if table.exists():
        for line, cell in pins_of_table(table.read_text()):
            yield from unknown(root, tests, suites, table, line, cell)


def unknown(root, tests, suites, file, line, sentence):
    where = f"{file.relative_to(root)}:{line}"
    files = FILE.findall(sentence)
    names = NAME.findall(FILE.sub("", sentence))
    if not files and not names and "rows of" not in sentence and "row " not in sentence:
        yield f"{where}: names no test: {sentence.strip()}"
    for name in files:
        if not (root / name).exists():
            yield f"{where}: no file {name}"
    for suite, test in names:
        if suite not in suites if test == "*" else (suite, test) not in tests:
            yield f"{where}: no test {suite}.{test}"


def main():
    root = Path(sys.argv[1]).resolve()
    if not known_tests(root):
        print(f"check_pins: no tests below {root}", file=sys.stderr)
        return 1
    problems = list(check(root))
    print("\n".join(problems) if problems else "every pin exists")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
