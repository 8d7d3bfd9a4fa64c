"""Directed scenarios: what is copied, what it replaces, what is left behind and what is said."""
import os
import re
import signal
import threading
import time

import odd_servers
import oracle
from cases_removal import CASES, FTP_SERVERS, scenario
from stage import OLD, Stage, check, holding_opens

assert CASES  # one table for both files


@scenario("proftpd", "vsftpd", "pure-ftpd", "pyftpdlib")
def refused_rename_keeps_a_file(build, server):
    """The server takes uploads and refuses every rename: the old file or the new one stays under its name."""
    with Stage(build, server, up=True) as stage:
        stage.file("source", "f", b"new content")
        stage.file("target", "f", b"old", OLD - 1000)
        for number in (1, 2, 3):
            stage.when(b"RNTO", lambda *_: b"550 Permission denied\r\n", times=100)
            result = stage.sync()
            check(stage.read("target", "f") in (b"old", b"new content"),
                  f"gone after run {number}, exit code {result.code}, left: {stage.names('target')}")
            check(result.code != 0, "exit code 0 although nothing could be renamed")
        stage.relay.reset()
        result = stage.sync()
        check(result.code == 0 and stage.read("target", "f") == b"new content", "the next run does not make it good")
        check(stage.names("target") == [b"f"], f"left: {stage.names('target')}")


@scenario("proftpd", "vsftpd")
def refused_second_rename_keeps_a_file(build, server):
    """A server that does not rename over a file, and refuses once more when the old one is out of the way."""
    with Stage(build, server, up=True) as stage:
        stage.file("source", "f", b"new content")
        stage.file("target", "f", b"old", OLD - 1000)
        stage.when(b"RNTO", lambda *_: b"550 Permission denied\r\n", times=2)
        stage.sync()
        stage.relay.reset()
        found = [stage.read("target", name) for name in stage.names("target")]
        check(b"old" in found or b"new content" in found, "neither the old nor the new content is left")
        result = stage.sync()
        check(result.code == 0 and stage.read("target", "f") == b"new content", "the next run does not make it good")
        check(len(stage.names("target")) == 1, f"left: {stage.names('target')}")


@scenario("proftpd")
def kill_between_the_two_renames(build, server):
    """Killed when the old file is out of the way and the new one has not got its name."""
    with Stage(build, server, up=True) as stage:
        stage.file("source", "f", b"new content")
        stage.file("target", "f", b"old", OLD - 1000)
        run = None

        def second(*_):
            run.signal(signal.SIGKILL)
            return b"421 Service not available\r\n"

        answers = [lambda *_: b"550 File exists\r\n", second, second]
        stage.when(b"RNTO", lambda *where: answers.pop(0)(*where), times=3)
        run = stage.start("sync", "--delete")
        run.wait()
        stage.quiet()
        stage.relay.reset()
        found = [stage.read("target", name) for name in stage.names("target")]
        check(b"old" in found or b"new content" in found, "neither the old nor the new content is left")
        os.unlink(stage.full("source", "f"))
        stage.file("source", "f", b"old", OLD - 1000)
        result = stage.sync()
        check(result.code == 0 and stage.read("target", "f") == b"old", "the next run does not make it good")
        check(len(stage.names("target")) == 1, f"left: {stage.names('target')}")


@scenario(*FTP_SERVERS)
def name_that_does_not_arrive(build, server):
    """Bytes that are not UTF-8: each name arrives as it is, or the run fails and says so."""
    with Stage(build, server, up=True) as stage:
        names = [b"caf\xe9", b"\x80x", b"y\xff"]
        for name in names:
            stage.file("source", name, b"data of " + name)
        stage.file("target", "extra", b"extra")
        result = stage.sync()
        missing = [name for name in names if stage.read("target", name) is None]
        check(not missing or result.code != 0, f"exit code 0 without {missing}")
        check(not missing or stage.read("target", "extra") is not None, "removed although a name did not arrive")


@scenario(*FTP_SERVERS)
def name_that_falls_on_another(build, server):
    """The server changes a name into one that another file has: that one keeps its content."""
    with Stage(build, server, up=True) as stage:
        for changed, other in ((b"a\x01b", b"a_b"), (b"\xff\xf4x", b"x"), (b"y\xff\xff", b"y\xff"), (b" z", b"z"),
                               (b"w ", b"w")):
            stage.again()
            stage.file("source", changed, b"of the changed one")
            stage.file("both", other, b"of the other")
            stage.sync()
            check(stage.read("target", other) == b"of the other", f"{other} has the content of {changed}")


@scenario("vsftpd", "pyftpdlib-list", "proftpd")
def part_that_vanishes_is_not_copied(build, server):
    """What was sent is gone before it gets its name, and the old file has the same size."""
    with Stage(build, server, up=True) as stage:
        stage.file("source", "f", b"new")
        stage.file("target", "f", b"old", OLD - 1000)

        def vanish(*_):
            for name in stage.names("target"):
                if oracle.is_own(name):
                    os.unlink(stage.full("target", name))

        stage.when(b"RNFR", vanish, times=3)
        result = stage.sync()
        check(result.code != 0 or stage.read("target", "f") == b"new", "exit code 0, and the old content stays")


@scenario("vsftpd", "proftpd-list", "pyftpdlib-list")
def edit_of_equal_size_hidden_by_the_minute(build, server):
    """The listing tells minutes; the server's file is newer by seconds."""
    with Stage(build, server, up=False) as stage:
        minute = int(time.time()) // 60 * 60 - 7200
        stage.file("target", "f", b"old", minute)
        stage.file("source", "f", b"new", minute + 25)
        result = stage.sync()
        check(stage.read("target", "f") == b"new", f"the edit is missed, exit code {result.code}")


@scenario("vsftpd", "proftpd-list", "pyftpdlib-list")
def edit_of_equal_size_hidden_by_the_day(build, server):
    """The listing of an old file tells the day; the server's file is newer by hours."""
    with Stage(build, server, up=False) as stage:
        day = OLD // 86400 * 86400
        stage.file("target", "f", b"old", day)
        stage.file("source", "f", b"new", day + 40_000)
        result = stage.sync()
        check(stage.read("target", "f") == b"new", f"the edit is missed, exit code {result.code}")


WHOLE = bytes(range(256)) * 400  # 102,400 bytes


@scenario(odd_servers.BreaksOff, odd_servers.BreaksOffAtOnce)
def download_broken_off_without_size(build, server):
    """The server tells no SIZE and breaks a file off with an error: the good old file stays."""
    with Stage(build, server, up=False) as stage:
        for words in (["sync"], ["get", "-r"]):
            stage.again()
            stage.file("source", "f", WHOLE)
            stage.file("target", "f", b"good and old", OLD - 1000)
            result = stage.start(*words).wait()
            now = stage.read("target", "f")
            check(now in (b"good and old", WHOLE), f"{words}: {len(now or b'')} bytes stored, exit code {result.code}")
            check(result.code not in (0, None), f"{words}: exit code {result.code}")


@scenario(odd_servers.SendsMore)
def download_that_does_not_end(build, server):
    """Far more comes than was listed: no more than that is taken."""
    with Stage(build, server, up=False) as stage:
        stage.file("source", "f", WHOLE)
        stage.file("target", "f", b"good and old", OLD - 1000)
        odd_servers.SendsMore.sent[0] = 0
        result = stage.sync()
        sent = odd_servers.SendsMore.sent[0]
        check(sent < 10_000_000, f"{sent} bytes were taken for a file listed with {len(WHOLE)}")
        now = stage.read("target", "f")
        check(now == b"good and old", f"{len(now or b'')} bytes stored, exit code {result.code}")


@scenario("proftpd", "pure-ftpd", "pyftpdlib", "vsftpd")
def dot_file_in_brackets_is_fetched_or_told(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("source", "x[1]/.hidden", b"data")
        stage.file("source", "x[1]/plain", b"data")
        result = stage.sync()
        check(stage.read("target", "x[1]/.hidden") == b"data" or b"x[1]" in result.err,
              f"not fetched and not told of, exit code {result.code}")


@scenario("proftpd")
def second_get_truncates_nothing(build, server):
    """A second get opens the partial file of the first one, which is finished before the second one goes on."""
    with Stage(build, server, up=False) as stage:
        stage.file("source", "f", WHOLE * 20)
        stage.file("target", "other", b"")
        second_came, first_is_done = threading.Event(), threading.Event()
        pids = []

        def wanted(name, pid):
            if not oracle.is_own(os.fsencode(name)):
                return None
            pids.append(pid)
            # Its first look is for files that are left over; the next open is to write.
            if pid == pids[0] or pids.count(pid) < 2:
                return None
            second_came.set()
            return first_is_done

        with holding_opens(stage.target, wanted):
            stage.relay.rate = 2_000_000
            first = stage.start("get", "-r")
            while not pids and first.process.poll() is None:
                threading.Event().wait(0.005)
            second = stage.start("get", "-r")
            check(second_came.wait(20), "the second get did not come to the partial file")
            check(first.process.poll() is None, "the first get was too fast")
            stage.relay.rate = 0
            code = first.wait().code
            check(code == 0 and stage.read("target", "f") == WHOLE * 20, f"the first get failed: {code}")
            stage.relay.arm("data", stage.relay.counts["data"] + 1, lambda *_: second.signal(signal.SIGKILL))
            first_is_done.set()
            second.wait()
        check(stage.read("target", "f") == WHOLE * 20, "the finished file was truncated")


@scenario("proftpd")
def resumed_get_removes_old_partial_files(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("source", "f", b"data")
        stage.file("target", "ftp-host-0123456789abcdef-0123456789abcdef.part", b"of another version")
        result = stage.tool.run(["get", "-r", "--resume", *stage.operands()])
        check(result.code == 0 and stage.names("target") == [b"f"], f"left: {stage.names('target')}")


@scenario("proftpd", "vsftpd", "sftp")
def killed_get_leaves_nothing_for_ever(build, server):
    """SIGINT and SIGKILL in the middle of a file; the next run leaves whole files only."""
    with Stage(build, server, up=False) as stage:
        for number in (signal.SIGINT, signal.SIGKILL):
            for words in (["get", "-r"], ["get", "-r", "--resume"], ["sync", "--delete"]):
                stage.again()
                for name in ("a", "b", "c"):
                    stage.file("source", name, WHOLE * 4)
                run = None
                stage.relay.arm(*(("command", 120) if server == "sftp" else ("byte", 600_000)),
                                lambda *_: run.signal(number))
                run = stage.start(*words)
                run.wait()
                stage.quiet()
                for name in stage.names("target"):
                    check(oracle.is_own(name) or stage.read("target", name) == WHOLE * 4, f"{name} is torn")
                for name in ("a", "b", "c"):  # another version, so that nothing is continued
                    stage.file("source", name, WHOLE * 3, OLD + 1000)
                result = stage.start(*words).wait()
                check(result.code == 0 and stage.names("target") == [b"a", b"b", b"c"],
                      f"{words} after {number.name}: code {result.code}, left: {stage.names('target')}")


@scenario("proftpd", "vsftpd", "sftp")
def killed_upload_leaves_nothing_for_ever(build, server):
    with Stage(build, server, up=True) as stage:
        for number in (signal.SIGINT, signal.SIGKILL):
            for words in (["put", "-r"], ["sync", "--delete"]):
                stage.again()
                for name in ("a", "b", "c"):
                    stage.file("source", name, WHOLE * 4)
                run = None
                stage.relay.arm(*(("command", 60) if server == "sftp" else ("byte", 600_000)),
                                lambda *_: run.signal(number))
                run = stage.start(*words)
                run.wait()
                stage.quiet()
                for name in stage.names("target"):
                    check(oracle.is_own(name) or stage.read("target", name) == WHOLE * 4, f"{name} is torn")
                result = stage.start(*words).wait()
                check(result.code == 0 and stage.names("target") == [b"a", b"b", b"c"],
                      f"{words} after {number.name}: code {result.code}, left: {stage.names('target')}")


@scenario(odd_servers.BreaksOff)
def message_names_the_reply_that_broke_a_download(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("source", "f", WHOLE)
        result = stage.sync()
        check(b"4711" in result.err, f"said: {result.err!r}")


@scenario(odd_servers.ListsNoFiles)
def message_names_what_was_compared(build, server):
    with Stage(build, server, up=True) as stage:
        stage.file("source", "f", b"d" * 5193)
        result = stage.sync()
        check(result.code != 0 and b"-1 of" not in result.err, f"said: {result.err!r}")


@scenario("proftpd")
def dry_run_shows_removals_with_their_reason(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("both", "f", b"data")
        stage.file("target", "extra", b"extra")
        result = stage.sync("--dry-run")
        check(stage.read("target", "extra") is not None, "a dry run removed something")
        check(re.search(rb"remove extra\S*[ \t]+\S+", result.out), f"said: {result.out!r}")


@scenario("vsftpd")
def checksum_finds_an_edit_that_hides(build, server):
    """Equal size and equal time, and another content."""
    with Stage(build, server, up=False) as stage:
        stage.file("source", "f", b"new")
        stage.file("target", "f", b"old")
        result = stage.sync("--checksum")
        check(result.code == 0 and stage.read("target", "f") == b"new", f"code {result.code}, {result.err[-200:]!r}")


@scenario("proftpd")
def backup_folder_takes_what_goes(build, server):
    """What is replaced or removed is moved, on either side."""
    for up in (False, True):
        with Stage(build, server, up) as stage:
            stage.file("source", "f", b"new content")
            stage.file("target", "f", b"old", OLD - 1000)
            stage.file("target", "sub/extra", b"extra")
            result = stage.sync("--backup-dir", stage.url("backup") if up else str(stage.here / "backup"))
            check(result.code == 0, f"code {result.code}, {result.err[-200:]!r}")
            place = (stage.there if up else stage.here) / "backup"
            check((place / "f").read_bytes() == b"old", "the replaced file is not there")
            check((place / "sub/extra").read_bytes() == b"extra", "the removed file is not there")


@scenario("proftpd")
def removing_most_of_a_tree_is_refused(build, server):
    """More than half of a tree of more than 20 entries goes only by force."""
    with Stage(build, server, up=False) as stage:
        stage.file("both", "f", b"data")
        for number in range(30):
            stage.file("target", "extra%d" % number, b"data")
        result = stage.sync()
        check(len(stage.names("target")) == 31, "removed without being forced")
        check(result.code != 0, "exit code 0")
        result = stage.sync("--force-delete")
        check(result.code == 0 and stage.names("target") == [b"f"], f"code {result.code}: {result.err[-200:]!r}")
