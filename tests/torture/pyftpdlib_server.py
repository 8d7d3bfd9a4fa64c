"""An FTP server made of pyftpdlib as it comes. Arguments: PORT FOLDER UID GID USER PASSWORD [list-only]"""
import logging
import os
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer

port, folder, uid, gid, user, password, *options = sys.argv[1:]
logging.basicConfig(stream=sys.stderr, level=logging.WARNING)
authorizer = DummyAuthorizer()
authorizer.add_user(user, password, folder, perm="elradfmwMT")


class Handler(FTPHandler):
    auth_failed_timeout = 0


Handler.authorizer = authorizer
if "list-only" in options:
    Handler.proto_cmds = {name: what for name, what in FTPHandler.proto_cmds.items()
                          if name not in ("MLSD", "MLST", "MFMT")}
server = FTPServer(("127.0.0.1", int(port)), Handler)
if os.geteuid() == 0:
    os.setgroups([])
    os.setgid(int(gid))
    os.setuid(int(uid))
server.serve_forever()
