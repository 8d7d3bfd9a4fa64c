#!/usr/bin/env python3
"""The check of protocol.h against small trees, good and broken on purpose."""

import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
import check_contents
from check_case import CheckCase, write

HEADER = "protocol/protocol.h"

NAMES = [f"Op{number}" for number in range(1, 27)]

INTERFACES = (
    "class IRefObject {\n public:\n  /// Ends it.\n  virtual void Op1() = 0;\n};\n"
    "class IProtocol_V1 : public IRefObject {\n public:\n"
    + "".join(
        f"  virtual int {name}(const char* id,\n          char** out) = 0;  // slot\n" for name in NAMES[1:22]
    )
    + " protected:\n  ~IProtocol_V1() = default;\n};\n"
    "class IProtocol_V2 : public IProtocol_V1 {\n public:\n"
    + "".join(f"  virtual int {name}(std::function<void(int)> done) = 0;\n" for name in NAMES[22:])
    + "};\n"
)

HEADER_TEXT = (
    "class Protocol : public IProtocol_V2 {\n public:\n  explicit Protocol(const char* name);\n"
    "  /*  1  protocol/protocol.cpp */ void Op1() override;\n"
    + "".join(
        f"  /* {number:2}  fileops/ops.h         */ int {name}(const char* id, char** out) override;\n"
        for number, name in enumerate(NAMES[1:22], 2)
    )
    + "".join(
        f"  /* {number}  listing/list.h        */ int {name}(std::function<void(int)> done) override;\n"
        for number, name in enumerate(NAMES[22:], 23)
    )
    + "\n  static int Helper(int kind);\n\n private:\n  int count = 0;  // a member\n"
    "  std::function<void(int)> done;\n\n"
    "  /// Short enough to stand here.\n  [[nodiscard]] bool empty() const { return count == 0; }\n\n"
    "  // protocol/protocol.cpp\n  /// Says what it does.\n"
    "  [[nodiscard]] std::string path(std::string base, const char* id) const;\n\n"
    "  // protocol/forwards.cpp\n  std::function<void(int)> follower();\n"
    "  int read(const char* path,\n           char** data = nullptr);\n"
    "};\n"
)

GOOD = {
    "boundary/abi/protocol_interfaces.h": INTERFACES,
    HEADER: HEADER_TEXT,
    "protocol/protocol.cpp": "Protocol::Protocol(const char* name) : count{1} {}\nvoid Protocol::Op1() {}\n"
    "int Protocol::Helper(int kind) { return kind; }\n"
    "std::string Protocol::path(std::string base, const char* id) const {\n  return base;\n}\n",
    "protocol/slots.cpp": '#include "fileops/ops.h"\n'
    + "".join(
        f"int Protocol::{name}(const char* id, char** out) {{ return 0; }}\n" for name in NAMES[1:22]
    )
    + "".join(
        f"int Protocol::{name}(std::function<void(int)> done) {{ return 0; }}\n" for name in NAMES[22:]
    ),
    "protocol/forwards.cpp": '#include "listing/list.h"\n'
    "std::function<void(int)> Protocol::follower() { return {}; }\n"
    "int Protocol::read(const char* path, char** data) {\n  return 0;\n}\n",
}

# What must be refused: file, text in it, its replacement, and a piece of a finding.
BROKEN = {
    "a_wrong_number": (HEADER, "/*  9  fileops", "/* 10  fileops", "Op9 is numbered 10 and stands in slot 9"),
    "no_number": (
        HEADER,
        "/*  1  protocol/protocol.cpp */",
        "",
        'Op1 lacks "/* 1  folder/file */" in front of it',
    ),
    "a_slot_too_few": (
        HEADER,
        "  /*  1  protocol/protocol.cpp */ void Op1() override;\n",
        "",
        "25 slots are listed",
    ),
    "two_slots_swapped": (HEADER, "int Op3(", "int Op2(", "Op2 is declared where slot 3, Op3, is due"),
    "a_slot_on_two_lines": (HEADER, "int Op3(const char* id, ", "int Op3(const char* id,\n", "more than one line"),
    "a_slot_whose_work_nobody_includes": (
        HEADER,
        "/* 26  listing/list.h ",
        "/* 26  listing/other.h",
        "listing/other.h of Op26 is included by no source of protocol/",
    ),
    "a_slot_in_another_file": (
        HEADER,
        "/*  1  protocol/protocol.cpp */",
        "/*  1  protocol/login.cpp */",
        "Op1 is listed under protocol/login.cpp and defined protocol/protocol.cpp",
    ),
    "a_slot_defined_nowhere": (
        "protocol/slots.cpp",
        "int Protocol::Op7(",
        "int Other::Op7(",
        "Op7 is listed under protocol/slots.cpp and defined nowhere",
    ),
    "a_slot_that_is_only_called": (
        "protocol/slots.cpp",
        "int Protocol::Op7(const char* id, char** out) { return 0; }",
        "int f() { return Protocol::Op7(id, (out)); }",
        "Op7 is listed under protocol/slots.cpp and defined nowhere",
    ),
    "a_slot_in_a_comment_only": (
        "protocol/slots.cpp",
        "int Protocol::Op7",
        "// int Protocol::Op7",
        "defined nowhere",
    ),
    "a_private_operation_in_another_file": (
        HEADER,
        "  // protocol/forwards.cpp",
        "  // protocol/gone.cpp",
        "read is listed under protocol/gone.cpp and defined protocol/forwards.cpp",
    ),
    "a_private_operation_without_a_file": (
        HEADER,
        "  // protocol/protocol.cpp\n",
        "",
        "path stands under no file",
    ),
    "a_private_operation_defined_nowhere": (
        "protocol/forwards.cpp",
        "Protocol::follower()",
        "Other::follower()",
        "follower is listed under protocol/forwards.cpp and defined nowhere",
    ),
    "a_body_under_a_file": (
        HEADER,
        "std::function<void(int)> follower();",
        "int follower() { return 1; }",
        "follower is defined here and listed under protocol/forwards.cpp",
    ),
    "a_member_under_a_file": (
        HEADER,
        "  std::function<void(int)> follower();",
        "  int late = 0;\n  std::function<void(int)> follower();",
        "a member stands under protocol/forwards.cpp",
    ),
    "an_interface_with_fewer_slots": (
        "boundary/abi/protocol_interfaces.h",
        "  virtual int Op26(std::function<void(int)> done) = 0;\n",
        "",
        "has 25 operations instead of 26",
    ),
    "a_second_definition_elsewhere": (
        "protocol/protocol.cpp",
        "void Protocol::Op1() {}",
        "void Protocol::Op1() {}\nint Protocol::read(const char* path, char** data) { return 1; }",
        "read is defined in protocol/protocol.cpp as well",
    ),
}


class CheckContents(CheckCase):
    good = GOOD
    program = pathlib.Path(__file__).with_name("check_contents.py")
    findings = staticmethod(check_contents.findings)

    def test_prints_its_findings_and_answers_by_its_exit_code(self):
        self.expect_program_agrees(0)
        write(self.root, {"protocol/protocol.cpp": ""})
        self.expect_program_agrees(1)

    def test_passes_a_table_that_tells_the_truth(self):
        self.assertEqual(self.check(), [])

    def test_refuses_each_untruth(self):
        for label, (name, text, replacement, reason) in BROKEN.items():
            with self.subTest(label):
                self.assertEqual(GOOD[name].count(text), 1)
                write(self.root, {**GOOD, name: GOOD[name].replace(text, replacement)})
                problems = self.check()
                self.assertIn(reason, "\n".join(problems))
                for line in problems:
                    self.assertRegex(line, rf"^{HEADER}:\d+: ")

    def test_names_the_line_of_the_declaration(self):
        write(self.root, {HEADER: HEADER_TEXT.replace("/*  9  fileops", "/* 10  fileops")})
        line = HEADER_TEXT[: HEADER_TEXT.index("int Op9(")].count("\n") + 1
        self.assertTrue(self.check()[0].startswith(f"{HEADER}:{line}: Op9 is numbered"))


if __name__ == "__main__":
    unittest.main()
