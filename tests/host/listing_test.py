"""inspect, ls and stat, hostile names, and what a terminal shows."""
import os

from host_fixture import HostTest, hostile_listing, listing_by, main, throttled, tree_of


class Listing(HostTest):
    def test_inspect_shows_both_documents(self):
        told = self.told("inspect")
        self.assertEqual((told["version"], told["protocols"]), ("1.0.0", "ftp;ftps;ad_ftp"))
        self.assertEqual([list(field)[0] for field in told["auth_fields"][0]["data"]],
                         ["url", "port", "ssl", "active", "anonymous", "user", "password"])
        self.assertIn(b"proxy_password", self.host("inspect").stdout)

    def test_ls_shows_names_and_with_l_kinds_sizes_and_times(self):
        server = self.start()
        self.write(self.remote, "a b", b"12345", 1709622489)
        os.mkdir(os.path.join(self.remote, "d"))
        self.assertEqual(self.host("ls", server.url).stdout, b"a b\nd\n")
        lines = self.host("ls", "-l", server.url).stdout.decode().splitlines()
        self.assertEqual(lines[0].split(None, 4), ["-", "5", "2024-03-05", "07:08:09", "a b"])
        self.assertTrue(lines[1].startswith("d"))

    def test_ls_of_a_file_shows_the_file(self):
        server = self.start()
        self.write(self.remote, "d/f", b"12345")
        self.assertEqual(self.host("ls", server.url + "/d/f").stdout, b"f\n")

    def test_recursive_listing_ends_at_links_that_lead_up(self):
        server = self.start()
        self.write(self.remote, "d/f")
        os.symlink("..", os.path.join(self.remote, "d", "up"))
        done = self.host("ls", "-R", server.url)
        self.assertEqual(done.stdout, b"/:\nd\n\n/d:\nf\nup\n")
        self.assertIn(b"left out", done.stderr)
        self.assertEqual(self.host("--quiet", "ls", "-R", server.url).stderr, b"")

    def test_stat_tells_files_directories_and_the_root(self):
        server = self.start()
        self.write(self.remote, "d/f", b"12345", 1709622489)
        told = self.told("stat", server.url + "/d/f")
        self.assertEqual(told, {"name": "f", "path": "/d/f", "type": "file", "size": 5,
                                "modified": "2024-03-05T07:08:09.000Z"})
        self.assertEqual(self.told("stat", server.url + "/d")["type"], "directory")
        self.assertEqual(self.told("stat", server.url)["type"], "directory")

    def test_escapes_of_the_url_are_decoded(self):
        server = self.start()
        self.write(self.remote, "a %41#?;/f")
        self.assertEqual(self.host("ls", server.url + "/a%20%2541%23%3f;").stdout, b"f\n")


class HostileNames(HostTest):
    def setUp(self):
        super().setUp()
        self.write(self.remote, "fine", b"12345")
        self.server = self.start(abstracted_fs=listing_by(hostile_listing))

    def test_are_left_out_of_listings(self):
        done = self.host("ls", self.server.url)
        self.assertEqual(done.stdout, b"\x1b[2Jred\nfine\n")
        self.assertIn(b"3 unusable names", done.stderr)

    def test_cannot_steer_the_terminal(self):
        _, shown = self.on_terminal("ls", self.server.url)
        self.assertIn(b"\\x1B[2Jred", shown)
        self.assertNotIn(b"\x1b[2J", shown)

    def test_never_lead_a_download_out_of_its_target(self):
        target = os.path.join(self.local, "deep", "target")
        os.makedirs(target)
        self.host("get", "-r", self.server.url, target, code=1)  # the transport refuses the control byte
        self.assertEqual(tree_of(self.local), {"deep": None, "deep/target": None,
                                               "deep/target/fine": (b"12345", tree_of(self.remote)["fine"][1])})


class Output(HostTest):
    def setUp(self):
        super().setUp()
        self.write(self.remote, "f", bytes(1_500_000))
        self.server = self.start(dtp_handler=throttled(700_000))

    def test_progress_shows_on_a_terminal(self):
        code, shown = self.on_terminal("get", self.server.url + "/f")
        self.assertEqual(code, 0, shown)
        self.assertRegex(shown, rb"f +\d+%.*MiB.*KiB/s.*\d:\d\d left")

    def test_no_progress_in_a_pipe_or_when_quiet(self):
        done = self.host("get", self.server.url + "/f")
        self.assertEqual((done.stdout, done.stderr), (b"", b""))
        code, shown = self.on_terminal("--quiet", "get", self.server.url + "/f")
        self.assertEqual((code, shown), (0, b""))


if __name__ == "__main__":
    main()
