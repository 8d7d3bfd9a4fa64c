"""Runs the command-line host as a user does, against a server of its own in this process.

    SUITE_test.py FTP_HOST_PROGRAM [unittest arguments]
"""
import json
import logging
import os
import pty
import random
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.filesystems import AbstractedFS
from pyftpdlib.handlers import DTPHandler, FileProducer, FTPHandler, ThrottledDTPHandler
from pyftpdlib.ioloop import IOLoop
from pyftpdlib.servers import FTPServer

PASSWORD = "pa55 w:rd@x"


class Server:
    """One FTP server on a free port of the loopback interface, serving `folder` to anonymous and to "ann".

    The attributes become those of its handler: `ftp_RETR=...` for instance answers RETR.
    """

    def __init__(self, folder, **attributes):
        authorizer = DummyAuthorizer()
        authorizer.add_anonymous(folder, perm="elradfmwMT")
        authorizer.add_user("ann", PASSWORD, folder, perm="elradfmwMT")
        self.commands = []
        attributes = {"authorizer": authorizer, "commands": self.commands, "auth_failed_timeout": 0,
                      "use_sendfile": False, **attributes}

        class Handler(FTPHandler):
            def pre_process_command(self, line, command, argument):
                self.commands.append(command)
                return super().pre_process_command(line, command, argument)

        for name, value in attributes.items():
            setattr(Handler, name, value)
        self.loop = IOLoop()
        self.server = FTPServer(("127.0.0.1", 0), Handler, ioloop=self.loop)
        self.stopping = False
        self.thread = threading.Thread(target=self._serve)
        self.thread.start()
        self.url = "ftp://127.0.0.1:%d" % self.server.address[1]

    def _serve(self):
        while not self.stopping:
            self.loop.loop(timeout=0.02, blocking=False)
        self.server.close_all()

    def stop(self):
        self.stopping = True
        self.thread.join()


# What a server may be like: values for the attributes of its handler.


def answering(reply):
    """A command that is answered with `reply`, and nothing else is done."""
    def answer(handler, *arguments, **more):
        handler.respond(reply)

    return answer


def silence(handler, *arguments):
    """A command that is never answered."""


def listing_by(format_mlsx):
    """A file system whose MLSD lines `format_mlsx` makes."""
    return type("Listed", (AbstractedFS,), {"format_mlsx": format_mlsx})


def hostile_listing(filesystem, basedir, listing, perms, facts, ignore_err=True):
    for name in (b"..", b"../../evil", b"/etc/evil", b"sub/evil", b"", b"\x1b[2Jred", b"fine"):
        yield b"type=file;size=5;modify=20240305070809; " + name + b"\r\n"


def throttled(bytes_per_second):
    return type("Throttled", (ThrottledDTPHandler,),
                {"read_limit": bytes_per_second, "write_limit": bytes_per_second, "auto_sized_buffers": False})


def meeting_of(count):
    """Transfers that wait until `count` of them go on at once; then tells how many did at most."""
    class Meeting(DTPHandler):
        running, waiting, most = [], [], 0

        def enable_receiving(self, *arguments):
            super().enable_receiving(*arguments)
            self.del_channel()
            self.meet(lambda: self.add_channel(events=self.ioloop.READ))

        def push_with_producer(self, producer):
            send = super().push_with_producer
            if isinstance(producer, FileProducer):
                self.meet(lambda: send(producer))
            else:
                send(producer)  # a listing

        def meet(self, go_on):
            Meeting.running.append(self)
            Meeting.most = max(Meeting.most, len(Meeting.running))
            Meeting.waiting.append(go_on)
            while Meeting.most >= count and Meeting.waiting:
                Meeting.waiting.pop()()

        def close(self):
            if self in Meeting.running:
                Meeting.running.remove(self)
            super().close()

    return Meeting


def without_machine_listing():
    """Commands of a server that only knows LIST."""
    commands = dict(FTPHandler.proto_cmds)
    for name in ("MLSD", "MLST", "MFMT"):
        del commands[name]
    return commands


# Trees on the disk.


def tree_of(folder, changing=False):
    """Paths below `folder` with the kind, bytes and whole seconds of their files. A file that goes meanwhile is
    left out of a tree that is `changing`."""
    found = {}
    for at, directories, files in os.walk(folder):
        for name in directories:
            found[os.path.relpath(os.path.join(at, name), folder)] = None
        for name in files:
            path = os.path.join(at, name)
            try:
                with open(path, "rb") as file:
                    found[os.path.relpath(path, folder)] = (file.read(), int(os.fstat(file.fileno()).st_mtime))
            except FileNotFoundError:
                if not changing:
                    raise
    return found


def contents(folder):
    """Paths below `folder` with the bytes of their files."""
    return {path: entry and entry[0] for path, entry in tree_of(folder).items()}


def fill(folder, seed=1, files=30):
    random.seed(seed)
    for index in range(files):
        at = os.path.join(folder, *["d%d" % random.randrange(3) for _ in range(random.randrange(3))])
        os.makedirs(at, exist_ok=True)
        path = os.path.join(at, "file %d" % index)
        with open(path, "wb") as file:
            file.write(random.randbytes(random.choice([0, 1, 1000, 65535, 65536, 65537, 300000])))
        when = random.randrange(1_000_000_000, 1_700_000_000)
        os.utime(path, (when, when))


class HostTest(unittest.TestCase):
    program = ""
    maxDiff = 2000

    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="ftp-host-test-")
        self.addCleanup(shutil.rmtree, self.root, True)
        self.remote = os.path.join(self.root, "remote")
        self.local = os.path.join(self.root, "local")
        os.mkdir(self.remote)
        os.mkdir(self.local)

    def start(self, **attributes):
        server = Server(self.remote, **attributes)
        self.addCleanup(server.stop)
        return server

    def write(self, folder, name, content=b"content\n", when=None):
        path = os.path.join(folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)
        if when is not None:
            os.utime(path, (when, when))
        return path

    def host(self, *arguments, code=0, **more):
        """Runs the program to its end; its result."""
        environment = {**os.environ, "TZ": "UTC", **more.pop("environment", {})}
        if "input" not in more:
            more["stdin"] = subprocess.DEVNULL
        done = subprocess.run([self.program, *arguments], cwd=self.local, env=environment, capture_output=True,
                              timeout=60, start_new_session=True, **more)
        self.assertEqual(done.returncode, code, "%s: %s" % (arguments, done.stderr.decode(errors="replace")))
        return done

    def told(self, *arguments, code=0):
        """What the program says as JSON."""
        return json.loads(self.host("--json", *arguments, code=code).stdout)

    def sync(self, source, target, *options, code=0):
        return self.told("sync", source, target, *options, code=code)

    def begin(self, *arguments):
        """Starts the program; it ends with the test."""
        running = subprocess.Popen([self.program, *arguments], cwd=self.local, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)

        def end():
            running.kill()
            running.wait()
            running.stdout.close()
            running.stderr.close()

        self.addCleanup(end)
        return running

    def on_terminal(self, *arguments, typed=None, environment=None):
        """Runs the program on a terminal of its own; its exit code and everything that it showed."""
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.local)
            os.environ.update({"TZ": "UTC", **(environment or {})})
            os.execv(self.program, [self.program, *arguments])
        shown = b""
        while True:
            if typed is not None and b": " in shown:
                os.write(terminal, typed)
                typed = None
            try:
                piece = os.read(terminal, 65536)
            except OSError:
                piece = b""
            if not piece:
                break
            shown += piece
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), shown

    def leftovers(self, folder):
        """The temporary files below `folder`."""
        return [os.path.join(at, name) for at, _, files in os.walk(folder) for name in files
                if name.startswith("ftp-host-")]

    def wait_until(self, condition):
        deadline = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.005)


def main():
    logging.disable(logging.CRITICAL)
    HostTest.program = os.path.abspath(sys.argv.pop(1))
    unittest.main()
