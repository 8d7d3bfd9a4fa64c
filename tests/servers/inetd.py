"""Runs a program for every connection, on its standard input and output, for servers that cannot listen
themselves. Arguments: HOST PORT PROGRAM ARGUMENT..."""
import signal
import socket
import subprocess
import sys

host, port, *command = sys.argv[1:]
signal.signal(signal.SIGCHLD, signal.SIG_IGN)
family = socket.AF_INET6 if ":" in host else socket.AF_INET
listener = socket.create_server((host, int(port)), family=family, backlog=100)
while True:
    client, _ = listener.accept()
    with client:
        subprocess.Popen(command, stdin=client, stdout=client)
