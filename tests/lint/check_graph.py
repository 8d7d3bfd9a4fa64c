#!/usr/bin/env python3
"""Draws the graph of the rooms (folders that hold sources) from the includes and holds it to be a ladder.

usage: check_graph.py ROOT [--draw]

Prints "room -> other: reason (file:line)" for every arrow that does not lead down, and one circle where there
are any, and then exits with 1. With --draw it prints every arrow and how many includes it stands for.
"""

import graphlib
import pathlib
import sys

from check_includes import FOLDERS, INCLUDE, QUOTED, SOURCES, without_comments

# From the bottom up. Rooms of one rung do not know each other. Rooms that stand on no rung (those of host/)
# may look at each other as long as they form no circle, and of the rungs at boundary/abi alone.
LADDER = (
    ("boundary/abi",),
    ("boundary",),
    ("common",),
    ("transport",),
    ("transport/request", "transport/ftp", "transport/sftp"),
    ("transport/pool",),
    ("fileops", "listing"),
    ("protocol",),
    ("plugin",),
)
RUNG = {room: rung for rung, rooms in enumerate(LADDER) for room in rooms}
BESIDE = "host"
SEEN_FROM_BESIDE = "boundary/abi"


def arrows(root):
    """Every arrow between two rooms: (room, other room) -> list of "file:line"."""
    found = {}
    for folder in FOLDERS:
        for path in sorted(path for path in (root / folder).rglob("*") if path.suffix in SOURCES):
            name = path.relative_to(root)
            room = name.parent.as_posix()
            lines = without_comments(path.read_text(encoding="utf-8")).splitlines()
            for number, line in enumerate(lines, 1):
                include = INCLUDE.match(line)
                quoted = include and QUOTED.match(include[1].strip())
                if not quoted:
                    continue
                beside = (root / room / quoted[1]).is_file()
                other = room if beside else pathlib.PurePosixPath(quoted[1]).parent.as_posix()
                if other != room:
                    found.setdefault((room, other), []).append(f"{name.as_posix()}:{number}")
    return found


def is_beside(room):
    return room == BESIDE or room.startswith(BESIDE + "/")


def reason_against(room, other):
    """Why there must be no arrow from `room` to `other`; None when there may be one."""
    if is_beside(room):
        return None if is_beside(other) or other == SEEN_FROM_BESIDE else "host/ knows boundary/abi/ only"
    for one in (room, other):
        if one not in RUNG:
            return f"{one}/ stands on no rung of the ladder"
    if RUNG[other] == RUNG[room]:
        return "the two stand side by side"
    return "the arrow runs up" if RUNG[other] > RUNG[room] else None


def circle(edges):
    """A circle as the rooms that one comes through, the first of them once more at the end; [] for none."""
    sorter = graphlib.TopologicalSorter()
    for room, other in edges:
        sorter.add(other, room)  # so that a circle is told in the order of its arrows
    try:
        sorter.prepare()
    except graphlib.CycleError as error:
        return error.args[1]
    return []


def findings(root):
    edges = arrows(root)
    problems = [
        f"{room} -> {other}: {reason} ({', '.join(places)})"
        for (room, other), places in sorted(edges.items())
        if (reason := reason_against(room, other))
    ]
    if way := circle(sorted(edges)):
        problems.append(f"{' -> '.join(way)}: a circle")
    return problems


def main(arguments):
    if len(arguments) not in (2, 3) or arguments[2:] not in ([], ["--draw"]):
        sys.exit(__doc__)
    root = pathlib.Path(arguments[1]).resolve()
    if arguments[2:]:
        for (room, other), places in sorted(arrows(root).items()):
            print(f"{room} -> {other}: {len(places)}")
    problems = findings(root)
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
