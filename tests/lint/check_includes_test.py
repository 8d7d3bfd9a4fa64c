#!/usr/bin/env python3
"""The include check against small trees, good and broken on purpose."""

import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import check_includes
from check_case import CheckCase, write


# A tree with every kind of file, each with what it may include.
GOOD = {
    "boundary/abi/codes.def": "",
    "boundary/abi/codes.h": '#include <cstdint>\n#include "codes.def"\n',
    "boundary/abi/records.h": '#include <string>\n#include "codes.h"\n',
    "boundary/error_codes.h": '#include "boundary/abi/codes.h"\n',
    "boundary/host_bindings.h": '#include "boundary/abi/records.h"\n',
    "boundary/log.h": '#include "boundary/host_bindings.h"\n',
    "boundary/no_throw.h": "#include <utility>\n",
    "boundary/log.cpp": '#include "boundary/log.h"\n',
    "plugin/exports.cpp": '#include "boundary/log.h"\n#include "protocol/protocol.h"\n',
    "common/text.h": '#include <json/json.h>\n#include "boundary/abi/codes.h"\n',
    "transport/pool/pool.h": '#include <curl/curl.h>\n#include "common/text.h"\n#include "boundary/log.h"\n',
    "listing/line.h": '#include "common/text.h"\n#include "boundary/abi/records.h"\n',
    "listing/line.cpp": '#include "listing/line.h"\n',
    "listing/read_dir.h": '#include "transport/pool/pool.h"\n',
    "listing/read_dir.cpp": '#include "listing/line.h"\n#include "listing/read_dir.h"\n'
    '#include "transport/pool/pool.h"\n',
    "fileops/texts.h": '#include "common/text.h"\n#include "transport/pool/pool.h"\n',
    "fileops/read.cpp": '#include "fileops/texts.h"\n#include "transport/pool/pool.h"\n',
    "protocol/protocol.h": '#include "boundary/abi/records.h"\n#include "transport/pool/pool.h"\n'
    '#include "listing/line.h"\n',
    "protocol/paths.h": '#include "common/text.h"\n',
    "protocol/login.cpp": '#include "fileops/texts.h"\n#include "protocol/paths.h"\n'
    '#include "protocol/protocol.h"\n',
    "host/cli/main.cpp": '#include <json/json.h>\n#include "host/copy/get.h"\n'
    '#include "boundary/abi/records.h"\n',
    "host/copy/get.h": '#include "host/local/files.h"\n#include "host/remote/module.h"\n',
    "host/remote/module.h": '#include "boundary/abi/records.h"\n#include "host/failure.h"\n',
    "host/local/files.h": '#include "host/failure.h"\n#include "host/tree/tree.h"\n',
    "host/tree/tree.h": '#include "host/failure.h"\n',
    "host/failure.h": "",
    "tests/unit/any_test.cpp": '#include "protocol/paths.h"\n#include "transport/pool/pool.h"\n',
}

# What must be refused: file, the line that is added to it, and a piece of the reason.
BROKEN = {
    "common_looks_up": ("common/text.h", '#include "transport/pool/pool.h"', "direction"),
    "common_knows_no_libcurl": ("common/text.h", "#include <curl/curl.h>", "not for this file"),
    "transport_looks_at_protocol": ("transport/pool/pool.h", '#include "protocol/protocol.h"', "direction"),
    "transport_looks_at_listing": ("transport/pool/pool.h", '#include "listing/line.h"', "direction"),
    "transport_looks_at_fileops": ("transport/pool/pool.h", '#include "fileops/texts.h"', "direction"),
    "parser_looks_at_transport": ("listing/line.cpp", '#include "transport/pool/pool.h"', "direction"),
    "parser_knows_no_libcurl": ("listing/line.cpp", "#include <curl/curl.h>", "not for this file"),
    "parser_looks_at_the_class": ("listing/line.cpp", '#include "protocol/protocol.h"', "direction"),
    "listing_header_looks_at_the_class": ("listing/line.h", '#include "protocol/protocol.h"', "direction"),
    "listing_looks_at_fileops": ("listing/read_dir.cpp", '#include "fileops/texts.h"', "direction"),
    "listing_looks_at_protocol": ("listing/read_dir.cpp", '#include "protocol/protocol.h"', "direction"),
    "fileops_header_looks_at_the_class": ("fileops/texts.h", '#include "protocol/protocol.h"', "direction"),
    "fileops_looks_at_protocol": ("fileops/read.cpp", '#include "protocol/paths.h"', "direction"),
    "fileops_looks_at_listing": ("fileops/read.cpp", '#include "listing/line.h"', "direction"),
    "top_looks_past_the_class": ("plugin/exports.cpp", '#include "fileops/texts.h"', "direction"),
    "boundary_looks_at_plugin": ("boundary/abi/records.h", '#include "boundary/log.h"', "direction"),
    "boundary_needs_a_library": ("boundary/abi/records.h", "#include <json/json.h>", "not for this file"),
    "leaf_looks_outside": ("boundary/log.h", '#include "common/text.h"', "direction"),
    "leaf_looks_at_protocol": ("boundary/log.cpp", '#include "protocol/protocol.h"', "direction"),
    "host_looks_past_the_boundary": ("host/cli/main.cpp", '#include "boundary/log.h"', "direction"),
    "host_uses_our_code": ("host/cli/main.cpp", '#include "common/text.h"', "direction"),
    "copy_looks_at_the_command_line": ("host/copy/get.h", '#include "host/cli/main.cpp"', "direction"),
    "remote_looks_at_copy": ("host/remote/module.h", '#include "host/copy/get.h"', "direction"),
    "remote_looks_at_local": ("host/remote/module.h", '#include "host/local/files.h"', "direction"),
    "local_looks_at_remote": ("host/local/files.h", '#include "host/remote/module.h"', "direction"),
    "tree_looks_at_local": ("host/tree/tree.h", '#include "host/local/files.h"', "direction"),
    "shared_looks_at_a_room": ("host/failure.h", '#include "host/local/files.h"', "direction"),
    "product_looks_at_tests": ("transport/pool/pool.h", '#include "tests/unit/any_test.cpp"', "direction"),
    "unknown_file": ("common/text.h", '#include "common/gone.h"', "no file of this project"),
    "climbing_path": ("listing/line.h", '#include "../transport/pool.h"', "climbs"),
    "our_file_in_angle_brackets": ("listing/line.h", "#include <transport/pool/pool.h>", "in quotes"),
    "include_through_a_macro": ("common/text.h", "#include SOME_MACRO", "cannot tell"),
    "blanks_around_the_word": ("common/text.h", '  #  include   "transport/pool/pool.h"', "direction"),
    "comment_in_the_line": ("common/text.h", '#include /* why */ "transport/pool/pool.h"', "direction"),
}


class CheckIncludes(CheckCase):
    good = GOOD
    program = pathlib.Path(__file__).with_name("check_includes.py")
    findings = staticmethod(check_includes.broken_includes)

    def test_prints_its_findings_and_answers_by_its_exit_code(self):
        self.expect_program_agrees(0)
        write(self.root, {"common/text.h": '#include "transport/pool/pool.h"\n'})
        self.expect_program_agrees(1)

    def test_passes_a_tree_that_keeps_the_direction(self):
        self.assertEqual(self.check(), [])

    def test_refuses_each_wrong_include_at_its_line(self):
        for label, (name, line, reason) in BROKEN.items():
            with self.subTest(label):
                write(self.root, {**GOOD, name: GOOD[name] + "\n" + line + "\n"})
                number = GOOD[name].count("\n") + 2
                findings = self.check()
                self.assertEqual(len(findings), 1, findings)
                self.assertTrue(findings[0].startswith(f"{name}:{number}: "), findings[0])
                self.assertIn(reason, findings[0])

    def test_overlooks_includes_in_comments(self):
        hidden = '// #include "transport/pool/pool.h"\n/*\n#include "transport/pool/pool.h"\n*/\n'
        write(self.root, {"common/text.h": hidden})
        self.assertEqual(self.check(), [])

    def test_is_not_misled_by_comment_marks_in_a_text(self):
        tricky = 'const char* url = "http://*/";\nconst char* end = "/*";\n#include "transport/pool/pool.h"\n'
        write(self.root, {"common/text.h": tricky})
        findings = self.check()
        self.assertEqual(len(findings), 1, findings)
        self.assertTrue(findings[0].startswith("common/text.h:3: "), findings[0])

    def test_refuses_a_folder_that_is_not_the_project(self):
        with tempfile.TemporaryDirectory() as empty:
            findings = check_includes.broken_includes(pathlib.Path(empty))
        self.assertEqual(len(findings), len(check_includes.FOLDERS))
        self.assertIn("no sources found", findings[0])


if __name__ == "__main__":
    unittest.main()
