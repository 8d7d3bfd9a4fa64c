#!/usr/bin/env python3
"""Keeps protocol/protocol.h a table of contents that tells the truth.

usage: check_contents.py ROOT

- The overrides come in the order of the interface (boundary/abi/protocol_interfaces.h), one to a line, each
  behind its number and the file that does its work: "/* 13  fileops/delete_entry.h */ AERROR Delete(...".
  A source of protocol/ defines the slot itself; a header of fileops/ or listing/ is included by a source of
  protocol/, and protocol/slots.cpp defines the slot.
- Each private operation stands under a comment that is nothing but its file, "// protocol/login.cpp", and
  is defined in that file. Members and one-line accessors need no file.
Prints "file:line: reason" for everything else, and then exits with 1.
"""

import pathlib
import re
import sys
from typing import NamedTuple

HEADER = "protocol/protocol.h"
INTERFACES = "boundary/abi/protocol_interfaces.h"
SLOT_SOURCE = "protocol/slots.cpp"  # defines every slot whose work is done in another folder
SLOTS = 26

SLOT_COMMENT = re.compile(r"^\s*/\*\s*(\d+)\s+(\w+/\w+\.(?:cpp|h))\s*\*/")
GROUP_COMMENT = re.compile(r"^\s*//\s+(\w+/\w+\.cpp)\s*$")
ACCESS = re.compile(r"^\s*(public|protected|private)\s*:\s*$")


class Declaration(NamedTuple):
    line: int
    code: str
    comment: str  # in front of it, with its marks
    access: str
    group: str  # file of the comment above, or ""


def split_comment(line):
    """Code of a line of a header (which holds no text with slashes in it) and the comment in front of it."""
    code = line.partition("//")[0]
    front = re.match(r"\s*/\*.*?\*/", code)
    return (code[front.end() :], front[0]) if front else (code, "")


def declarations(lines, first, last):
    """The declarations between two lines of a class body."""
    found = []
    access, group, code, front, begin, depth = "private", "", "", "", 0, 0
    for number in range(first, last):
        line = lines[number - 1]
        if depth == 0 and not code.strip():
            if label := ACCESS.match(line):
                access, group = label[1], ""
                continue
            if heading := GROUP_COMMENT.match(line):
                group = heading[1]
                continue
        text, comment = split_comment(line)
        if text.strip() and not code.strip():
            begin, front = number, comment
        code += text.rstrip() + "\n"
        depth += sum(text.count(c) for c in "({") - sum(text.count(c) for c in ")}")
        if depth == 0 and code.rstrip().endswith((";", "}")):
            found.append(Declaration(begin, " ".join(code.split()), front, access, group))
            code = ""
    return found


def class_body(lines, name):
    """Numbers of the first line inside a class and of its closing line."""
    for first, line in enumerate(lines, 1):
        if re.match(rf"class {name}\b[^;]*\{{", line):
            for last in range(first + 1, len(lines) + 1):
                if lines[last - 1].startswith("};"):
                    return first + 1, last
    raise LookupError(f"no class {name}")


def function_name(code):
    """Name of the function that is declared; None for a member."""
    code = re.sub(r"\[\[.*?\]\]", "", code)
    while (shorter := re.sub(r"<[^<>]*>", "", code)) != code:  # "void(" inside std::function<...> is no name
        code = shorter
    before, parenthesis, _ = re.split(r"=|\{", code)[0].partition("(")
    name = re.search(r"(~?\w+)\s*$", before)
    return name[1] if parenthesis and name else None


def interface_order(root):
    """Names of the interface's operations, slot by slot."""
    lines = (root / INTERFACES).read_text(encoding="utf-8").splitlines()
    names = []
    for interface in ("IRefObject", "IProtocol_V1", "IProtocol_V2"):
        body = declarations(lines, *class_body(lines, interface))
        names += [function_name(one.code) for one in body if one.code.startswith("virtual ")]
    return names


def matching(text, begin):
    """Position behind the parenthesis that closes the one at `begin`."""
    depth = 0
    for position in range(begin, len(text)):
        depth += (text[position] == "(") - (text[position] == ")")
        if depth == 0:
            return position + 1
    return len(text)


def definitions(root):
    """Which files define a member of Protocol: name -> list of "folder/file.cpp"."""
    found = {}
    for path in sorted((root / "protocol").rglob("*.cpp")):
        text = path.read_text(encoding="utf-8")
        text = re.sub(r'"(?:\\.|[^"\\\n])*"', '""', text)
        text = re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.DOTALL)
        for use in re.finditer(r"\bProtocol::(~?\w+)\s*\(", text):
            rest = text[matching(text, use.end() - 1) :]
            if re.match(r"\s*(const\b\s*)?(noexcept\b\s*)?(\{|:[^:]|try\b)", rest):
                found.setdefault(use[1], []).append(path.relative_to(root).as_posix())
    return found


def included_headers(root):
    """What the sources of protocol/ include of this project."""
    texts = (path.read_text(encoding="utf-8") for path in (root / "protocol").rglob("*.cpp"))
    return {name for text in texts for name in re.findall(r'^#include "([^"]+)"', text, flags=re.MULTILINE)}


def findings(root):
    header = (root / HEADER).read_text(encoding="utf-8").splitlines()
    body = declarations(header, *class_body(header, "Protocol"))
    wanted = interface_order(root)
    defined = definitions(root)
    included = included_headers(root)
    problems = []
    claims = []  # (line, name, file)

    if len(wanted) != SLOTS:
        problems.append((1, f"{INTERFACES} has {len(wanted)} operations instead of {SLOTS}"))

    slots = [one for one in body if re.search(r"\boverride\b", one.code)]
    for number, one in enumerate(slots, 1):
        name = function_name(one.code)
        if number > len(wanted) or name != wanted[number - 1]:
            due = wanted[number - 1] if number <= len(wanted) else "nothing"
            problems.append((one.line, f"{name} is declared where slot {number}, {due}, is due"))
        comment = SLOT_COMMENT.match(one.comment)
        if not comment:
            problems.append((one.line, f'{name} lacks "/* {number}  folder/file */" in front of it'))
            continue
        if int(comment[1]) != number:
            problems.append((one.line, f"{name} is numbered {comment[1]} and stands in slot {number}"))
        if not header[one.line - 1].rstrip().endswith(";"):
            problems.append((one.line, f"{name} takes more than one line"))
        file = comment[2]
        if file.endswith(".h") and file not in included:
            problems.append((one.line, f"{file} of {name} is included by no source of protocol/"))
        claims.append((one.line, name, SLOT_SOURCE if file.endswith(".h") else file))
    if len(slots) != SLOTS:
        problems.append((1, f"{len(slots)} slots are listed instead of {SLOTS}"))

    for one in body:
        name = function_name(one.code)
        if one.access != "private" or name is None or one.code.startswith("friend "):
            continue
        inline = one.code.endswith("}")
        if one.group and inline:
            problems.append((one.line, f"{name} is defined here and listed under {one.group}"))
        elif one.group:
            claims.append((one.line, name, one.group))
        elif not inline:
            problems.append((one.line, f"{name} stands under no file"))
    for one in body:
        if one.group and function_name(one.code) is None:
            problems.append((one.line, f"a member stands under {one.group}"))

    for line, name, file in claims:
        places = defined.get(name, [])
        if file not in places:
            where = ", ".join(sorted(set(places))) or "nowhere"
            problems.append((line, f"{name} is listed under {file} and defined {where}"))
    listed = {}
    for _, name, file in claims:
        listed.setdefault(name, set()).add(file)
    for name, files in listed.items():
        for file in sorted(set(defined.get(name, [])) - files):
            if defined.get(name) and files & set(defined[name]):
                problems.append((1, f"{name} is defined in {file} as well, where it is not listed"))
    return [f"{HEADER}:{line}: {reason}" for line, reason in sorted(problems)]


def main(arguments):
    if len(arguments) != 2:
        sys.exit(__doc__)
    problems = findings(pathlib.Path(arguments[1]).resolve())
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
