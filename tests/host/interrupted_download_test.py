"""Downloads that are stopped, continued, or overtaken by a change."""
import os
import random
import signal
import time

from host_fixture import HostTest, main, throttled, tree_of


class InterruptedDownloads(HostTest):
    def interrupted_download(self, size=2_000_000):
        """A partial file of f, from a run that Ctrl-C ended."""
        slow = self.start(dtp_handler=throttled(400_000))
        self.write(self.remote, "f", random.Random(7).randbytes(size), 1709622489)
        running = self.begin("get", slow.url + "/f")
        self.wait_until(lambda: sum(os.path.getsize(path) for path in self.leftovers(self.local)) >= 200_000)
        running.send_signal(signal.SIGINT)
        begin = time.monotonic()
        self.assertEqual(running.wait(20), 130)
        self.assertLess(time.monotonic() - begin, 5)
        self.assertIn(b"cancelled", running.stderr.read())
        self.assertEqual(len(self.leftovers(self.local)), 1)
        self.assertFalse(os.path.exists(os.path.join(self.local, "f")))
        return slow

    def test_ctrl_c_cancels_and_resume_continues(self):
        server = self.interrupted_download()
        told = self.told("get", "--resume", server.url + "/f")
        self.assertGreaterEqual(told["resumed_bytes"], 200_000)
        self.assertEqual(told["resumed_bytes"] + told["bytes"], 2_000_000)
        self.assertEqual(tree_of(self.local), tree_of(self.remote))

    def test_resume_starts_over_when_the_file_has_changed(self):
        server = self.interrupted_download()
        self.write(self.remote, "f", random.Random(8).randbytes(2_000_000), 1709622490)
        told = self.told("get", "--resume", server.url + "/f")
        self.assertEqual(told["resumed_bytes"], 0)
        self.assertEqual(tree_of(self.local), tree_of(self.remote))

    def changed_meanwhile(self, mode):
        """Downloads f while it is opened in `mode` and 100 bytes are written into it; how the run ended."""
        path = self.write(self.remote, "f", bytes(2_500_000), 1_600_000_000)
        server = self.start(dtp_handler=throttled(1_000_000))
        running = self.begin("get", server.url + "/f")
        self.wait_until(lambda: self.leftovers(self.local))
        with open(path, mode) as file:
            file.write(b"x" * 100)
        return running.communicate(timeout=30)[1], running.returncode

    def test_a_file_that_is_overwritten_meanwhile_is_reported(self):
        complaint, code = self.changed_meanwhile("r+b")
        self.assertIn(b"changed on the server while it was read: FILE_READ_FAILED (8)", complaint)
        self.assertEqual(code, 1)
        self.assertFalse(os.path.exists(os.path.join(self.local, "f")))

    def test_a_file_that_grows_meanwhile_is_stored_as_it_was(self):
        complaint, code = self.changed_meanwhile("ab")
        self.assertEqual((complaint, code), (b"", 0))
        self.assertEqual(tree_of(self.local)["f"], (bytes(2_500_000), 1_600_000_000))

    def test_a_file_that_shrinks_meanwhile_is_reported(self):
        path = self.write(self.remote, "f", bytes(8_000_000))
        server = self.start(dtp_handler=throttled(1_000_000))
        running = self.begin("get", server.url + "/f")
        self.wait_until(lambda: self.leftovers(self.local))
        os.truncate(path, 100_000)
        complaint = running.communicate(timeout=30)[1]
        self.assertEqual(running.returncode, 1)
        self.assertIn(b"changed on the server while it was read: FILE_READ_FAILED (8)", complaint)
        self.assertFalse(os.path.exists(os.path.join(self.local, "f")))


if __name__ == "__main__":
    main()
