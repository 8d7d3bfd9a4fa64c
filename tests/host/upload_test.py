"""put."""
import os
import random

from pyftpdlib.handlers import FTPHandler

from host_fixture import HostTest, answering, contents, main, throttled, tree_of


class Uploads(HostTest):
    def test_put_stores_a_file_with_its_time(self):
        server = self.start()
        for size in (0, 1, 65535, 65536, 65537, 1000000):
            self.write(self.local, "f", random.Random(size).randbytes(size), 1709622489)
            self.host("put", "f", server.url + "/")
            self.assertEqual(tree_of(self.remote), tree_of(self.local), size)

    def test_put_takes_a_directory_or_a_name(self):
        server = self.start()
        os.mkdir(os.path.join(self.remote, "d"))
        self.write(self.local, "f")
        self.host("put", "f", server.url + "/d")
        self.host("put", "f", server.url + "/g")
        done = self.host("put", "f", server.url + "/missing/", code=5)
        self.assertIn(b"/missing: not found: FILE_NOT_FOUND (17)", done.stderr)
        done = self.host("mv", server.url + "/g", server.url + "/missing/", code=5)
        self.assertIn(b"/missing: not found: FILE_NOT_FOUND (17)", done.stderr)
        self.assertEqual(sorted(tree_of(self.remote)), ["d", "d/f", "g"])

    def test_a_file_that_is_named_as_a_directory_is_not_replaced(self):
        server = self.start()
        self.write(self.remote, "g", b"precious")
        self.write(self.local, "f")
        done = self.host("put", "f", server.url + "/g/", code=2)
        self.assertIn(b"/g is a file", done.stderr)
        self.write(self.remote, "h", b"other")
        done = self.host("mv", server.url + "/h", server.url + "/g/", code=2)
        self.assertIn(b"/g is a file", done.stderr)
        self.assertEqual(contents(self.remote),
                         {"g": b"precious", "h": b"other"})

    def test_replaces_where_no_rename_over_a_file_is_allowed(self):
        def refuse(handler, path):
            if os.path.lexists(path):
                handler.respond("550 It exists.")
                return None
            return FTPHandler.ftp_RNTO(handler, path)

        server = self.start(ftp_RNTO=refuse)
        self.write(self.remote, "f", b"old")
        self.write(self.local, "f", b"new content", 1709622489)
        self.host("put", "f", server.url + "/")
        self.assertEqual(tree_of(self.remote), tree_of(self.local))

    def test_keeps_the_only_copy_when_every_rename_is_refused(self):
        server = self.start(ftp_RNTO=answering("550 Never."))
        self.write(self.remote, "f", b"old")
        self.write(self.local, "f", b"new content")
        self.host("put", "f", server.url + "/", code=1)
        self.assertEqual([entry[0] for entry in tree_of(self.remote).values()], [b"new content"])

    def test_believes_the_listing_when_the_answer_is_lost(self):
        def answer_wrongly(handler, path):
            os.rename(handler._rnfr, path)
            handler._rnfr = None
            handler.respond("451 Lost track.")

        server = self.start(ftp_RNTO=answer_wrongly)
        self.write(self.remote, "f", b"old")
        self.write(self.local, "f", b"new content")
        self.host("put", "f", server.url + "/")
        self.assertEqual(tree_of(self.remote), tree_of(self.local))

    def test_put_leaves_the_old_file_when_the_server_takes_none(self):
        server = self.start(ftp_STOR=answering("552 Quota exceeded."))
        self.write(self.remote, "f", b"old")
        self.write(self.local, "f", b"new content")
        done = self.host("put", "f", server.url + "/", code=1)
        self.assertIn(b"FILE_WRITE_FAILED (9)", done.stderr)
        self.assertIn(b"552", done.stderr)
        self.assertEqual(contents(self.remote), {"f": b"old"})

    def test_put_notices_a_file_that_changes_while_it_is_sent(self):
        server = self.start(dtp_handler=throttled(1_000_000))
        self.write(self.remote, "f", b"old")
        path = self.write(self.local, "f", bytes(3_000_000))
        sending = self.begin("put", "f", server.url + "/")
        self.wait_until(lambda: self.leftovers(self.remote))
        with open(path, "r+b") as file:
            file.write(b"new")
        complaint = sending.communicate(timeout=30)[1]
        self.assertEqual(sending.returncode, 6)
        self.assertIn(b"f: changed while it was sent", complaint)
        self.assertEqual(contents(self.remote), {"f": b"old"})

    def test_put_notices_that_the_server_kept_only_a_part(self):
        server = self.start(on_file_received=lambda handler, path: os.truncate(path, 3))
        self.write(self.remote, "f", b"old")
        self.write(self.local, "f", b"new content")
        done = self.host("put", "f", server.url + "/", code=1)
        self.assertIn(b"FILE_WRITE_FAILED (9)", done.stderr)
        self.assertEqual(contents(self.remote), {"f": b"old"})

    def test_put_follows_the_link_that_it_is_given(self):
        server = self.start()
        self.write(self.local, "d/f", b"behind it")
        os.symlink("d/f", os.path.join(self.local, "link"))
        self.host("put", "link", server.url + "/")
        self.assertEqual(tree_of(self.remote)["link"][0], b"behind it")

    def test_put_stores_the_file_when_only_its_time_is_refused(self):
        server = self.start(ftp_MFMT=answering("550 No times today."))
        self.write(self.remote, "f", b"old")
        self.write(self.local, "f", b"new content")
        done = self.host("put", "f", server.url + "/", code=1)
        self.assertIn(b"stored, but its time cannot be set", done.stderr)
        self.assertIn(b"550 No times today.", done.stderr)
        self.assertEqual(contents(self.remote), {"f": b"new content"})

    def test_put_removes_what_a_killed_run_left_of_the_same_file(self):
        server = self.start(dtp_handler=throttled(300_000))
        self.write(self.local, "f", bytes(2_000_000))
        running = self.begin("put", "f", server.url + "/")
        self.wait_until(lambda: self.leftovers(self.remote))
        running.kill()
        running.wait()
        self.write(self.local, "f", b"short")
        self.host("put", "f", server.url + "/")
        self.assertEqual(sorted(tree_of(self.remote)), ["f"])


if __name__ == "__main__":
    main()
