"""cat and get of one file."""
import os
import random
import resource
import signal
import stat
import time

from host_fixture import HostTest, answering, main, tree_of


class Downloads(HostTest):
    def test_cat_writes_ranges(self):
        server = self.start()
        content = random.Random(1).randbytes(300001)
        self.write(self.remote, "f", content)
        for text, part in (("0-0", content[:1]), ("65536-131071", content[65536:131072]), ("300000-", content[-1:]),
                           ("-7", content[-7:]), ("5-999999999", content[5:]), ("300001-", b"")):
            self.assertEqual(self.host("cat", "--range", text, server.url + "/f").stdout, part, text)
        self.assertEqual(self.host("cat", server.url + "/f").stdout, content)

    def test_cat_into_a_closed_pipe_ends_quietly(self):
        server = self.start()
        self.write(self.remote, "f", bytes(5_000_000))
        reading = self.begin("cat", server.url + "/f")
        reading.stdout.read(10)
        reading.stdout.close()
        self.assertEqual(reading.stderr.read(), b"")
        self.assertEqual(reading.wait(20), -signal.SIGPIPE)

    def test_get_takes_a_file_with_its_time(self):
        server = self.start()
        for size in (0, 1, 65535, 65536, 65537, 1000000):
            self.write(self.remote, "f", random.Random(size).randbytes(size), 1709622489)
            self.host("get", server.url + "/f")
            self.assertEqual(tree_of(self.local), tree_of(self.remote), size)

    def test_get_writes_where_it_is_told(self):
        server = self.start()
        self.write(self.remote, "f")
        os.mkdir(os.path.join(self.local, "d"))
        self.host("get", server.url + "/f", "d")
        self.host("get", server.url + "/f", "g")
        self.assertEqual(sorted(tree_of(self.local)), ["d", "d/f", "g"])

    def test_get_stores_nothing_when_the_disk_takes_no_more(self):
        def small_disk():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))

        server = self.start()
        self.write(self.remote, "f", bytes(300_000))
        self.write(self.local, "f", b"old")
        for arguments in (["get", server.url + "/f"], ["get", "-r", server.url, "."], ["sync", server.url, "."]):
            done = self.host(*arguments, code=6, preexec_fn=small_disk)
            self.assertIn(b"f: File too large", done.stderr)
            self.assertEqual(tree_of(self.local)["f"][0], b"old")

    def test_get_leaves_nothing_behind_when_nothing_is_sent(self):
        server = self.start(ftp_RETR=answering("550 Not today."))
        self.write(self.remote, "f")
        done = self.host("get", server.url + "/f", code=1)
        self.assertIn(b"550 Not today.", done.stderr)
        self.assertEqual(os.listdir(self.local), [])

    def test_get_replaces_a_link_and_spares_what_it_leads_to(self):
        server = self.start()
        self.write(self.remote, "f")
        self.write(self.local, "precious", b"precious")
        os.symlink("precious", os.path.join(self.local, "f"))
        self.host("get", server.url + "/f", os.path.join(self.local, "f"))
        self.assertEqual(tree_of(self.local)["precious"][0], b"precious")
        self.assertFalse(os.path.islink(os.path.join(self.local, "f")))

    def test_get_never_replaces_a_special_file(self):
        server = self.start()
        self.write(self.remote, "f")
        pipe = os.path.join(self.local, "f")
        os.mkfifo(pipe)
        for arguments in (["get", server.url + "/f", pipe], ["get", "-r", server.url, "."], ["sync", server.url, "."]):
            done = self.host(*arguments, code=6)
            self.assertIn(b"not a regular file", done.stderr)
            self.assertTrue(stat.S_ISFIFO(os.lstat(pipe).st_mode))
        self.assertEqual(self.leftovers(self.local), [])

    def test_get_never_replaces_a_link_to_a_special_file(self):
        server = self.start()
        self.write(self.remote, "f")
        link = os.path.join(self.local, "f")  # as /dev/stdout is one
        os.symlink("pipe", link)
        os.mkfifo(os.path.join(self.local, "pipe"))
        for arguments in (["get", server.url + "/f", link], ["get", "-r", server.url, "."], ["sync", server.url, "."]):
            done = self.host(*arguments, code=6)
            self.assertIn(b"not a regular file", done.stderr)
            self.assertTrue(os.path.islink(link))

    def test_the_speed_limit_reaches_the_plugin(self):
        server = self.start()
        self.write(self.remote, "f", bytes(4_000_000))
        begin = time.monotonic()
        self.host("--limit-rate", "1M", "get", server.url + "/f")
        self.assertGreater(time.monotonic() - begin, 1)  # the transport lets the first 1.6 MB pass


if __name__ == "__main__":
    main()
