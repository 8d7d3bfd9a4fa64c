#!/usr/bin/env python3
"""Holds the direction of the includes: plugin -> protocol -> fileops, listing -> transport/pool ->
transport/{request,ftp,sftp} -> transport -> common, with boundary/ below all of them.

usage: check_includes.py ROOT

Prints "file:line: reason" for every include that runs against the table below, and then exits with 1.
Tests, benchmarks and fuzz targets may look at everything and are not in the table.
"""

import pathlib
import re
import sys

# What everybody may use.
LEAVES = ("boundary/",)

SHARED = ("transport/*",)  # what the rooms of transport/ share

BELOW = ("transport/", "common/")  # what the operations stand on

# The operations of listing/: everything else there is a parser.
LISTING_OPERATIONS = r"(read_dir|list_directory|sftp_line|sftp_listing)"

LIBCURL = ("curl/", "libssh2", "event2/")
NOTHING = ()

# The first row whose pattern fits a file decides: what it may include, and which libraries it may not.
# A text ending in "/" stands for a folder with all below it, one ending in "/*" for the files of that folder
# alone, every other one for a file.
TABLE = (
    # A host is built from these alone.
    (r"boundary/abi/.*", ("boundary/abi/",), LIBCURL + ("json/",)),
    (r"boundary/.*", ("boundary/",), LIBCURL + ("json/",)),
    (r"plugin/exports\.cpp", LEAVES + ("protocol/",), NOTHING),
    (r"common/.*", ("common/",) + LEAVES, LIBCURL),
    (r"transport/pool/.*", ("transport/", "common/") + LEAVES, NOTHING),
    (r"transport/request/.*", ("transport/request/", "common/") + SHARED + LEAVES, NOTHING),
    (r"transport/ftp/.*", ("transport/ftp/", "common/") + SHARED + LEAVES, NOTHING),
    (r"transport/sftp/.*", ("transport/sftp/", "common/") + SHARED + LEAVES, NOTHING),
    (r"transport/.*", SHARED + ("common/",) + LEAVES, NOTHING),
    (rf"listing/{LISTING_OPERATIONS}\.(h|cpp)", ("listing/",) + BELOW + LEAVES, NOTHING),
    # The parsers know no connection.
    (r"listing/.*", ("listing/", "common/") + LEAVES, LIBCURL),
    (r"fileops/.*", ("fileops/",) + BELOW + LEAVES, NOTHING),
    (r"protocol/.*", ("protocol/", "fileops/", "listing/") + BELOW + LEAVES, NOTHING),
    # Proves that the boundary suffices.
    (r"host/cli/.*", ("host/", "boundary/abi/"), LIBCURL),
    (
        r"host/copy/.*",
        ("host/copy/", "host/remote/", "host/local/", "host/tree/", "host/*", "boundary/abi/"),
        LIBCURL,
    ),
    (r"host/remote/.*", ("host/remote/", "host/tree/", "host/*", "boundary/abi/"), LIBCURL),
    (r"host/local/.*", ("host/local/", "host/tree/", "host/*"), LIBCURL),
    (r"host/tree/.*", ("host/tree/", "host/*"), LIBCURL),
    (r"host/.*", ("host/*", "boundary/abi/"), LIBCURL),
)

FOLDERS = ("plugin", "boundary", "common", "transport", "listing", "fileops", "protocol", "host")
SOURCES = {".h", ".cpp", ".def"}
INCLUDE = re.compile(r"^\s*#\s*include(?:_next)?\b\s*(.*)$")
QUOTED = re.compile(r'"([^"]+)"')
ANGLED = re.compile(r"<([^>]+)>")


def without_comments(text):
    """The text with every comment blanked out; lines stay where they are."""
    blank = lambda found: found[0] if found[0].startswith('"') else re.sub(r"[^\n]", " ", found[0])
    return re.sub(r'"(?:\\.|[^"\\\n])*"|//[^\n]*|/\*.*?\*/', blank, text, flags=re.DOTALL)


def row_of(name):
    """Row of the table for a file, given by its path from the root."""
    for pattern, allowed, forbidden in TABLE:
        if re.fullmatch(pattern, name):
            return allowed, forbidden
    raise LookupError(f"{name} fits no row of the table")


def covered(name, allowed):
    """Whether an entry stands for the file: its folder ("a/"), just that folder ("a/*") or the file itself."""
    folder = name.rpartition("/")[0] + "/*"
    return any(name.startswith(entry) if entry.endswith("/") else entry in (name, folder) for entry in allowed)


def reason_against(root, name, argument):
    """Why the file `name` must not include `argument`; None when it may."""
    allowed, forbidden = row_of(name)
    if angled := ANGLED.match(argument):
        library = next((start for start in forbidden if angled[1].startswith(start)), None)
        if library is not None:
            return f"<{angled[1]}> is not for this file"
        if (root / angled[1]).is_file():
            return f"<{angled[1]}> is a file of this project: write it in quotes"
        return None
    quoted = QUOTED.match(argument)
    if not quoted:
        return f"cannot tell what '{argument}' includes"
    # Beside the including file first, as the compiler looks, then from the root.
    beside = (pathlib.PurePosixPath(name).parent / quoted[1]).as_posix()
    if ".." in pathlib.PurePosixPath(quoted[1]).parts:
        return f'"{quoted[1]}" climbs: write the path from the root'
    target = beside if (root / beside).is_file() else quoted[1]
    if not (root / target).is_file():
        return f'"{quoted[1]}" is no file of this project'
    if not covered(target, allowed):
        return f'"{target}" runs against the direction of the includes'
    return None


def broken_includes(root):
    """All findings as "file:line: reason"."""
    findings = []
    for folder in FOLDERS:
        files = sorted(path for path in (root / folder).rglob("*") if path.suffix in SOURCES)
        if not files:
            findings.append(f"{folder}/:1: no sources found; is this the root of the project?")
        for path in files:
            name = path.relative_to(root).as_posix()
            text = without_comments(path.read_text(encoding="utf-8"))
            for number, line in enumerate(text.splitlines(), 1):
                if found := INCLUDE.match(line):
                    if reason := reason_against(root, name, found[1].strip()):
                        findings.append(f"{name}:{number}: {reason}")
    return findings


def main(arguments):
    if len(arguments) != 2:
        sys.exit(__doc__)
    findings = broken_includes(pathlib.Path(arguments[1]).resolve())
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
