"""Judges one run by both trees on disk, as they were before and are after it."""
import json
import re

import trees

# Names that the tool gives to what is not finished, or set aside.
OWN_NAME = re.compile(rb"^ftp-host-[0-9a-f]{16}-[0-9a-f]{16}\.[a-z]+$")
TAG = re.compile(rb"k\d\d\d")
# Names and entries that some road cannot carry: then a run may fail for ever, and says why.
ODD = re.compile(rb"[\x00-\x1f\x7f\"\\*?~;%#]|^ | $|^-|->|[\x80-\xff]|^.{200}|total |type=|drwx", re.S)


def is_own(name):
    return OWN_NAME.match(name) is not None


def is_odd(path):
    return any(ODD.search(name) for name in path)


class Look:
    """Everything on disk at one moment."""

    def __init__(self, bench):
        self.source = trees.snapshot(bench.source)
        self.target = trees.snapshot(bench.target)
        self.source_outside = trees.snapshot(bench.source_outside)
        self.target_outside = trees.snapshot(bench.target_outside)


class Said:
    """What the runs told on standard error."""

    def __init__(self, text):
        self.text = text

    def of(self, path):
        """Whether `path`, or a folder that it is in, was told of."""
        for depth, name in enumerate(path):
            tag = TAG.search(name)
            if tag is None:
                continue
            last = depth == len(path) - 1
            # A folder counts when the message is of itself and not of something else below it.
            pattern = tag[0] if last else tag[0] + rb"[^/\n]*?(?:/?: | )"
            if re.search(pattern, self.text):
                return True
            if b"\n" in name and b"unusable name" in self.text:
                return True
        return b"unusable name" in self.text and any(b"\n" in name or b"\r" in name for name in path)


class Judge:
    """Compares. `start` and `end` are the source as the rig made it before and by the end of the run; `versions`
    are the digests that a path ever had in the source."""

    def __init__(self, scenario, server, start, end, versions, before, after, appeared, placed):
        self.scenario, self.server = scenario, server
        self.start, self.end, self.versions = start, end, versions
        self.before, self.after = before, after
        self.appeared = set(appeared)
        self.placed = placed  # what the rig itself made in the target; else a server made it of another name
        self.findings = []

    def find(self, kind, path, detail=""):
        shown = b"/".join(path).decode("utf-8", "backslashreplace")
        self.findings.append((kind, f"{shown!r} {detail}".strip()))

    def run(self, results, disturbed):
        """`disturbed`: something broke in, so that a last step may be missing."""
        said = Said(b"".join(result.err for result in results))
        for result in results:
            if result.code is None:
                self.findings.append(("hang", f"after {result.seconds:.0f} s"))
            elif result.code < 0 and not disturbed or b"Sanitizer" in result.err:
                self.findings.append(("crash", f"code {result.code} {result.err[-200:]!r}"))
        self.unchanged_source()
        self.outside()
        self.losses(disturbed)
        self.contents(said if all(result.code == 0 for result in results) else None)
        if all(result.code == 0 for result in results):
            self.equal(said)
            self.no_extras(said)
            if not disturbed and len(results) == 1:
                self.no_leftovers(said)
        return self.findings

    def unchanged_source(self):
        for path in self.end.keys() | self.after.source.keys():
            if self.end.get(path) != self.after.source.get(path):
                self.find("source-changed", path, f"{self.end.get(path)} became {self.after.source.get(path)}")

    def outside(self):
        for path in self.before.source_outside.keys() | self.after.source_outside.keys():
            if self.before.source_outside.get(path) != self.after.source_outside.get(path):
                self.find("outside-changed", (b"source's",) + path)
        through = self.through_links()
        for path in self.before.target_outside.keys() | self.after.target_outside.keys():
            if self.before.target_outside.get(path) == self.after.target_outside.get(path):
                continue
            gone = self.after.target_outside.get(path) is None
            if gone or not any(path[:len(link)] == link for link in through):
                self.find("outside-changed", (b"target's",) + path)

    def through_links(self):
        """Places outside the target that a link of the target leads to where the source has a folder: what the
        source has is copied there, and nothing else happens."""
        found = []
        for path, entry in self.before.target.items():
            source = self.end.get(path)
            if entry.kind == "link" and b"outside" in entry.link and source and source.kind == "folder":
                found.append((b"sub",) if entry.link.endswith(b"sub") else ())
        return found

    def in_source(self, path):
        return (path in self.start and path in self.end) or (path in self.appeared and path in self.end)

    def below_link(self, tree, path):
        return any((entry := tree.get(path[:depth])) is not None and entry.kind == "link"
                   for depth in range(1, len(path) + 1))

    def losses(self, disturbed):
        for path, entry in self.before.target.items():
            if is_own(path[-1]) or path in self.after.target:
                continue
            if self.in_source(path) or self.below_link(self.end, path):
                source = self.end.get(path)
                if source and source.kind == "folder" and entry.kind != "folder":
                    continue  # it was in the way
                if disturbed and self.successor_is_there(path):
                    continue
                in_the_way = source is not None and source.kind != entry.kind
                self.find("lost-in-the-way" if in_the_way else "lost", path, "the source has it")
            elif not self.scenario["delete"] and path in self.placed:
                self.find("lost", path, "removed without --delete")

    def successor_is_there(self, path):
        """A complete version under a name of the tool's own."""
        known = self.versions.get(path, set()) | {self.before.target[path].digest}
        return any(other[:-1] == path[:-1] and is_own(other[-1]) and entry.digest in known
                   for other, entry in self.after.target.items())

    def contents(self, said):
        """`said`: none after a failure, when names that the server made of others are not yet told of."""
        for path, entry in self.after.target.items():
            old = self.before.target.get(path)
            if entry.kind != "file" or is_own(path[-1]) or self.below_link(self.end, path):
                continue
            known = self.versions.get(path)
            if old is not None and old.digest == entry.digest and old.kind == "file":
                continue
            if known is None:
                if old is not None and path in self.placed:
                    self.find("extra-changed", path)
                elif said is not None and not said.of(path):
                    self.find("foreign-name", path)
            elif entry.digest not in known:
                self.find("torn", path, f"{entry.size} bytes are no version of the source")

    def uncomparable(self, path):
        """Links and special files are left out on one road and followed on another; hidden names are never seen."""
        if self.below_link(self.end, path) or self.below_link(self.before.target, path):
            return True
        if self.server.hides_dots and any(name.startswith(b".") for name in path):
            return True
        return False

    def equal(self, said):
        for path, entry in self.end.items():
            if self.start.get(path) != entry or self.uncomparable(path) or is_own(path[-1]):
                continue
            there = self.after.target.get(path)
            if entry.kind == "special" or said.of(path):
                continue
            if there is None:
                self.find("silent-missing", path)
            elif there.kind != entry.kind or there.digest != entry.digest:
                self.find("silent-different", path, f"{entry.size} bytes, the target has {there.size}")
            elif entry.kind == "file" and (not self.scenario["up"] or self.server.takes_times):
                if entry.mtime // 10**9 != there.mtime // 10**9:
                    self.find("silent-time", path, f"{entry.mtime // 10**9} and {there.mtime // 10**9}")

    def no_extras(self, said):
        if not self.scenario["delete"]:
            return
        for path in self.after.target:
            if path in self.end or path in self.start or is_own(path[-1]) or path[:-1] not in self.end and path[1:]:
                continue
            if not self.uncomparable(path) and not said.of(path):
                self.find("silent-extra", path)

    def no_leftovers(self, said):
        for path in self.after.target:
            if is_own(path[-1]) and path not in self.end and not self.uncomparable(path) and not said.of(path[:-1]):
                self.find("temporary-left", path)


def copied(result):
    """Number of files that a run with --json copied."""
    try:
        return json.loads(result.out)["copied"]
    except (ValueError, KeyError):
        return None


def carries_everything(scenario):
    """Whether nothing in it explains a failure of an undisturbed run."""
    for atom in scenario["atoms"]:
        if atom["op"] in ("link", "special"):
            return False
        if "path" in atom and is_odd(trees.names_of(atom["path"])):
            return False
        for edit in (atom.get("disturb") or {}).get("edits", []):
            if is_odd(trees.names_of(edit["path"])):
                return False
    return True


