"""Plays a scenario: makes its trees, runs the tool, disturbs it, and has every run judged."""
import collections
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

import oracle
import relay
import servers
import tool
import trees

LOGIN = (b"USER", b"PASS", b"AUTH", b"FEAT", b"QUIT")


class Bench:
    """One server with a relay before it, a copy of the tool, and the folders of the scenario that is played."""

    def __init__(self, build, server):
        """`server`: the name of a kind, or a server that is there already."""
        self.server = servers.KINDS[server](build) if isinstance(server, str) else server
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="sync-torture-"))
        os.chmod(self.folder, 0o755)
        self.tool = tool.Tool(build, self.folder)
        self.relay = relay.Relay(self.server.port, ftp=self.server.scheme == "ftp")
        self.number = 0
        self.mounted = None

    def end(self):
        self.clear()
        self.relay.end()
        self.server.end()
        shutil.rmtree(self.folder, ignore_errors=True)

    def clear(self):
        if self.number == 0:
            return
        if self.mounted:
            subprocess.run(["umount", "--lazy", self.mounted], check=False)
            self.mounted = None
        trees.drop(self.here)
        trees.drop(self.there)

    def prepare(self, up, disk=0):
        """Fresh folders: `here` on this machine and `there` on the server, in each "work" and "outside"."""
        self.clear()
        self.number += 1
        self.here = self.folder / f"s{self.number}"
        self.there = self.server.root / f"s{self.number}"
        for side, outer in (("source", self.here if up else self.there), ("target", self.there if up else self.here)):
            outer.mkdir()
            if side == "target" and disk:
                self.mount(outer)
            (outer / "outside" / "sub").mkdir(parents=True)
            for name in ("canary", "sub/inner"):
                (outer / "outside" / name).write_bytes(name.encode() * 20)
            setattr(self, side, outer / "work")
            setattr(self, side + "_outside", outer / "outside")
            servers.hand_over(outer)
        self.owner = servers.server_ids()
        trees.make_folders(self.source, (), self.owner)

    def mount(self, folder):
        """A disk of its own, where mounting is possible."""
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=200m", "none", str(folder)],
                              stderr=subprocess.DEVNULL, check=False)
        if done.returncode == 0:
            self.mounted = str(folder)

    def leave_room(self, kilobytes):
        if self.mounted:
            now = os.statvfs(self.mounted)
            used = (now.f_blocks - now.f_bfree) * now.f_frsize // 1024
            subprocess.run(["mount", "-o", f"remount,size={used + kilobytes}k", self.mounted], check=True)

    def url(self, name="work"):
        return self.server.url(self.relay.port, f"s{self.number}/{name}")

    def quiet(self):
        """Waits until the server has done what a client that is gone still asked for."""
        limit = time.monotonic() + 2
        while self.relay.control_connections and time.monotonic() < limit:
            time.sleep(0.002)
        self.relay.drop_all()


class Play:
    def __init__(self, bench, scenario):
        self.bench, self.scenario = bench, scenario
        self.findings = []
        self.counts = collections.Counter()
        self.appeared = []
        self.runs = []
        self.log = []

    def arguments(self):
        scenario = self.scenario
        here, url = str(self.bench.here / "work"), self.bench.url()
        if scenario["verb"] == "tree":
            parallel = ["--parallel", str(scenario["parallel"])] if self.bench.tool.gets_in_parallel else []
            return (["put", "-r", *parallel, here, url] if scenario["up"] else ["get", "-r", *parallel, url, here])
        options = ["--parallel", str(scenario["parallel"])] + (["--delete"] if scenario["delete"] else [])
        return ["--json", "sync", *options, *((here, url) if scenario["up"] else (url, here))]

    def play(self):
        bench = self.bench
        bench.prepare(self.scenario["up"], self.scenario["disk"])
        self.source, self.placed = {}, set()
        self.versions = collections.defaultdict(set)
        first = True
        for atom in self.scenario["atoms"]:
            if atom["op"] == "run":
                if first and self.scenario["disk"]:
                    bench.leave_room(self.scenario["disk"])
                first = False
                self.round(atom["disturb"])
            else:
                self.change(atom)
            if self.findings:
                return self.findings
        self.finish()
        return self.findings

    def change(self, atom):
        """An operation on a tree; the picture of the source follows."""
        bench = self.bench
        root = bench.source if atom["side"] == "source" else bench.target
        path = trees.names_of(atom["path"])
        trees.apply(root, atom, bench.owner)
        if atom["side"] == "target":
            self.placed.update(path[:depth] for depth in range(1, len(path) + 1))
            if atom["op"] == "many":
                self.placed.update(path + (name,) for name in trees.many_names(atom))
            return
        if atom["op"] == "many":
            for name in trees.many_names(atom):
                self.look_again(root, path + (name,))
        self.look_again(root, path)

    def look_again(self, root, path):
        for depth in range(1, len(path) + 1):
            entry = trees.look_at(trees.place(root, path[:depth]))
            if entry is None:
                for known in [one for one in self.source if one[:depth] == path[:depth]]:
                    del self.source[known]
                break
            self.source[path[:depth]] = entry
            if entry.kind == "file":
                self.versions[path[:depth]].add(entry.digest)

    def round(self, disturb, last=False):
        bench = self.bench
        bench.relay.reset()
        bench.relay.rate = self.scenario["rate"] if disturb else 0
        self.appeared, self.appeared_at = [], 0
        self.fired = False
        before = oracle.Look(bench)
        start = dict(self.source)
        if disturb:
            bench.relay.arm(disturb["counted"], disturb["at"], lambda *where: self.disturb(disturb, *where))
        self.runs = [bench.tool.start(self.arguments(), **self.limits(disturb))]
        results = [run.wait() for run in self.runs[:1]]
        results += [run.wait() for run in self.runs[1:]]
        bench.quiet()
        for problem in bench.relay.errors:
            raise problem
        self.counts["runs"] += len(results)
        if self.fired:
            self.counts[disturb["what"]] += 1
        after = oracle.Look(bench)
        if not any(command[:4] in (b"STOR", b"RETR") for command in bench.relay.commands[self.appeared_at:]):
            self.appeared = []  # what comes when all is copied is perhaps behind the last look at the source
        judge = oracle.Judge(self.scenario, bench.server, start, self.source, self.versions, before, after,
                             self.appeared, self.placed)
        disturbed = self.fired and disturb["what"] not in ("edit",)
        self.findings += judge.run(results, disturbed or bench.mounted is not None and not last)
        self.log.append((disturb and disturb["what"], self.fired, [r.code for r in results], results[0].err))
        return results[0]

    def limits(self, disturb):
        stalls = disturb and disturb["what"].startswith("stall")
        more = {"limit": tool.STALLED_LIMIT} if stalls else {}
        if self.scenario["disk"] and not self.scenario["up"] and not self.bench.mounted and disturb:
            more["file_size"] = self.scenario["disk"] * 1024  # no mounting here: no file grows beyond
        return more

    def disturb(self, disturb, connection, line):
        """Called by the relay when the moment has come."""
        what, server = disturb["what"], self.bench.server
        verb = line[:4].upper().strip()
        self.fired = True
        if what in ("kill", "interrupt"):
            for run in self.runs:
                run.signal(signal.SIGKILL if what == "kill" else signal.SIGINT)
        elif what in ("cut", "cut-data"):
            connection.cut()
        elif what in ("stall", "stall-data"):
            connection.stall()
        elif what == "close-421":
            return b"421 Service not available\r\n"
        elif what == "refuse":
            return self.refuse(disturb, verb)
        elif what == "restart" or (what == "kill-sessions" and server.name.startswith("pyftpdlib")):
            server.restart()
        elif what == "kill-sessions":
            server.kill_sessions()
        elif what == "edit":
            self.appeared_at = len(self.bench.relay.commands) - 1
            for edit in disturb["edits"]:
                self.appeared.append(trees.names_of(edit["path"]))
                self.change(edit)
        elif what == "two-runs":
            self.runs.append(self.bench.tool.start(self.arguments()))
        return None

    def refuse(self, disturb, verb):
        """This command, and others of its kind that follow, are refused in the server's name."""
        if verb in LOGIN:
            return None
        reply = disturb["reply"].encode() + b"\r\n"
        left = disturb["times"] - 1

        def again(_, line):
            nonlocal left
            if left <= 0 or line[:4].upper().strip() != verb:
                return None
            left -= 1
            return reply

        self.bench.relay.rule = again
        return reply

    def finish(self):
        """Nothing is in the way any more: both sides become equal, and stay so."""
        bench, scenario = self.bench, self.scenario
        bench.leave_room(200_000)
        for root in (bench.source, bench.target):
            trees.restore_rights(root)
        for path, entry in self.source.items():
            if entry.kind in ("folder", "file", "special"):
                self.source[path] = trees.look_at(trees.place(bench.source, path))
        result = self.round(None, last=True)
        if self.findings:
            return
        if result.code != 0:
            if oracle.carries_everything(scenario):
                self.findings.append(("no-convergence", f"code {result.code} {result.err[-300:]!r}"))
            return
        if scenario["verb"] == "sync":
            result = self.round(None, last=True)
            if not self.findings and (oracle.copied(result) != 0 or result.code != 0):
                if oracle.carries_everything(scenario):
                    self.findings.append(("copies-again", f"{oracle.copied(result)} files, code {result.code}"))
