#!/usr/bin/python3
"""Speaks SFTP on its standard streams, and badly: the path that is listed or asked for says how.

Run by the SSH server in the place of its own SFTP program.
"""
import struct
import sys

INIT, VERSION, CLOSE, OPENDIR, READDIR, STAT = 1, 2, 4, 11, 12, 17
STATUS, HANDLE, NAME, ATTRS = 101, 102, 104, 105
OK, EOF, UNSUPPORTED = 0, 1, 8


def text(value):
    value = value if isinstance(value, bytes) else value.encode()
    return struct.pack(">I", len(value)) + value


def attributes(mode=0o100644, size=5, time_of_day=1577836800):
    return struct.pack(">IQIIIII", 0xF, size, 0, 0, mode, time_of_day, time_of_day)


def entry(name, long_name=""):
    return text(name) + text(long_name) + attributes()


def names(count, *entries):
    return struct.pack(">I", count) + b"".join(entries)


def status(code):
    return struct.pack(">I", code) + text("words") + text("en")


def send(kind, number, body=b""):
    packet = struct.pack(">BI", kind, number) + body
    write(struct.pack(">I", len(packet)) + packet)


def write(raw):
    sys.stdout.buffer.write(raw)
    sys.stdout.buffer.flush()


GOOD = names(1, entry("first", "-rw-r--r-- 1 a b 5 Jan 1 2020 first"))

# What READDIR is answered with, one after the other; behind the last comes the end of the listing.
LISTINGS = {
    "more names than there are": [GOOD, names(9, entry("second"))],
    "a count of all ones": [GOOD, names(0xFFFFFFFF, entry("second"))],
    "a name longer than its packet": [GOOD, names(1, struct.pack(">I", 0x7FFFFFFF) + b"second")],
    "a name of all ones": [GOOD, names(1, struct.pack(">I", 0xFFFFFFFF) + b"second")],
    "a long name longer than its packet": [GOOD, names(1, text("second") + struct.pack(">I", 1 << 20))],
    "attributes that break off": [GOOD, names(1, text("second") + text("") + struct.pack(">IH", 0xF, 0))],
    "no attributes": [GOOD, names(1, text("second") + text(""))],
    "long names that are missing": [names(2, entry("first"), entry("sec;ond -> x"))],
    "long names of another form": [names(2, entry("first", "first"), entry("sec;ond -> x", "x" * 300))],
    "long names of other files": [names(2, entry("first", "-rw-r--r-- 1 a b 5 Jan 1 2020 other"),
                                        entry("sec;ond -> x", "drwxr-xr-x 1 a b 5 Jan 1 2020 sec;ond -> x"))],
    "very long names": [names(2, entry("n" * 120_000), entry("m" * 120_000))],
    "nothing": [],
}


def main():
    place, position = "", 0
    while True:
        head = sys.stdin.buffer.read(4)
        if len(head) < 4:
            return
        packet = sys.stdin.buffer.read(struct.unpack(">I", head)[0])
        kind = packet[0]
        if kind == INIT:
            send(VERSION, 3)
            continue
        number = struct.unpack(">I", packet[1:5])[0]
        path = packet[9:].decode()
        if kind == OPENDIR:
            place, position = path.strip("/"), 0
            send(HANDLE, number, text("handle"))
        elif kind == CLOSE:
            send(STATUS, number, status(OK))
        elif kind == STAT and path == "/good":
            send(ATTRS, number, attributes())
        elif kind in (STAT, READDIR):
            misbehave(kind, path.strip("/") if kind == STAT else place, number, position)
            position += 1
        else:
            send(STATUS, number, status(UNSUPPORTED))


def misbehave(kind, manner, number, position):
    if kind == READDIR and manner in LISTINGS:
        pieces = LISTINGS[manner]
        if position < len(pieces):
            send(NAME, number, pieces[position])
        else:
            send(STATUS, number, status(EOF))
    elif kind == READDIR and position == 0:
        send(NAME, number, GOOD)
    elif manner == "a status that breaks off":
        send(STATUS, number, b"\0\0")
    elif manner == "an unknown kind of packet":
        send(77, number, b"what is this?")
    elif manner == "an answer to another question":
        send(STATUS, number + 1000, status(EOF))
    elif manner == "a packet of two gigabytes":
        write(struct.pack(">I", 0x7FFFFFFF) + b"x" * 1000)
    elif manner == "an empty packet":
        write(struct.pack(">I", 0) * 3)
    elif manner == "half a packet and the end":
        write(struct.pack(">IB", 1000, NAME) + b"x" * 100)
        sys.exit()
    elif manner == "half a packet and silence":
        write(struct.pack(">IB", 1000, NAME) + b"x" * 100)
    elif manner == "the end":
        sys.exit()
    elif manner == "attributes that break off":
        send(ATTRS, number, struct.pack(">IH", 0xF, 0))
    elif manner == "attributes without a field":
        send(ATTRS, number, struct.pack(">I", 0))
    else:
        send(STATUS, number, status(EOF))


main()
