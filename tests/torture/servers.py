"""Real servers for the torture: each on a port of its own, with its configuration and its files in a temporary
folder, at its default limits. A server can be ended at any moment and started again on the same port.

Every daemon runs under daemon_guard, which ends it and all its sessions when this process is gone.
"""
import functools
import os
import pathlib
import pwd
import random
import shutil
import signal
import socket
import subprocess
import tempfile
import time

SOURCES = pathlib.Path(__file__).resolve().parents[2]
DAEMONS = SOURCES / ".cache" / "daemons" / "root"
HERE = pathlib.Path(__file__).resolve().parent
USER = "tester"
PASSWORD = "torture-1"
# Below the range from which the system takes the ports of its own choice, and beside that of the live tests.
PORTS = range(10000, 20000)
DATA_PORTS = (49200, 65500)
START_LIMIT = 30


class Missing(Exception):
    """What a server needs is not there."""


def is_root():
    return os.geteuid() == 0


def server_ids():
    """User and group that serve the files."""
    if not is_root():
        return os.getuid(), os.getgid()
    nobody = pwd.getpwnam("nobody")
    return nobody.pw_uid, nobody.pw_gid


def hand_over(path):
    """Gives `path` and everything below it to the servers' user."""
    if not is_root():
        return
    uid, gid = server_ids()
    os.chown(path, uid, gid, follow_symlinks=False)
    for at, folders, files in os.walk(os.fsencode(path)):
        for name in folders + files:
            os.chown(os.path.join(at, name), uid, gid, follow_symlinks=False)


def children_of(pid):
    try:
        return [int(word) for word in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except OSError:
        return []


def descendants_of(pid):
    found = children_of(pid)
    for child in found:
        found.extend(children_of(child))
    return found


@functools.cache
def helper(build, name):
    """A program or library that the build made for the tests; the build may be one of several."""
    for folder in [pathlib.Path(build), *sorted((SOURCES / "build").glob("*"))]:
        for found in folder.rglob(name):
            return found
    raise Missing(f"{name} is not built (target test-servers)")


def free_port():
    for _ in range(1000):
        port = random.SystemRandom().choice(PORTS)
        with socket.socket() as probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            try:
                probe.bind(("127.0.0.1", port))
                return port
            except OSError:
                pass
    raise Missing("no free port")


class Server:
    """One server that serves the folder `root`. What it can do is in the attributes of its class."""
    scheme = "ftp"
    takes_times = True   # MFMT
    hides_dots = False   # names with a leading dot are not listed
    listing = "MLSD"
    needs_root = False
    preload = False      # the user exists for this server alone

    def __init__(self, build, zone="UTC"):
        if self.needs_root and not is_root():
            raise Missing(f"{self.name} starts as root only")
        self.build = build
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="sync-torture-"))
        os.chmod(self.folder, 0o755)
        self.root = self.folder / "served"
        self.root.mkdir()
        hand_over(self.root)
        self.log = self.folder / "log"
        self.log.touch()
        os.chmod(self.log, 0o666)
        self.environment = {"PATH": "/usr/bin:/bin", "TZ": zone, "LC_ALL": "C.UTF-8"}
        self.guard = None
        self.port = free_port()
        try:
            self.prepare()
            self.start()
        except BaseException:
            self.end()
            raise

    def prepare(self):
        """Writes the configuration."""

    def command(self):
        raise NotImplementedError

    def daemon(self, path):
        if not (DAEMONS / path).exists():
            raise Missing(f"{path} is not there; scripts/fetch-daemons unpacks it")
        return str(DAEMONS / path)

    def write(self, name, text, mode=0o644):
        path = self.folder / name
        path.write_text(text)
        os.chmod(path, mode)
        return path

    def start(self):
        environment = dict(self.environment)
        if not isinstance(self, Pyftpdlib):
            environment["LD_LIBRARY_PATH"] = str(next((DAEMONS / "usr/lib").glob("*-linux-gnu")))
        if self.preload:
            environment |= {"LD_PRELOAD": str(helper(self.build, "liblogin_preload.so")),
                            "LIVE_TEST_USER": USER, "LIVE_TEST_PASSWORD": PASSWORD,
                            "LIVE_TEST_HOME": str(self.root)}
        command = [str(helper(self.build, "daemon_guard")), str(self.folder), str(self.log), *self.command()]
        self.life, input_end = socket.socketpair()
        self.guard = subprocess.Popen(command, stdin=input_end, env=environment, start_new_session=True)
        input_end.close()
        limit = time.monotonic() + START_LIMIT
        while not self.answers():
            if self.guard.poll() is not None or time.monotonic() > limit:
                raise Missing(f"{self.name} does not start:\n{self.log.read_text(errors='replace')[-2000:]}")
            time.sleep(0.01)

    def answers(self):
        with socket.socket() as client:
            client.settimeout(1)
            try:
                client.connect(("127.0.0.1", self.port))
                return bool(client.recv(1))
            except OSError:
                return False

    def kill_sessions(self):
        """Ends what serves the connections that are open; the server goes on listening."""
        main = children_of(self.guard.pid)
        for session in [pid for one in main for pid in descendants_of(one)]:
            try:
                os.kill(session, signal.SIGKILL)
            except ProcessLookupError:
                pass

    def stop(self):
        """Ends the server and its sessions at once."""
        if self.guard is None:
            return
        for pid in descendants_of(self.guard.pid):
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        try:
            self.life.send(b"q")  # without a word it would remove the folder
        except OSError:
            pass
        self.life.close()
        self.guard.wait()
        self.guard = None

    def restart(self):
        self.stop()
        self.start()

    def end(self):
        self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)

    def url(self, port, path):
        """`path` is below the served root; `port` may be that of a relay."""
        at = "".join(chr(b) if chr(b).isalnum() or b in b"/._-" else "%%%02X" % b for b in os.fsencode(path))
        return f"{self.scheme}://{USER}@127.0.0.1:{port}/{at}"


class ProFtpd(Server):
    name = "proftpd"
    facts = True

    def prepare(self):
        import crypt
        uid, gid = server_ids()
        self.write("users", f"{USER}:{crypt.crypt(PASSWORD)}:{uid}:{gid}::{self.root}:/bin/sh\n", 0o600)
        root = "User nobody\nGroup nogroup\nDefaultRoot ~\n" if is_root() else ""
        facts = "" if self.facts else "FactsAdvertise off\n<Limit MLSD MLST MFMT MFF OPTS_MLST>\nDenyAll\n</Limit>\n"
        self.write("config", f"""ModulePath "{DAEMONS}/usr/lib/proftpd"
ServerName torture
ServerType standalone
UseIPv6 off
DefaultAddress 127.0.0.1
SocketBindTight on
Port {self.port}
PassivePorts {DATA_PORTS[0]} {DATA_PORTS[1]}
UseReverseDNS off
DelayTable none
ControlsEngine off
WtmpLog off
TransferLog none
PidFile "{self.folder}/pid"
ScoreboardFile "{self.folder}/scoreboard"
SystemLog "{self.folder}/system"
AuthOrder mod_auth_file.c
AuthPAM off
AuthUserFile "{self.folder}/users"
RequireValidShell off
AllowOverwrite on
AllowStoreRestart on
{root}{facts}""")

    def command(self):
        return [self.daemon("usr/sbin/proftpd"), "-n", "-c", str(self.folder / "config")]


class ProFtpdList(ProFtpd):
    name = "proftpd-list"
    facts = False
    takes_times = False
    hides_dots = True
    listing = "LIST"


class Vsftpd(Server):
    name = "vsftpd"
    needs_root = True
    preload = True
    takes_times = False
    listing = "LIST"
    force_dot_files = "YES"

    def prepare(self):
        (self.folder / "empty").mkdir()
        self.write("config", f"""listen=YES
listen_ipv6=NO
listen_address=127.0.0.1
listen_port={self.port}
background=NO
pasv_min_port={DATA_PORTS[0]}
pasv_max_port={DATA_PORTS[1]}
anonymous_enable=NO
local_enable=YES
write_enable=YES
local_umask=022
chroot_local_user=YES
allow_writeable_chroot=YES
secure_chroot_dir={self.folder}/empty
nopriv_user=nobody
pam_service_name=live-test
session_support=NO
seccomp_sandbox=NO
isolate=NO
isolate_network=NO
connect_from_port_20=NO
xferlog_enable=NO
force_dot_files={self.force_dot_files}
""")

    def command(self):
        return [self.daemon("usr/sbin/vsftpd"), str(self.folder / "config")]


class VsftpdHidesDots(Vsftpd):
    name = "vsftpd-hides-dots"
    force_dot_files = "NO"
    hides_dots = True


class PureFtpd(Server):
    name = "pure-ftpd"
    needs_root = True

    def prepare(self):
        import crypt
        uid, gid = server_ids()
        self.write("users", f"{USER}:{crypt.crypt(PASSWORD)}:{uid}:{gid}::{self.root}/./::::::::::::\n", 0o600)
        libraries = next((DAEMONS / "usr/lib").glob("*-linux-gnu"))
        subprocess.run([self.daemon("usr/bin/pure-pw"), "mkdb", str(self.folder / "users.pdb"), "-f",
                        str(self.folder / "users")], env={"LD_LIBRARY_PATH": str(libraries)}, check=True,
                       stdout=subprocess.DEVNULL)

    def command(self):
        return [self.daemon("usr/sbin/pure-ftpd"), f"--bind=127.0.0.1,{self.port}",
                f"--login=puredb:{self.folder}/users.pdb", f"--pidfile={self.folder}/pid",
                f"--passiveportrange={DATA_PORTS[0]}:{DATA_PORTS[1]}", "--syslogfacility=none", "--noanonymous",
                "--chrooteveryone", "--dontresolve", "--minuid=1"]


class Pyftpdlib(Server):
    name = "pyftpdlib"
    options = ()

    def command(self):
        uid, gid = server_ids()
        return ["/usr/bin/python3", "-W", "ignore", str(HERE / "pyftpdlib_server.py"), str(self.port),
                str(self.root), str(uid), str(gid), USER, PASSWORD, *self.options]


class PyftpdlibList(Pyftpdlib):
    name = "pyftpdlib-list"
    options = ("list-only",)
    takes_times = False
    listing = "LIST"


class Sftp(Server):
    name = "sftp"
    scheme = "sftp"
    takes_times = False
    preload = True
    listing = "SFTP"

    def prepare(self):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", str(self.folder / "key")], check=True)
        # Its own user may not be allowed to go where the sources are.
        shutil.copy(self.daemon("usr/sbin/sshd"), self.folder / "sshd")
        self.write("config", f"""ListenAddress 127.0.0.1
Port {self.port}
HostKey {self.folder}/key
PidFile none
StrictModes no
UseDNS no
UsePAM yes
PasswordAuthentication yes
KbdInteractiveAuthentication no
MaxStartups 100
Subsystem sftp internal-sftp
""")
        hand_over(self.folder)

    def command(self):
        uid, gid = server_ids()
        change = ["/usr/bin/setpriv", f"--reuid={uid}", f"--regid={gid}", "--clear-groups"] if is_root() else []
        return [*change, str(self.folder / "sshd"), "-D", "-e", "-f", str(self.folder / "config")]

    def url(self, port, path):
        return super().url(port, str(self.root)[1:] + "/" + path)


KINDS = {kind.name: kind for kind in (ProFtpd, ProFtpdList, Vsftpd, VsftpdHidesDots, PureFtpd, Pyftpdlib,
                                      PyftpdlibList, Sftp)}
