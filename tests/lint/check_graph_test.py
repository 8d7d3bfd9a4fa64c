#!/usr/bin/env python3
"""The check of the graph of rooms against small trees, good and broken on purpose."""

import pathlib
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import check_graph
from check_case import CheckCase, write

# A file in each room, and includes that lead down, some past several rungs.
GOOD = {
    "boundary/abi/codes.h": "",
    "boundary/log.h": '#include "boundary/abi/codes.h"\n',
    "common/text.h": '#include "boundary/abi/codes.h"\n',
    "transport/retry.h": '#include "common/text.h"\n#include "boundary/log.h"\n',
    "transport/request/call.h": '#include "transport/retry.h"\n',
    "transport/ftp/driver.h": '#include "transport/retry.h"\n',
    "transport/sftp/session.h": '#include "common/text.h"\n',
    "transport/pool/pool.h": '#include "transport/ftp/driver.h"\n#include "transport/sftp/session.h"\n',
    "fileops/read.h": '#include "transport/pool/pool.h"\n',
    "listing/line.h": '#include "common/text.h"\n',
    "listing/list.cpp": '#include "line.h"\n#include "transport/pool/pool.h"\n',
    "protocol/protocol.h": '#include "fileops/read.h"\n#include "listing/line.h"\n',
    "plugin/exports.cpp": '#include "protocol/protocol.h"\n',
    "host/names.h": "",
    "host/cli/main.cpp": '#include "host/copy/tree.h"\n#include "boundary/abi/codes.h"\n',
    "host/copy/tree.h": '#include "host/names.h"\n',
    "tests/any_test.cpp": '#include "plugin/exports.cpp"\n',
}

# What must be refused: the file, the include that is added to it, and all findings.
BROKEN = {
    "up": (
        "transport/retry.h",
        '#include "transport/pool/pool.h"',
        [
            "transport -> transport/pool: the arrow runs up (transport/retry.h:3)",
            "transport -> transport/pool -> transport/ftp -> transport: a circle",
        ],
    ),
    "up_without_a_circle": (
        "transport/request/call.h",
        '#include "fileops/read.h"',
        ["transport/request -> fileops: the arrow runs up (transport/request/call.h:2)"],
    ),
    "side_by_side": (
        "fileops/read.h",
        '#include "listing/line.h"',
        ["fileops -> listing: the two stand side by side (fileops/read.h:2)"],
    ),
    "rooms_of_transport": (
        "transport/ftp/driver.h",
        '#include "transport/sftp/session.h"',
        ["transport/ftp -> transport/sftp: the two stand side by side (transport/ftp/driver.h:2)"],
    ),
    "a_room_that_nobody_knows": (
        "fileops/read.h",
        '#include "fileops/more/part.h"',
        ["fileops -> fileops/more: fileops/more/ stands on no rung of the ladder (fileops/read.h:2)"],
    ),
    "host_looks_past_the_boundary": (
        "host/copy/tree.h",
        '#include "boundary/log.h"',
        ["host/copy -> boundary: host/ knows boundary/abi/ only (host/copy/tree.h:2)"],
    ),
    "a_circle_in_host": (
        "host/names.h",
        '#include "host/copy/tree.h"',
        ["host -> host/copy -> host: a circle"],
    ),
    "the_product_looks_at_host": (
        "common/text.h",
        '#include "host/names.h"',
        ["common -> host: host/ stands on no rung of the ladder (common/text.h:2)"],
    ),
}


class CheckGraph(CheckCase):
    good = GOOD
    program = pathlib.Path(__file__).with_name("check_graph.py")
    findings = staticmethod(check_graph.findings)

    def test_prints_its_findings_and_answers_by_its_exit_code(self):
        self.expect_program_agrees(0)
        write(self.root, {"common/text.h": '#include "transport/retry.h"\n'})
        self.expect_program_agrees(1)

    def test_passes_a_tree_in_which_every_arrow_leads_down(self):
        self.assertEqual(self.check(), [])

    def test_refuses_each_wrong_arrow_and_each_circle(self):
        for label, (name, line, expected) in BROKEN.items():
            with self.subTest(label):
                write(self.root, {**GOOD, name: GOOD[name] + line + "\n"})
                self.assertEqual([self.from_its_least(one) for one in self.check()], expected)

    def test_overlooks_includes_in_comments(self):
        write(self.root, {"common/text.h": '// #include "transport/retry.h"\n'})
        self.assertEqual(self.check(), [])

    def test_draws_the_arrows_with_their_weight(self):
        done = subprocess.run(
            [sys.executable, self.program, self.root, "--draw"], capture_output=True, text=True, check=False
        )
        self.assertEqual(done.returncode, 0)
        self.assertIn("protocol -> fileops: 1", done.stdout.splitlines())
        self.assertNotIn("tests", done.stdout)

    @staticmethod
    def from_its_least(finding):
        """A circle told from the room with the least name on: it may be found at any of its rooms."""
        way, mark, _ = finding.partition(": a circle")
        if not mark:
            return finding
        rooms = way.split(" -> ")[:-1]
        first = rooms.index(min(rooms))
        rooms = rooms[first:] + rooms[:first]
        return " -> ".join(rooms + rooms[:1]) + mark


if __name__ == "__main__":
    unittest.main()
