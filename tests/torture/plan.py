"""Draws a scenario from a seed: what is on both sides, and what happens in which order.

A scenario is a dictionary of texts and numbers with a list of operations, "atoms", which stand for themselves: any
of them may be left out, which is how a failing scenario is made smaller.
"""
import random

import trees

# What a name has in it, and how it is made of a tag of its own by which messages are recognised.
NAMES = {
    "plain": [lambda tag: tag, lambda tag: tag + ".txt", lambda tag: "A-" + tag + "_b.tar.gz"],
    "blank": [lambda tag: "a " + tag, lambda tag: tag + "  b", lambda tag: "5 Jan  1  2020 " + tag],
    "blank-edge": [lambda tag: " " + tag, lambda tag: tag + " ", lambda tag: "  " + tag + "  "],
    "bracket": [lambda tag: "[" + tag + "]", lambda tag: tag + "[0-9]", lambda tag: "{" + tag + ",b}",
                lambda tag: "x[" + tag],
    "wildcard": [lambda tag: tag + "*", lambda tag: "?" + tag],
    "dot": [lambda tag: "." + tag, lambda tag: ".." + tag, lambda tag: "..." + tag],
    "dot-end": [lambda tag: tag + ".", lambda tag: tag + "..", lambda tag: "a." + tag + ".b"],
    "utf8": [lambda tag: tag + "\u00e9", lambda tag: "\u65e5\u672c" + tag, lambda tag: tag + "e\u0301",
             lambda tag: tag + "\U0001f600"],
    "latin1": [lambda tag: tag + "\udce9", lambda tag: "\udc80" + tag + "\udcfc"],
    "telnet": [lambda tag: tag + "\udcff", lambda tag: "\udcff\udcf4" + tag, lambda tag: tag + "\udcff\udcffb"],
    "control": [lambda tag: tag + "\x01b", lambda tag: tag + "\t", lambda tag: "\x1b[31m" + tag,
                lambda tag: tag + "\x7f", lambda tag: "a\x08" + tag],
    "line-break": [lambda tag: tag + "\nb", lambda tag: tag + "\r", lambda tag: "\n" + tag],
    "quote": [lambda tag: '"' + tag + '"', lambda tag: "'" + tag, lambda tag: tag + "\\n", lambda tag: "$(" + tag],
    "listing": [lambda tag: "drwxr-xr-x 1 a b 5 Jan 1 2020 " + tag, lambda tag: tag + " -> b",
                lambda tag: "type=dir;" + tag, lambda tag: "total " + tag, lambda tag: "-la " + tag],
    "percent": [lambda tag: "%41" + tag, lambda tag: tag + "%", lambda tag: tag + "#?b", lambda tag: "~" + tag,
                lambda tag: "a:" + tag, lambda tag: tag + ";b=c"],
    "long": [lambda tag: tag + "n" * (255 - len(tag)), lambda tag: tag + "\u00e9" * ((255 - len(tag)) // 2),
             lambda tag: tag + "m" * 200],
}
KILLS = ("kill", "interrupt")
CUTS = ("cut", "cut-data", "stall", "stall-data", "close-421", "refuse", "kill-sessions", "restart")
COMMANDS_OF_A_LOGIN = 16
SIZES = (0, 1, 17, 1000, 4096, 65535, 65536, 65537, 200_000)


class Planner:
    def __init__(self, seed, server, spared):
        """`spared`: features that do not occur."""
        self.random = random.Random(f"{server.name}:{seed}")
        self.server = server
        self.spared = spared
        self.tags = 0
        self.clock = trees.OLDEST
        self.atoms = []
        self.source = {}   # paths to "file" or "folder"
        self.targets = {}  # of what only the target has

    def chance(self, probability):
        return self.random.random() < probability

    def allowed(self, *features):
        return not any(feature in self.spared for feature in features)

    def name(self):
        self.tags += 1
        tag = "k%03d" % self.tags
        kind = "plain" if self.chance(0.6 - 0.4 * self.wild) else self.random.choice(list(NAMES))
        text = self.random.choice(NAMES[kind])(tag)
        if not self.allowed("name-" + kind):
            text = tag
        return text.encode("utf-8", "surrogateescape").decode("latin-1")

    def time(self):
        """A time of its own, long ago, to be compared to the second."""
        self.clock += self.random.randrange(60, 90_000)
        if self.chance(0.15):
            self.clock += 60 - self.clock % 60
        if self.clock % 60 == 0 and not self.allowed("round-time"):
            return self.clock + 1
        return self.clock

    def size(self):
        if self.chance(0.05):
            return self.random.choice((1_000_000, 3_000_000))
        return self.random.choice(SIZES) if self.chance(0.7) else self.random.randrange(5000)

    def file(self, side, path, **more):
        return {"op": "file", "side": side, "path": path, "size": self.size(), "seed": self.random.getrandbits(32),
                "mtime": self.time(), **more}

    def add(self, operation):
        self.atoms.append(operation)

    def folder_of(self, paths):
        folders = [path for path, kind in paths.items() if kind == "folder"]
        return list(self.random.choice([[]] + folders))

    def tree(self):
        """Both sides at the beginning: in part equal, in part old, in part of one side only."""
        for _ in range(self.entries):
            path = self.folder_of(self.paths) + [self.name()]
            key = tuple(path)
            if self.chance(0.3):
                self.paths[key] = "folder"
                self.add({"op": "folder", "side": "source", "path": path})
                if self.fresh is False and self.chance(0.5):
                    self.add({"op": "folder", "side": "target", "path": path})
            else:
                self.source_file(path)
        if self.chance(0.3):
            for _ in range(self.random.randrange(1, 8)):
                self.extra()
        if self.chance(0.25):
            self.link()
        if self.chance(0.01):
            self.many()
        if self.chance(0.1):
            path = self.folder_of(self.paths) + [self.name()]
            if self.allowed("special"):
                self.add({"op": "special", "side": self.local_side, "path": path})

    def source_file(self, path):
        self.paths[tuple(path)] = "file"
        made = self.file("source", path)
        self.sizes[tuple(path)] = made["size"]
        self.add(made)
        if self.fresh:
            return
        draw = self.random.random()
        if draw < 0.4:
            self.add({**made, "side": "target"})
        elif draw < 0.7:  # an old version, of another size
            self.add({**made, "side": "target", "size": made["size"] + 1 + self.random.randrange(100),
                      "mtime": made["mtime"] - 10_000_000})
        elif draw < 0.8:
            inner = self.file("target", path + [self.name()]) if self.chance(0.5) else None
            if self.allowed("conflict"):
                self.add({"op": "folder", "side": "target", "path": path})
                if inner:
                    self.add(inner)

    def extra(self):
        """Something that only the target has."""
        path = self.folder_of(self.paths) + [self.name()]
        if self.chance(0.3):
            self.add({"op": "folder", "side": "target", "path": path})
            path = path + [self.name()]
        self.add(self.file("target", path))
        self.extras.append(path)

    def many(self):
        """A folder with more entries than some servers list, equal on both sides."""
        path = self.folder_of(self.paths) + [self.name()]
        count = self.random.choice([1001, 2001, 10_012])
        operation = {"op": "many", "path": path, "count": count, "tag": "k%03d" % self.tags, "mtime": self.time()}
        if self.allowed("many"):
            self.add({**operation, "side": "source"})
            self.add({**operation, "side": "target"})

    def link(self):
        side = self.random.choice(["source", "target"])
        path = self.folder_of(self.paths) + [self.name()]
        up = "../" * len(path)
        to = self.random.choice([up + "outside", up + "outside/sub", up + "outside/canary", "nowhere", ".", ".."])
        if self.allowed("links", "links-" + side, "links-" + to.replace("../", "")):
            self.add({"op": "link", "side": side, "path": path, "to": to})

    def rights(self):
        """Takes rights away on one side."""
        if not self.paths:
            return
        path = list(self.random.choice(list(self.paths)))
        folder = self.paths[tuple(path)] == "folder"
        side = self.random.choice(["source", "target"])
        mode = self.random.choice([0o000, 0o444, 0o311, 0o555]) if folder else 0o000
        if self.allowed("rights", "rights-%s-%03o" % (side, mode)):
            self.add({"op": "mode", "side": side, "path": path, "mode": mode})

    def edit(self, during=False):
        """A change of the source; during a run a file changes as a whole."""
        files = [list(path) for path, kind in self.paths.items() if kind == "file"]
        draw = self.random.random()
        now = {"mtime": None}
        if during and self.extras and draw < 0.2:
            path = self.random.choice(self.extras)
            if not self.allowed("edit-appears"):
                path = [self.name()]
            return {**self.file("source", path), **now}
        if files and draw < 0.5:
            made = {**self.file("source", self.random.choice(files)), **now}
            if self.chance(0.4):
                made["size"] = self.sizes[tuple(made["path"])]
            self.sizes[tuple(made["path"])] = made["size"]
            return made
        if files and draw < 0.65:
            path = self.random.choice(files)
            del self.paths[tuple(path)]
            return {"op": "remove", "side": "source", "path": path}
        path = self.folder_of(self.paths) + [self.name()]
        self.paths[tuple(path)] = "file"
        made = self.file("source", path)
        self.sizes[tuple(path)] = made["size"]
        return made

    def disturbance(self):
        kinds = [*KILLS, *CUTS, "edit", "two-runs"]
        if self.server.scheme == "sftp":  # what passes is encrypted
            kinds = [kind for kind in kinds if kind not in ("cut-data", "stall-data", "close-421", "refuse")]
        what = self.random.choice(kinds)
        at = int(2 ** self.random.uniform(0, 8))
        disturb = {"what": what, "counted": "command", "at": at}
        if what in ("cut-data", "stall-data") or (what in KILLS and self.chance(0.3)):
            disturb.update(counted="byte", at=int(2 ** self.random.uniform(0, 20)))
        if what == "refuse":
            disturb["reply"] = self.random.choice(["450 busy", "451 local error", "550 Permission denied",
                                                   "552 Quota exceeded", "426 Connection closed"])
            disturb["times"] = self.random.choice([1, 1, 1, 3, 1000])
        if what == "edit":
            disturb["edits"] = [self.edit(True) for _ in range(self.random.randrange(1, 4))]
        early = what in CUTS and disturb["counted"] == "command" and at <= COMMANDS_OF_A_LOGIN
        happens = self.chance(0.75) and self.allowed(what) and (not early or self.allowed("at-login"))
        return disturb if happens else None

    def scenario(self, seed):
        roll = self.random
        self.up = roll.random() < 0.5
        self.local_side = "source" if self.up else "target"
        self.wild = roll.random() ** 2  # how many of the names are odd
        self.fresh = roll.random() < 0.3
        self.entries = roll.choice([3, 8, 15, 15, 30, 60])
        self.paths, self.sizes, self.extras = {}, {}, []
        verb = roll.choice(["sync"] * 6 + ["tree"])
        delete = roll.random() < 0.7 and verb == "sync" and self.allowed("delete")
        self.tree()
        for _ in range(roll.randrange(3) if roll.random() < 0.3 else 0):
            self.rights()
        for number in range(roll.choice([1, 1, 2, 3])):
            for _ in range(roll.randrange(4) if number > 0 else 0):
                self.add(self.edit())
            self.add({"op": "run", "disturb": self.disturbance()})
        disk = roll.choice([100, 300, 1000]) if roll.random() < 0.05 and self.allowed("full-disk") else 0
        return {"seed": seed, "server": self.server.name, "up": self.up, "verb": verb, "delete": delete,
                "parallel": roll.choice([1, 2, 2, 4]), "rate": roll.choice([0, 0, 0, 500_000]),
                "disk": disk, "atoms": self.atoms}


def draw(seed, server, spared=()):
    return Planner(seed, server, set(spared)).scenario(seed)
