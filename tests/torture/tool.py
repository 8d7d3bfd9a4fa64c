"""Runs the command-line host: a copy of it, as a user of its own, with limits."""
import ctypes
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import time

import servers

LIMIT = 150  # seconds that no run may take; the tool's own limit for one operation is far below
OPERATION_LIMIT = 30
STALLED_LIMIT = 5  # where a connection is going to stall
PR_SET_PDEATHSIG = 1
SANITIZERS = ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS")
libc = ctypes.CDLL(None)


class Result:
    """What a run left behind. `code` is negative when a signal ended it, None when it hung."""

    def __init__(self, code, out, err, seconds):
        self.code, self.out, self.err, self.seconds = code, out, err, seconds


class Run:
    """One run that may still be going on."""

    def __init__(self, process, folder, number):
        self.process, self.folder, self.number = process, folder, number
        self.begin = time.monotonic()
        self.disturbed = None  # how it was interfered with

    def signal(self, number):
        if self.process.poll() is None:
            self.process.send_signal(number)

    def wait(self, limit=LIMIT):
        try:
            code = self.process.wait(limit)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            code = None
        out, err = ((self.folder / f"{kind}{self.number}").read_bytes() for kind in ("out", "err"))
        return Result(code, out, err, time.monotonic() - self.begin)


class Tool:
    """Copies the program into `folder`, so that building it anew does not disturb the runs."""

    def __init__(self, build, folder):
        self.folder = pathlib.Path(folder)
        for name in ("ftp-host", "ftp.so"):
            shutil.copy(pathlib.Path(build) / name, self.folder / name)
            os.chmod(self.folder / name, 0o755)
        self.runs = 0
        self.gets_in_parallel = b"--parallel" in self.run(["get", "--help"]).out

    def start(self, arguments, limit=OPERATION_LIMIT, file_size=None, locale="C.UTF-8"):
        """`limit`: seconds that the tool waits for one operation; `file_size`: no file of the tool may grow beyond
        so many bytes."""
        self.runs += 1
        number = self.runs % 16
        uid, gid = servers.server_ids()

        def limits():
            libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if file_size is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (file_size, file_size))

        environment = {"PATH": "/usr/bin:/bin", "FTP_PASSWORD": servers.PASSWORD, "LC_ALL": locale,
                       "HOME": "/nonexistent", "TZ": "UTC"}
        environment |= {name: os.environ[name] for name in SANITIZERS if name in os.environ}
        command = [str(self.folder / "ftp-host"), "--timeout", str(limit), *arguments]
        user = {"user": uid, "group": gid, "extra_groups": []} if servers.is_root() else {}
        with open(self.folder / f"out{number}", "wb") as out, open(self.folder / f"err{number}", "wb") as err:
            # A full disk is told as an error and not by a signal: SIGXFSZ stays ignored.
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=err, cwd="/",
                                       env=environment, preexec_fn=limits, restore_signals=file_size is None, **user)
        return Run(process, self.folder, number)

    def run(self, arguments, **more):
        return self.start(arguments, **more).wait()
