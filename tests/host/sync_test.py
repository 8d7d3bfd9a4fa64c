"""sync: what is copied and what is not."""
import os
import time

from pyftpdlib.filesystems import AbstractedFS

from host_fixture import (
    HostTest,
    contents,
    fill,
    hostile_listing,
    listing_by,
    main,
    tree_of,
    without_machine_listing,
)


class Sync(HostTest):
    def check_both_ways(self, server):
        source = os.path.join(self.local, "source")
        os.mkdir(source)
        fill(source)
        self.write(source, ".hidden/.f")
        self.assertEqual(self.sync(source, server.url + "/up")["copied"], 31)
        self.assertEqual(contents(os.path.join(self.remote, "up")), contents(source))
        self.assertEqual(self.sync(source, server.url + "/up", "--delete")["actions"], [])
        self.assertEqual(self.sync(server.url + "/up", "down")["copied"], 31)
        self.assertEqual(tree_of(os.path.join(self.local, "down")), tree_of(os.path.join(self.remote, "up")))
        self.assertEqual(self.sync(server.url + "/up", "down", "--delete")["actions"], [])

    def test_a_second_run_transfers_nothing(self):
        self.check_both_ways(self.start())

    def test_a_second_run_transfers_nothing_without_mlsd_and_mfmt(self):
        self.check_both_ways(self.start(proto_cmds=without_machine_listing()))

    def test_transfers_what_differs_and_removes_with_delete(self):
        server = self.start()
        for name in ("same", "size", "time", "type/x"):
            self.write(self.local, "s/" + name, b"12345", 1_600_000_000)
        self.sync("s", server.url)
        self.write(self.remote, "size", b"1", 1_600_000_000)
        self.write(self.remote, "time", b"54321", 1_600_000_001)
        self.write(self.remote, "extra/deep/x")
        told = self.sync("s", server.url, "--dry-run", "--delete")
        self.assertEqual([(action["action"], action["path"]) for action in told["actions"]],
                         [("copy", "size"), ("copy", "time"), ("remove", "extra")])
        self.assertEqual(told["dry_run"], True)
        self.assertIn("extra/deep/x", tree_of(self.remote))
        self.assertEqual(self.sync("s", server.url)["copied"], 2)
        self.assertIn("extra/deep/x", tree_of(self.remote))
        self.assertEqual(self.sync("s", server.url, "--delete")["removed"], 1)
        self.assertEqual(tree_of(self.remote), tree_of(os.path.join(self.local, "s")))

    def test_the_window_widens_what_counts_as_equal(self):
        server = self.start()
        self.write(self.local, "s/f", when=1_600_000_000)
        self.write(self.remote, "f", when=1_600_000_002)
        self.assertEqual(self.sync("s", server.url, "--modify-window", "2")["actions"], [])
        self.assertEqual(self.sync("s", server.url, "--modify-window", "1")["copied"], 1)

    def test_an_edit_in_the_second_of_the_copy_is_seen(self):
        server = self.start()
        for folder, source, target in ((os.path.join(self.local, "s"), "s", server.url + "/up"),
                                       (os.path.join(self.remote, "r"), server.url + "/r", "down")):
            while time.time() % 1 > 0.1:
                time.sleep(0.01)
            self.write(folder, "f", b"one")
            self.assertEqual(self.sync(source, target)["copied"], 1)
            self.write(folder, "f", b"two")
            self.assertEqual(self.sync(source, target)["copied"], 1, source)

    def test_patterns_choose_on_both_sides(self):
        server = self.start()
        for name in ("a.txt", "b.bin", "d/c.txt", "d/c.tmp", "build/x.txt"):
            self.write(self.local, "s/" + name)
        self.write(self.remote, "t/old.txt")
        self.write(self.remote, "t/old.tmp")
        self.sync("s", server.url + "/t", "--include", "*.txt", "--include", "*.tmp", "--exclude", "*.tmp",
                  "--exclude", "build/", "--delete")
        self.assertEqual(sorted(tree_of(os.path.join(self.remote, "t"))), ["a.txt", "d", "d/c.txt", "old.tmp"])

    def links_of_the_server(self):
        """A server that lists links as directories, as others do."""
        def format_mlsx(filesystem, basedir, listing, perms, facts, ignore_err=True):
            for line in AbstractedFS.format_mlsx(filesystem, basedir, listing, perms, facts, ignore_err):
                name = line.split(b"; ", 1)[1].strip().decode()
                if os.path.islink(os.path.join(basedir, name)):
                    line = line.replace(b"type=file", b"type=dir")
                yield line

        return listing_by(format_mlsx)

    def test_a_link_to_a_file_stays_the_file_that_it_became(self):
        server = self.start(abstracted_fs=self.links_of_the_server())
        self.write(self.remote, "f", b"12345", 1_600_000_000)
        os.symlink("f", os.path.join(self.remote, "link"))
        self.assertEqual(self.sync(server.url, "t")["copied"], 2)
        self.assertEqual(self.sync(server.url, "t")["actions"], [])
        self.assertEqual(self.sync(server.url, "t", "--delete")["actions"], [])

    def test_tells_of_names_that_cannot_be_used(self):
        self.write(self.remote, "fine", b"12345")
        server = self.start(abstracted_fs=listing_by(hostile_listing))
        done = self.host("sync", server.url, "t", code=1)
        self.assertIn(b"3 unusable names", done.stderr)


if __name__ == "__main__":
    main()
