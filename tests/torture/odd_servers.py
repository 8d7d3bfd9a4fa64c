"""FTP servers with one bad habit each, made of pyftpdlib, in this process: what real servers do that nobody can
install everywhere. They have the attributes of servers.Server that a stage needs."""
import logging
import os
import pathlib
import shutil
import tempfile
import threading

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.ioloop import IOLoop
from pyftpdlib.servers import FTPServer

import servers

logging.disable(logging.CRITICAL)  # what is served is told by the trees


def without(*names):
    return {name: what for name, what in FTPHandler.proto_cmds.items() if name not in names}


class ListOnly(FTPHandler):
    """Knows neither MLSD nor times."""
    proto_cmds = without("MLSD", "MLST", "MFMT")


class SizesOfFolders(ListOnly):
    """Answers SIZE and MDTM for folders, as for files; a folder called "closed" is not listed."""

    def ftp_SIZE(self, path):
        self.respond("213 4096")

    def ftp_MDTM(self, path):
        self.respond("213 20200102030405")

    def ftp_LIST(self, path):
        if "closed" in path:
            self.respond("550 Permission denied.")
            return None
        return super().ftp_LIST(path)

    def ftp_CWD(self, path):
        if "closed" in path:
            self.respond("550 Permission denied.")
            return None
        return super().ftp_CWD(path)


class FoldersAreEmptyFiles(SizesOfFolders):
    """And hands a folder out as an empty file."""

    def ftp_SIZE(self, path):
        self.respond("213 0")

    def ftp_RETR(self, file):
        if not os.path.isdir(file):
            return super().ftp_RETR(file)
        self.push_dtp_data(b"", isproducer=False, cmd="RETR")
        return file


class BreaksOff(ListOnly):
    """Has no SIZE; what is beyond the first 50,000 bytes of a file cannot be read."""
    proto_cmds = without("MLSD", "MLST", "MFMT", "SIZE")
    sent_of_a_file = 50_000
    reply = "451 Disk read error 4711."

    def ftp_RETR(self, file):
        with open(file, "rb") as opened:
            data = opened.read(self.sent_of_a_file)[self._restart_position:]
        self._restart_position = 0
        self.push_dtp_data(data, isproducer=False, cmd="RETR")
        return file

    def respond(self, resp, logfun=None):
        if resp.startswith("226") and self.breaking:
            resp = self.reply
        self.breaking = False
        super().respond(resp)

    breaking = False

    def pre_process_command(self, line, cmd, arg):
        self.breaking = cmd == "RETR"
        super().pre_process_command(line, cmd, arg)


class BreaksOffAtOnce(BreaksOff):
    """Has no SIZE; sends nothing of a file, then an error."""
    sent_of_a_file = 0


class Endless:
    """Bytes as long as somebody takes them, up to a limit."""

    def __init__(self, counter):
        self.counter = counter

    def more(self):
        if self.counter[0] >= 60_000_000:
            return b""
        self.counter[0] += 65536
        return b"x" * 65536


class SendsMore(ListOnly):
    """Has no SIZE, and sends far more of a file than it listed."""
    proto_cmds = without("MLSD", "MLST", "MFMT", "SIZE")
    sent = [0]

    def ftp_RETR(self, file):
        self.push_dtp_data(Endless(self.sent), isproducer=True, cmd="RETR")
        return file


class ChangesLines(ListOnly):
    """Lists lines as `changed` makes them."""

    def push_dtp_data(self, data, isproducer=False, file=None, cmd=None):
        if cmd == "LIST" and isproducer:
            lines = b"".join(iter(data.more, b"")).splitlines(keepends=True)
            data, isproducer = b"".join(self.changed(line) for line in lines), False
        return super().push_dtp_data(data, isproducer, file, cmd)


class OddLines(ChangesLines):
    """Lists one entry of a folder in a form of its own."""

    def changed(self, line):
        return b"?? strange ?? unlike anything\r\n" if line.rstrip().endswith(b"strange") else line


class ListsNoFiles(ChangesLines):
    """Knows no SIZE and shows folders only."""
    proto_cmds = without("MLSD", "MLST", "MFMT", "SIZE")

    def changed(self, line):
        return line if line.startswith(b"d") else b""


class Odd:
    """One such server in a thread of its own."""
    scheme = "ftp"

    def __init__(self, handler):
        self.name = handler.__name__
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="sync-torture-"))
        os.chmod(self.folder, 0o755)
        self.root = self.folder / "served"
        self.root.mkdir()
        authorizer = DummyAuthorizer()
        authorizer.add_user(servers.USER, servers.PASSWORD, str(self.root), perm="elradfmwMT")
        own = type(handler.__name__, (handler,), {"authorizer": authorizer, "use_sendfile": False,
                                                  "auth_failed_timeout": 0})
        self.loop = IOLoop()
        self.server = FTPServer(("127.0.0.1", 0), own, ioloop=self.loop)
        self.port = self.server.address[1]
        self.stopping = False
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        while not self.stopping:
            self.loop.loop(timeout=0.02, blocking=False)
        self.server.close_all()

    def end(self):
        self.stopping = True
        self.thread.join()
        shutil.rmtree(self.folder, ignore_errors=True)

    url = servers.Server.url
