"""get -r."""
import filecmp
import os

from host_fixture import HostTest, fill, main, tree_of, without_machine_listing


class TreeDownloads(HostTest):
    def test_get_r_takes_directories_that_look_alike(self):
        server = self.start()
        self.write(self.remote, "a/a/a/f")
        for path in ("a/a/a", "a/a", "a"):
            os.utime(os.path.join(self.remote, path), (1_600_000_000, 1_600_000_000))
        self.host("get", "-r", server.url, "out")
        self.assertEqual(tree_of(os.path.join(self.local, "out")), tree_of(self.remote))

    def test_get_r_takes_a_tree_and_resume_skips_what_is_complete(self):
        server = self.start()
        fill(self.remote)
        told = self.told("get", "-r", server.url, "out")
        self.assertEqual(told["files"], 30)
        self.assertEqual(tree_of(os.path.join(self.local, "out")), tree_of(self.remote))
        told = self.told("get", "-r", "--resume", server.url, "out")
        self.assertEqual((told["files"], told["skipped"]), (0, 30))

    def test_get_r_leaves_out_temporary_files_and_removes_its_own(self):
        server = self.start()
        left = "ftp-host-%s-%s.part" % ("0" * 16, "1" * 16)
        self.write(self.remote, left)
        self.write(self.remote, "f")
        self.write(self.local, "out/" + left, b"of another version")
        self.host("get", "-r", "--resume", server.url, "out")
        self.assertEqual(sorted(tree_of(os.path.join(self.local, "out"))), ["f", left])
        self.host("get", "-r", server.url, "out")
        self.assertEqual(sorted(tree_of(os.path.join(self.local, "out"))), ["f"])

    def test_resume_skips_what_is_complete_by_rounded_times(self):
        server = self.start(proto_cmds=without_machine_listing())
        fill(self.remote, files=5)
        self.host("get", "-r", server.url, "out")
        told = self.told("get", "-r", "--resume", server.url, "out")
        self.assertEqual((told["files"], told["skipped"]), (0, 5))

    def test_get_r_does_not_follow_links_in_its_target(self):
        server = self.start()
        self.write(self.remote, "d/f")
        outside = os.path.join(self.root, "outside")
        os.mkdir(outside)
        os.symlink(outside, os.path.join(self.local, "d"))
        self.host("get", "-r", server.url, ".", code=6)
        self.assertEqual(os.listdir(outside), [])

    def test_works_with_a_server_that_only_knows_list(self):
        server = self.start(proto_cmds=without_machine_listing())
        fill(self.remote)
        os.symlink("d0", os.path.join(self.remote, "link"))
        self.host("get", "-r", server.url, "out")
        self.assertNotIn("MLSD", server.commands)
        self.assertTrue(filecmp.dircmp(self.remote, os.path.join(self.local, "out")).same_files)
        self.assertEqual(tree_of(os.path.join(self.local, "out", "d0")), tree_of(os.path.join(self.remote, "d0")))


if __name__ == "__main__":
    main()
