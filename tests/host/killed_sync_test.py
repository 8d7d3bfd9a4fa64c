"""sync, killed at any moment."""
import os
import random
import shutil
import subprocess
import time

from host_fixture import HostTest, fill, main, tree_of

SEED = int(os.environ.get("HOST_TEST_SEED", "1"))


class KilledSync(HostTest):
    def kill_and_repeat(self, source, target, source_folder, target_folder, seed):
        """Changes the source, kills a run at a random moment, runs again: both trees must be equal."""
        chance = random.Random(seed)
        duration = 0.3
        killed = 0
        for turn in range(50):
            fill(source_folder, seed=seed + turn, files=12)
            if turn % 3 == 0:
                shutil.rmtree(os.path.join(source_folder, "d%d" % chance.randrange(3)), ignore_errors=True)
            begin = time.monotonic()
            running = self.begin("--quiet", "sync", "--delete", source, target)
            try:
                running.wait(timeout=chance.uniform(0, duration))
                duration = max(0.05, time.monotonic() - begin)
            except subprocess.TimeoutExpired:
                running.kill()
                killed += 1
                running.wait()
            # The server still carries out what the killed run has asked for: files may go meanwhile.
            for path, entry in tree_of(target_folder, changing=True).items():
                if entry and not os.path.basename(path).startswith("ftp-host-"):
                    self.assertIn(len(entry[0]), (0, 1, 1000, 65535, 65536, 65537, 300000), "a cut file: " + path)
            self.host("--quiet", "sync", "--delete", source, target)
            self.assertEqual(tree_of(target_folder), tree_of(source_folder), "turn %d, seed %d" % (turn, seed))
        self.assertGreater(killed, 10)

    def test_uploads_killed_50_times_end_in_equal_trees(self):
        server = self.start()
        source = os.path.join(self.local, "s")
        os.mkdir(source)
        self.kill_and_repeat(source, server.url, source, self.remote, SEED)

    def test_downloads_killed_50_times_end_in_equal_trees(self):
        server = self.start()
        target = os.path.join(self.local, "t")
        os.mkdir(target)
        self.kill_and_repeat(server.url, target, self.remote, target, SEED + 1000)


if __name__ == "__main__":
    main()
