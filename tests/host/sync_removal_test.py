"""sync --delete: what is removed and what is spared."""
import os

from pyftpdlib.filesystems import AbstractedFS
from pyftpdlib.handlers import FTPHandler

from host_fixture import HostTest, answering, listing_by, main, tree_of


class SyncRemoval(HostTest):
    def test_tells_what_went_from_a_directory_that_stays(self):
        server = self.start()
        os.mkdir(os.path.join(self.local, "s"))
        for name in ("extra/a.tmp", "extra/deep/x", "extra/y", "gone/z"):
            self.write(self.remote, name)
        told = self.sync("s", server.url, "--delete", "--exclude", "*.tmp")
        self.assertEqual(told["removed"], 3)
        self.assertEqual([(action["path"], action["type"]) for action in told["actions"]],
                         [("extra/deep", "directory"), ("extra/y", "file"), ("gone", "directory")])
        self.assertEqual(sorted(tree_of(self.remote)), ["extra", "extra/a.tmp"])
        self.assertEqual(self.sync("s", server.url, "--delete", "--exclude", "*.tmp")["actions"], [])

    def test_removes_nothing_after_a_failure(self):
        server = self.start(ftp_STOR=answering("552 Quota exceeded."))
        self.write(self.local, "s/f")
        self.write(self.remote, "extra")
        told = self.sync("s", server.url, "--delete", code=1)
        self.assertEqual((told["failed"], told["removed"]), (1, 0))
        self.assertEqual(sorted(tree_of(self.remote)), ["extra"])

    def test_delete_spares_what_is_in_the_way_of_the_unreadable(self):
        def refuse(handler, path):
            if os.path.basename(path) in ("x", "y"):
                handler.respond("550 Permission denied.")
                return None
            return FTPHandler.ftp_MLSD(handler, path)

        server = self.start(ftp_MLSD=refuse)
        os.makedirs(os.path.join(self.remote, "x"))
        os.makedirs(os.path.join(self.remote, "y"))
        self.write(self.remote, "z")
        self.write(self.local, "t/x", b"precious")
        self.write(self.local, "t/z/precious")
        told = self.sync(server.url, "t", "--delete", code=1)
        self.assertEqual(told["removed"], 0)
        self.assertEqual(sorted(tree_of(os.path.join(self.local, "t"))), ["x", "z", "z/precious"])

    def test_delete_does_not_believe_a_listing_that_is_empty(self):
        def nothing(filesystem, basedir, listing, perms, facts, ignore_err=True):
            if os.path.basename(basedir) == "closed":
                return iter([])
            return AbstractedFS.format_mlsx(filesystem, basedir, listing, perms, facts, ignore_err)

        server = self.start(abstracted_fs=listing_by(nothing))
        for folder in (self.remote, os.path.join(self.local, "t")):
            self.write(folder, "closed/f", when=1_600_000_000)
            self.write(folder, "g", when=1_600_000_000)
        self.write(self.local, "t/extra")
        for option in ([], ["--dry-run"]):
            done = self.host("sync", "--delete", *option, server.url, "t", code=1)
            self.assertIn(b"closed: listed as empty, and yet it holds f", done.stderr)
            self.assertEqual(sorted(tree_of(os.path.join(self.local, "t"))), ["closed", "closed/f", "extra", "g"])

    def test_delete_spares_what_the_source_only_hides(self):
        def hide(filesystem, basedir, listing, perms, facts, ignore_err=True):
            shown = [name for name in listing if not name.startswith(".")]
            return AbstractedFS.format_mlsx(filesystem, basedir, shown, perms, facts, ignore_err)

        server = self.start(abstracted_fs=listing_by(hide))
        for name in (".dot", ".dir/f", "g"):
            self.write(self.local, "t/" + name, when=1_600_000_000)
        self.sync("t", server.url)
        self.write(self.local, "t/.gone")
        told = self.sync(server.url, "t", "--delete")
        self.assertEqual([action["path"] for action in told["actions"]], [".gone"])
        self.assertEqual(tree_of(os.path.join(self.local, "t")), tree_of(self.remote))

    def test_delete_spares_what_a_link_leads_to(self):
        server = self.start()
        self.write(self.remote, "precious/f")
        os.mkdir(os.path.join(self.remote, "t"))
        os.symlink("../precious", os.path.join(self.remote, "t", "link"))
        os.mkdir(os.path.join(self.local, "s"))
        self.sync("s", server.url + "/t", "--delete")
        self.assertEqual(sorted(tree_of(self.remote)), ["precious", "precious/f", "t"])

    def test_deletes_local_links_and_not_what_they_lead_to(self):
        server = self.start()
        outside = os.path.join(self.root, "outside")
        self.write(outside, "f")
        os.mkdir(os.path.join(self.local, "t"))
        os.symlink(outside, os.path.join(self.local, "t", "link"))
        self.sync(server.url, "t", "--delete")
        self.assertEqual(os.listdir(os.path.join(self.local, "t")), [])
        self.assertEqual(os.listdir(outside), ["f"])


if __name__ == "__main__":
    main()
