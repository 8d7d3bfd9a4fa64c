"""Trees on disk: making them from operations, and looking at them.

A path is a tuple of names, a name is bytes. In operations (which may be written down as JSON) a name is text with
one character for each byte.
"""
import collections
import hashlib
import os
import random
import shutil
import stat

Entry = collections.namedtuple("Entry", "kind size digest mtime mode link")  # mtime in nanoseconds

OLDEST = 1_000_000_000


def content(seed, size):
    return random.Random(seed).randbytes(size)


def digest_of(data):
    return hashlib.sha1(data).hexdigest()


def names_of(path):
    return tuple(name.encode("latin-1") for name in path)


def place(root, path):
    return os.path.join(os.fsencode(root), *path)


def look_at(full):
    """The entry at `full`, or None."""
    try:
        status = os.lstat(full)
    except (FileNotFoundError, NotADirectoryError):
        return None
    mode = stat.S_IMODE(status.st_mode)
    if stat.S_ISDIR(status.st_mode):
        return Entry("folder", 0, "", 0, mode, b"")
    if stat.S_ISLNK(status.st_mode):
        return Entry("link", 0, "", 0, 0, os.readlink(full))
    if not stat.S_ISREG(status.st_mode):
        return Entry("special", 0, "", 0, mode, b"")
    try:
        with open(full, "rb") as file:
            data = file.read()
    except FileNotFoundError:
        return None
    return Entry("file", len(data), digest_of(data), status.st_mtime_ns, mode, b"")


def snapshot(root):
    """Everything below `root`: a dictionary of paths. Links are not followed. Rights are set aside when the
    looker is not root."""
    found = {}

    def walk(full, path):
        if os.geteuid() != 0:
            os.chmod(full, 0o755)
        for name in sorted(os.listdir(full)):
            entry = look_at(os.path.join(full, name))
            if entry is None:
                continue
            found[path + (name,)] = entry
            if entry.kind == "folder":
                walk(os.path.join(full, name), path + (name,))

    if os.path.isdir(os.fsencode(root)):
        walk(os.fsencode(root), ())
    return found


def remove(full):
    if os.path.islink(full) or not os.path.isdir(full):
        if os.path.lexists(full):
            os.unlink(full)
    else:
        shutil.rmtree(full)


def apply(root, operation, owner):
    """Carries one operation out below `root`; files and folders belong to `owner`, a pair of ids. One that makes
    no sense in the tree as it is does nothing: other operations may have been left out."""
    path = names_of(operation["path"])
    full = place(root, path)
    kind = operation["op"]
    try:
        if kind == "remove":
            remove(full)
            return
        if kind == "mode":
            os.chmod(full, operation["mode"])
            return
        make_folders(root, path[:-1], owner)
        if kind == "folder":
            make_folders(root, path, owner)
        elif kind == "link":
            if not os.path.lexists(full):
                os.symlink(operation["to"].encode("latin-1"), full)
                own(full, owner)
        elif kind == "special":
            if not os.path.lexists(full):
                os.mkfifo(full, 0o644)
                own(full, owner)
        elif kind == "many":
            make_folders(root, path, owner)
            for name in many_names(operation):
                empty = os.path.join(full, name)
                os.close(os.open(empty, os.O_CREAT | os.O_EXCL, 0o644))
                own(empty, owner)
                os.utime(empty, (operation["mtime"], operation["mtime"]))
        elif kind == "file":
            write_file(root, full, operation, owner)
        else:
            raise ValueError(kind)
    except (FileNotFoundError, NotADirectoryError, IsADirectoryError, FileExistsError):
        pass


def many_names(operation):
    return [b"%s-%05d" % (operation["tag"].encode(), number) for number in range(operation["count"])]


def own(full, owner):
    if os.geteuid() == 0:
        os.chown(full, *owner, follow_symlinks=False)


def make_folders(root, path, owner):
    for depth in range(len(path) + 1):
        full = place(root, path[:depth])
        if not os.path.isdir(full):
            os.mkdir(full, 0o755)
            own(full, owner)


def write_file(root, full, operation, owner):
    """The whole new content appears at once; "in place" writes into the file that is there."""
    if os.path.isdir(full) and not os.path.islink(full):
        return
    data = content(operation["seed"], operation["size"])
    if operation.get("in_place") and os.path.isfile(full):
        with open(full, "r+b") as file:
            file.write(data)
            file.truncate(len(data))
        return
    beside = os.path.join(os.path.dirname(os.fsencode(root)), b"new-file")
    with open(beside, "wb") as file:
        file.write(data)
    os.chmod(beside, 0o644)
    own(beside, owner)
    if operation.get("mtime") is not None:
        os.utime(beside, (operation["mtime"], operation["mtime"]))
    os.replace(beside, full)


def restore_rights(root):
    """Gives the owner back what was taken away."""
    if not os.path.isdir(os.fsencode(root)):
        return
    os.chmod(root, 0o755)
    for at, folders, files in os.walk(os.fsencode(root)):
        for name in folders + files:
            full = os.path.join(at, name)
            if not os.path.islink(full):
                os.chmod(full, 0o755 if os.path.isdir(full) else 0o644)


def drop(root):
    """Removes `root` with everything below it."""
    if os.geteuid() != 0:
        restore_rights(root)
    shutil.rmtree(os.fsencode(root), ignore_errors=True)
