"""An FTP server made of pyftpdlib. Arguments: HOST PORT FIRST-DATA-PORT LAST-DATA-PORT FOLDER UID GID USER
PASSWORD [CERTIFICATE-AND-KEY]; with a certificate it offers explicit TLS."""
import logging
import os
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, TLS_DTPHandler, TLS_FTPHandler
from pyftpdlib.servers import FTPServer

host, port, first, last, folder, uid, gid, user, password, *certificate = sys.argv[1:]
logging.basicConfig(stream=sys.stderr, level=logging.DEBUG)


class PatientDataHandler(TLS_DTPHandler):
    """Bears a client that begins its TLS handshake before it says what to transfer; the class above takes that
    for a disconnection."""

    def readable(self):
        return self._ssl_accepting or self._ssl_want_read or self.receive


authorizer = DummyAuthorizer()
authorizer.add_user(user, password, folder, perm="elradfmwMT")
handler = TLS_FTPHandler if certificate else FTPHandler
handler.authorizer = authorizer
handler.passive_ports = range(int(first), int(last) + 1)
handler.auth_failed_timeout = 0
if certificate:
    handler.dtp_handler = PatientDataHandler
    handler.certfile = certificate[0]
    handler.ssl_context = handler.get_ssl_context()

server = FTPServer((host, int(port)), handler)
server.max_cons = server.max_cons_per_ip = 300
if os.geteuid() == 0:
    os.setgroups([])
    os.setgid(int(gid))
    os.setuid(int(uid))
server.serve_forever()
