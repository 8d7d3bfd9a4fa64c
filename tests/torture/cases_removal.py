"""Directed scenarios: what is removed, when, and how it is known."""
import os

import odd_servers
import trees
from stage import OLD, Stage, check

CASES = {}


def scenario(*servers):
    """Adds a scenario; of several servers each makes one of its own, called NAME:SERVER."""
    def add(function):
        for server in servers:
            label = server if isinstance(server, str) else server.__name__
            name = function.__name__ if len(servers) == 1 else f"{function.__name__}:{label}"
            CASES[name] = (function, server)
        return function
    return add


MANY = 10_012


@scenario("pure-ftpd")
def listing_cut_at_the_servers_limit(build, server):
    """Pure-FTPd lists 10,000 entries and says so in its last reply: the other files are there all the same."""
    with Stage(build, server, up=False) as stage:
        for number in range(MANY):
            stage.file("both", "f%05d" % number)
        result = stage.sync()
        left = len(stage.names("target"))
        check(left == MANY, f"{MANY - left} local files were removed that the server has")
        check(result.code != 0, "exit code 0 although the listing was cut")


@scenario("pure-ftpd")
def listing_cut_below_a_folder(build, server):
    """The same in a folder below, and other folders are synchronised."""
    with Stage(build, server, up=False) as stage:
        for number in range(MANY):
            stage.file("both", "sub/f%05d" % number)
        stage.file("source", "other/new", b"new")
        result = stage.sync()
        check(len(stage.names("target", "sub")) == MANY, "local files were removed that the server has")
        check(stage.read("target", "other/new") == b"new", "the other folder was not copied")
        check(result.code != 0, "exit code 0 although a listing was cut")


def last_reply(stage, text):
    """Replaces what the server says behind a listing."""
    listing = False

    def rule(line):
        nonlocal listing
        if line.startswith(b"150"):
            listing = bool(stage.relay.commands) and stage.relay.commands[-1][:4] in (b"LIST", b"MLSD")
        if listing and line.startswith(b"226"):
            listing = False
            return b"226 " + text + b"\r\n"
        return line

    stage.relay.reply_rule = rule


@scenario("proftpd", "vsftpd")
def listing_whose_last_reply_doubts_it(build, server):
    with Stage(build, server, up=False) as stage:
        for text in (b"Output truncated to 2000 matches", b"Transfer done (but failed to open directory).",
                     b"Partial listing sent", b"Listing incomplete: too many files"):
            stage.again()
            stage.file("both", "there")
            stage.file("target", "unlisted")
            last_reply(stage, text)
            result = stage.sync()
            check(stage.read("target", "unlisted") is not None, f"removed behind {text!r}")
            check(result.code != 0, f"exit code 0 behind {text!r}")


@scenario("proftpd", "proftpd-list", "vsftpd", "pure-ftpd", "pyftpdlib", "pyftpdlib-list", "sftp")
def folder_that_may_not_be_searched(build, server):
    """A folder with r and without x: its names may be listed or not, and what is behind them is not told."""
    with Stage(build, server, up=False) as stage:
        for number in range(50):
            stage.file("both", "sub/f%02d" % number, b"data")
        os.chmod(stage.full("source", "sub"), 0o444)
        result = stage.sync()
        left = len(stage.names("target", "sub")) if os.path.isdir(stage.full("target", "sub")) else 0
        check(left == 50, f"{50 - left} of 50 local files were removed")
        check(result.code != 0, "exit code 0 although a folder could not be read")


@scenario("proftpd", "proftpd-list", "vsftpd", "pure-ftpd", "pyftpdlib", "pyftpdlib-list", "sftp")
def folder_in_brackets_that_may_not_be_searched(build, server):
    """Such a folder is listed another way."""
    for mode in (0o444, 0o000):
        with Stage(build, server, up=False) as stage:
            for number in range(50):
                stage.file("both", "x[1]/sub/f%02d" % number, b"data")
            os.chmod(stage.full("source", "x[1]/sub"), mode)
            result = stage.sync()
            left = len(stage.names("target", "x[1]/sub")) if os.path.isdir(stage.full("target", "x[1]/sub")) else 0
            check(left == 50, f"{50 - left} of 50 local files were removed, mode {mode:o}, exit code {result.code}")
            check(result.code != 0, "exit code 0 although a folder could not be read")


@scenario("proftpd", "proftpd-list", "vsftpd", "pure-ftpd", "pyftpdlib", "pyftpdlib-list", "sftp")
def top_that_may_not_be_searched(build, server):
    """The same with the folder that is synchronised."""
    with Stage(build, server, up=False) as stage:
        for number in range(50):
            stage.file("both", "f%02d" % number, b"data")
        os.chmod(stage.source, 0o444)
        result = stage.sync()
        left = len(stage.names("target"))
        check(left == 50, f"{50 - left} of 50 local files were removed")
        check(result.code != 0, "exit code 0 although the folder could not be read")


@scenario("proftpd", "proftpd-list", "vsftpd", "pure-ftpd", "pyftpdlib", "pyftpdlib-list", "sftp")
def folder_that_may_not_be_read(build, server):
    """A folder with x and without r."""
    with Stage(build, server, up=False) as stage:
        for number in range(50):
            stage.file("both", "sub/f%02d" % number, b"data")
        os.chmod(stage.full("source", "sub"), 0o311)
        result = stage.sync()
        left = len(stage.names("target", "sub")) if os.path.isdir(stage.full("target", "sub")) else 0
        check(left == 50, f"{50 - left} of 50 local files were removed")
        check(result.code != 0, "exit code 0 although a folder could not be read")


@scenario("proftpd", "proftpd-list", "vsftpd", "pure-ftpd", "pyftpdlib", "pyftpdlib-list", "sftp")
def folder_that_may_not_be_read_and_names_it_lacks(build, server):
    """The first names that are asked for are really not there; the others are."""
    with Stage(build, server, up=False) as stage:
        for number in range(30):
            stage.file("target", "sub/a%02d" % number, b"extra")
            stage.file("both", "sub/f%02d" % number, b"data")
        os.chmod(stage.full("source", "sub"), 0o311)
        result = stage.sync()
        left = sum(name.startswith(b"f") for name in stage.names("target", "sub"))
        check(left == 30, f"{30 - left} of 30 local files were removed, exit code {result.code}")


def question_about(stage, name, action):
    """`action` happens at every command that names `name`. Answers whether there was one."""
    asked = []

    def rule(connection, line):
        if name not in line:
            return None
        asked.append(line)
        return action(connection)

    stage.relay.rule = rule
    return lambda: bool(asked)


def dot_file_and_a_broken_question(build, server, folder, action):
    with Stage(build, server, up=False) as stage:
        stage.file("both", folder + ".profile", b"mine")
        stage.file("both", folder + "other", b"other")
        asked = question_about(stage, b".profile", action)
        result = stage.sync()
        check(stage.read("target", folder + ".profile") == b"mine", f"removed, exit code {result.code}")
        check(not asked() or result.code != 0, "exit code 0 although the question was not answered")


@scenario("vsftpd-hides-dots", "proftpd-list")
def dot_file_and_a_cut_question(build, server):
    dot_file_and_a_broken_question(build, server, "", lambda connection: connection.cut())


@scenario("vsftpd-hides-dots", "proftpd-list")
def dot_file_and_a_421(build, server):
    dot_file_and_a_broken_question(build, server, "", lambda _: b"421 Service not available\r\n")


@scenario("vsftpd-hides-dots", "proftpd-list")
def dot_file_and_a_refused_question(build, server):
    dot_file_and_a_broken_question(build, server, "", lambda _: b"451 Local error\r\n")


@scenario("proftpd", "pure-ftpd")
def dot_file_in_brackets_and_a_cut_question(build, server):
    """Folders whose path holds a bracket are listed another way, which hides names with a dot."""
    dot_file_and_a_broken_question(build, server, "x[1]/", lambda connection: connection.cut())


@scenario("vsftpd-hides-dots", "proftpd-list")
def dot_folder_that_may_not_be_entered(build, server):
    """An unlisted folder that cannot be looked into."""
    with Stage(build, server, up=False) as stage:
        stage.file("both", ".git/config", b"mine")
        stage.file("both", "other", b"other")
        os.chmod(stage.full("source", ".git"), 0o000)
        result = stage.sync()
        check(stage.read("target", ".git/config") == b"mine", f"removed, exit code {result.code}")


FTP_SERVERS = ("proftpd", "proftpd-list", "vsftpd", "pure-ftpd", "pyftpdlib", "pyftpdlib-list")
CONTROL = (b"a\tb", b"\x1bc", b"d\x7f", b"\x01e")
LINE_BREAKS = (b"f\ng", b"h\r", b"\ni")


def spare(build, server, up, names):
    with Stage(build, server, up) as stage:
        gone, untold = [], []
        for name in names:
            stage.again()
            stage.file("both", name, b"data of " + name)
            stage.file("both", "plain", b"data")
            stage.sync()
            if stage.read("target", name) != b"data of " + name:
                gone.append(name)
                continue
            os.unlink(stage.full("target", name))  # it can be carried, or the run says that it cannot
            result = stage.sync()
            if stage.read("target", name) is None and name.strip() not in result.err and b"unusable" not in result.err:
                untold.append(name)
        check(not gone, f"removed: {gone}")
        check(not untold, f"not copied and not told of: {untold}")


@scenario(*FTP_SERVERS, "sftp")
def control_bytes_are_spared_here(build, server):
    """What both sides have stays on both, and is told of where it could not be compared."""
    spare(build, server, False, CONTROL)


@scenario(*FTP_SERVERS, "sftp")
def control_bytes_are_spared_there(build, server):
    spare(build, server, True, CONTROL)


@scenario(*FTP_SERVERS, "sftp")
def line_breaks_are_spared_here(build, server):
    """A listing that holds one name a line shows parts of such a name, or lines that are none."""
    spare(build, server, False, LINE_BREAKS)


@scenario(*FTP_SERVERS, "sftp")
def line_breaks_are_spared_there(build, server):
    spare(build, server, True, LINE_BREAKS)


@scenario(odd_servers.SizesOfFolders, odd_servers.FoldersAreEmptyFiles)
def refused_listing_makes_no_file(build, server):
    """A server that answers SIZE and MDTM for a folder that it does not list, or even hands it out."""
    with Stage(build, server, up=False) as stage:
        stage.file("both", "closed/f", b"mine")
        stage.file("both", "open/f", b"mine")
        result = stage.sync()
        check(stage.read("target", "closed/f") == b"mine", f"removed, exit code {result.code}")
        check(result.code != 0, "exit code 0 although a folder could not be listed")


@scenario(*FTP_SERVERS, "sftp")
def folder_with_a_dead_link_inside(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("both", "sub/f", b"mine")
        stage.link("source", "sub/dead", "nowhere")
        stage.file("target", "sub/dead/inner", b"mine")
        result = stage.sync()
        check(stage.read("target", "sub/f") == b"mine", f"removed, exit code {result.code}")
        check(stage.read("target", "sub/dead/inner") == b"mine", f"removed behind the link, exit code {result.code}")


@scenario(*FTP_SERVERS, "sftp")
def folder_whose_name_ends_in_a_blank(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("both", "sub /f", b"mine")
        result = stage.sync()
        check(stage.read("target", "sub /f") == b"mine", f"removed, exit code {result.code}")


@scenario(*FTP_SERVERS, "sftp")
def link_on_the_server_leads_out(build, server):
    """`sub` is a folder here and a link out of the target there."""
    with Stage(build, server, up=True) as stage:
        stage.file("source", "sub/f", b"mine")
        stage.link("target", "sub", "../outside")
        outside = trees.snapshot(stage.target_outside)
        result = stage.sync()
        now = trees.snapshot(stage.target_outside)
        gone = [path for path in outside if path not in now]
        check(not gone, f"removed outside the target: {gone}, exit code {result.code}")


@scenario(*FTP_SERVERS, "sftp")
def link_on_the_server_is_no_extra_folder(build, server):
    """A link that leads out, below a folder that only the server has."""
    with Stage(build, server, up=True) as stage:
        stage.file("both", "f", b"mine")
        stage.make_folder("target", "extra/deep")
        stage.link("target", "extra/deep/sub", "../../../outside")
        outside = trees.snapshot(stage.target_outside)
        result = stage.sync()
        check(trees.snapshot(stage.target_outside) == outside, f"changed outside the target, exit code {result.code}")


@scenario("proftpd", "vsftpd", "sftp")
def file_that_appears_there_during_the_run(build, server):
    """The source gets a file that was only in the target, before anything is removed."""
    with Stage(build, server, up=False) as stage:
        stage.file("source", "new", b"data" * 1_500_000)
        stage.file("target", "extra", b"mine")
        # In the middle of the file that is copied; its listing is long past.
        stage.relay.arm(*(("command", 40) if server == "sftp" else ("byte", 1_000_000)),
                        lambda *_: stage.file("source", "extra", b"mine", OLD))
        result = stage.sync()
        check(stage.read("source", "extra") is not None, "it did not come to it")
        check(stage.read("target", "extra") == b"mine", f"removed, exit code {result.code}")


@scenario("proftpd", "vsftpd")
def file_that_appears_here_during_the_run(build, server):
    with Stage(build, server, up=True) as stage:
        stage.file("source", "new", b"data" * 1000)
        stage.file("target", "extra", b"mine")
        stage.when(b"STOR", lambda *_: stage.file("source", "extra", b"mine", OLD))
        result = stage.sync()
        check(stage.read("source", "extra") is not None, "it did not come to it")
        check(stage.read("target", "extra") == b"mine", f"removed, exit code {result.code}")


@scenario("vsftpd", "proftpd-list", "pyftpdlib-list")
def dangling_link_does_not_stop_removal(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("both", "f", b"mine")
        stage.link("source", "dead", "nowhere")
        stage.file("target", "extra", b"extra")
        stage.file("target", "dead", b"mine")
        result = stage.sync()
        check(stage.read("target", "extra") is None, f"the extra file is still there, exit code {result.code}")
        check(stage.read("target", "dead") == b"mine", "what has the link's name was removed")
        check(b"dead" in result.err, "the link is not told of")
        check(result.code == 0, f"exit code {result.code}")


@scenario(odd_servers.OddLines)
def lines_that_no_parser_understands(build, server):
    with Stage(build, server, up=False) as stage:
        stage.file("both", "sub/strange", b"mine")
        stage.file("both", "sub/plain", b"mine")
        stage.file("target", "extra", b"extra")
        result = stage.sync()
        check(stage.read("target", "sub/strange") == b"mine", f"removed, exit code {result.code}")
        check(b"sub" in result.err, "not told of")
