"""mkdir, rm, rmdir, mv and touch."""
import os

from host_fixture import HostTest, listing_by, main, tree_of, without_machine_listing


class Changes(HostTest):
    def test_touch_never_empties_a_file_that_is_not_listed(self):
        def hide(filesystem, basedir, listing, perms, facts, ignore_err=True):
            return iter([b"type=file;size=1;modify=20240305070809; other\r\n"])

        server = self.start(abstracted_fs=listing_by(hide))
        self.write(self.remote, "f", b"precious")
        self.host("touch", "--time", "2024-03-05T07:08:09Z", server.url + "/f")
        self.assertEqual(tree_of(self.remote)["f"], (b"precious", 1709622489))

    def test_mkdir_rmdir_mv_touch_and_rm(self):
        server = self.start()
        self.host("mkdir", server.url + "/a")
        self.host("mkdir", "-p", server.url + "/a/b/c")
        self.host("mkdir", "-p", server.url + "/a/b/c")
        self.host("touch", "--time", "2024-03-05T07:08:09Z", server.url + "/a/f")
        self.assertEqual(tree_of(self.remote)["a/f"], (b"", 1709622489))
        self.host("mv", server.url + "/a/f", "g")
        self.host("mv", server.url + "/a/g", server.url + "/a/b")
        self.host("mv", server.url + "/a/b", server.url + "/b2")
        self.assertEqual(sorted(tree_of(self.remote)), ["a", "b2", "b2/c", "b2/g"])
        self.host("rm", server.url + "/b2/g")
        self.host("rmdir", server.url + "/b2/c")
        self.host("rm", "-r", server.url + "/a")
        self.assertEqual(sorted(tree_of(self.remote)), ["b2"])

    def test_rm_r_removes_links_and_not_what_they_lead_to(self):
        server = self.start()
        self.write(self.remote, "precious/f")
        self.write(self.remote, "d/e/f")
        os.symlink("../precious", os.path.join(self.remote, "d", "link"))
        self.host("rm", "-r", server.url + "/d")
        self.assertEqual(sorted(tree_of(self.remote)), ["precious", "precious/f"])

    def test_touch_says_when_the_server_takes_no_times(self):
        server = self.start(proto_cmds=without_machine_listing(), _extra_feats=[])
        self.write(self.remote, "f")
        done = self.host("touch", server.url + "/f", code=1)
        self.assertIn(b"NOT_SUPPORTED (6)", done.stderr)


if __name__ == "__main__":
    main()
