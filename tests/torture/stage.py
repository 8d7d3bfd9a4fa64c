"""What a directed scenario stands on: one server, a source and a target, and the tool."""
import contextlib
import ctypes
import os
import struct
import threading

import odd_servers
import play
import servers
import trees

OLD = 1_500_000_000  # long ago, and not a whole minute


class Broken(Exception):
    """A property did not hold."""


def check(condition, what):
    if not condition:
        raise Broken(what)


class Stage(play.Bench):
    """`source` and `target` are folders; `up` says which of them is on the server."""

    def __init__(self, build, server, up):
        if isinstance(server, type) and not issubclass(server, servers.Server):
            server = odd_servers.Odd(server)
        super().__init__(build, server)
        self.up = up
        self.again()

    def again(self):
        """Empty trees and an undisturbed road, for the next part of a scenario."""
        self.relay.reset()
        self.prepare(self.up)
        trees.make_folders(self.target, (), self.owner)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def file(self, side, name, data=b"", time=OLD):
        """Makes a file with its folders; `side` is "source", "target" or "both"."""
        for root in (self.source, self.target) if side == "both" else (getattr(self, side),):
            path = tuple(os.fsencode(name).split(b"/"))
            trees.make_folders(root, path[:-1], self.owner)
            full = trees.place(root, path)
            with open(full, "wb") as file:
                file.write(data)
            trees.own(full, self.owner)
            os.utime(full, (time, time))

    def make_folder(self, side, name):
        trees.make_folders(getattr(self, side), tuple(os.fsencode(name).split(b"/")), self.owner)

    def full(self, side, name):
        return os.path.join(os.fsencode(getattr(self, side)), os.fsencode(name))

    def link(self, side, name, to):
        os.symlink(to, self.full(side, name))
        trees.own(self.full(side, name), self.owner)

    def read(self, side, name):
        try:
            with open(self.full(side, name), "rb") as file:
                return file.read()
        except (FileNotFoundError, NotADirectoryError):
            return None

    def names(self, side, name=""):
        return sorted(os.listdir(self.full(side, name)))

    def operands(self):
        here = str(self.here / "work")
        return [here, self.url()] if self.up else [self.url(), here]

    def sync(self, *options, delete=True, **more):
        result = self.tool.run(["sync", *(["--delete"] if delete else []), *options, *self.operands()], **more)
        self.quiet()
        return result

    def start(self, *words):
        return self.tool.start([*words, *self.operands()])

    def when(self, verb, action, times=1):
        """Calls `action` with the connection and the line before a command of this verb is passed on; what it
        answers is sent in the place of the server's reply."""
        left = times

        def rule(connection, line):
            nonlocal left
            if left <= 0 or not line.upper().startswith(verb):
                return None
            left -= 1
            return action(connection, line)

        self.relay.rule = rule


@contextlib.contextmanager
def holding_opens(folder, wanted):
    """Holds every open of a file below `folder` for which `wanted(name, pid)` answers an event, until that event is
    set. What is opened is decided by then: a file that is renamed meanwhile is opened all the same."""
    libc = ctypes.CDLL(None, use_errno=True)
    libc.fanotify_mark.argtypes = [ctypes.c_int, ctypes.c_uint, ctypes.c_uint64, ctypes.c_int, ctypes.c_char_p]
    content_class, open_permission, on_child, add, allow = 4, 0x10000, 0x08000000, 1, 1
    events = libc.fanotify_init(content_class, os.O_RDONLY)
    if events < 0 or libc.fanotify_mark(events, add, open_permission | on_child, -100, os.fsencode(folder)) != 0:
        raise servers.Missing("fanotify with permissions")

    def answer(descriptor, event):
        if event is not None:
            event.wait(30)
        os.write(events, struct.pack("iI", descriptor, allow))
        os.close(descriptor)

    def serve():
        while True:
            try:
                data = os.read(events, 4096)
            except OSError:
                return
            while len(data) >= 24:
                length, _, _, _, _, descriptor, pid = struct.unpack("IBBHQii", data[:24])
                data = data[length:]
                if pid == os.getpid():
                    answer(descriptor, None)
                    continue
                name = os.path.basename(os.readlink(f"/proc/self/fd/{descriptor}"))
                threading.Thread(target=answer, args=(descriptor, wanted(name, pid)), daemon=True).start()

    threading.Thread(target=serve, daemon=True).start()
    try:
        yield
    finally:
        # Without the mark nothing is held any more; the descriptor goes with the process.
        libc.fanotify_mark(events, 2, open_permission | on_child, -100, os.fsencode(folder))
