"""What get -r, put -r and sync have in common, and where they differ."""
import os

from pyftpdlib.handlers import FTPHandler

from host_fixture import HostTest, answering, contents, fill, main, meeting_of, tree_of


class TreeCopies(HostTest):
    def test_copy_as_many_files_at_a_time_as_they_are_told(self):
        for index in range(8):
            for folder in (self.local, self.remote):
                self.write(folder, "s/%d" % index, bytes(25_000))
        for verb in (["put", "-r", "s", "URL/up"], ["get", "-r", "URL/s", "down"], ["sync", "s", "URL/synced"],
                     ["sync", "URL/s", "synced"]):
            for options, count in (([], 2), (["--parallel", "1"], 1), (["--parallel", "4"], 4)):
                meeting = meeting_of(count)
                server = self.start(dtp_handler=meeting)
                names = [word.replace("URL", server.url) for word in verb]
                target = "%s%d" % (names.pop(), count)
                self.host(*names, target, *options)
                self.assertEqual(meeting.most, count, verb)

    def test_put_r_copies_everything_each_time(self):
        server = self.start()
        source = os.path.join(self.local, "s")
        fill(source, files=10)
        os.symlink("nowhere", os.path.join(source, "link"))
        for _ in range(2):
            done = self.host("put", "-r", "s", server.url + "/up")
            self.assertIn(b"10 copied", done.stdout)
            self.assertIn(b"link: neither a file nor a directory: left out", done.stderr)
        os.unlink(os.path.join(source, "link"))
        self.assertEqual(tree_of(os.path.join(self.remote, "up")), tree_of(source))

    def test_put_r_removes_what_killed_runs_left_and_nothing_else(self):
        server = self.start()
        self.write(self.local, "s/f")
        self.write(self.remote, "ftp-host-%s-%s.part" % ("0" * 16, "1" * 16))
        self.write(self.remote, "other")
        self.host("put", "-r", "s", server.url)
        self.assertEqual(sorted(tree_of(self.remote)), ["f", "other"])

    def test_get_r_tells_its_totals(self):
        server = self.start()
        self.write(self.remote, "a/f", b"12345")
        self.write(self.remote, "g", b"678")
        told = self.told("get", "-r", server.url, "out")
        del told["seconds"]
        self.assertEqual(told, {"files": 2, "skipped": 0, "failed": 0, "bytes": 8, "resumed_bytes": 0})
        done = self.host("-v", "get", "-r", "--resume", server.url, "out")
        self.assertRegex(done.stderr, rb"0 files, 0 B in 0:00 \(0 B/s\), 2 complete already\n$")
        done = self.host("-v", "get", "-r", server.url, "out")
        self.assertIn(b"out/a/f: 5 bytes\n", done.stderr)
        self.assertEqual(done.stdout, b"")

    def test_go_on_behind_a_file_that_fails(self):
        def refuse(handler, path):
            if path.endswith("b"):
                handler.respond("550 Not this one.")
                return None
            return FTPHandler.ftp_RETR(handler, path)

        server = self.start(ftp_RETR=refuse)
        for name in ("a", "b", "c"):
            self.write(self.remote, name)
        for verb in (["get", "-r"], ["sync"]):
            done = self.host(*verb, server.url, verb[0], code=1)
            self.assertIn(b"550 Not this one.", done.stderr)
            self.assertEqual(sorted(contents(os.path.join(self.local, verb[0]))), ["a", "c"])

    def test_put_r_goes_on_behind_a_directory_that_fails(self):
        server = self.start(ftp_MKD=answering("550 No directories."))
        self.write(self.local, "s/d/f")
        self.write(self.local, "s/g")
        done = self.host("put", "-r", "s", server.url, code=1)
        self.assertIn(b"550 No directories.", done.stderr)
        self.assertIn(b"1 copied", done.stdout)
        self.assertEqual(sorted(tree_of(self.remote)), ["g"])

    def test_get_r_fails_where_another_kind_is_in_the_way(self):
        server = self.start()
        for name in ("a/f", "b", "c"):
            self.write(self.remote, name)
        self.write(self.local, "out/a", b"a file")
        self.write(self.local, "out/b/kept")
        done = self.host("get", "-r", server.url, "out", code=6)
        self.assertIn(b"out/a: Not a directory", done.stderr)
        self.assertIn(b"out/b: Is a directory", done.stderr)
        self.assertEqual(sorted(contents(os.path.join(self.local, "out"))), ["a", "b", "b/kept", "c"])

    def test_put_r_and_sync_refuse_another_kind_in_the_way(self):
        server = self.start()
        self.write(self.local, "s/d/f")
        self.write(self.local, "s/g")
        self.write(self.remote, "d")
        for verb in (["put", "-r"], ["sync"]):
            done = self.host(*verb, "s", server.url, code=1)
            self.assertIn(b"d: the target has a file of this name", done.stderr)
            self.assertEqual(sorted(tree_of(self.remote)), ["d", "g"])

    def test_leave_out_a_directory_that_leads_back_up(self):
        server = self.start()
        self.write(self.remote, "d/f")
        os.symlink("..", os.path.join(self.remote, "d", "up"))
        for verb in (["get", "-r"], ["sync"]):
            done = self.host(*verb, server.url, verb[0])
            self.assertIn(b"d/up: a link to a directory above it, or too deep: left out", done.stderr)
            self.assertEqual(sorted(contents(os.path.join(self.local, verb[0]))), ["d", "d/f"])


if __name__ == "__main__":
    main()
