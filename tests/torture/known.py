"""What the tool is known to break today. Whoever mends something takes its rows away.

SPARED: what the seeded part of the torture leaves out and the long one does not. Each row: servers (a pattern of
the shell), direction ("up", "down" or "*"), and the features of plan.py that do not occur there.

FAILING: the directed scenarios that fail, with the servers on which they do (none where there is only one).
"""
import fnmatch

SPARED = [
    # Names that a listing cannot carry, or that the server makes others of.
    ("*", "*", ["name-line-break", "name-control", "name-telnet", "name-latin1"]),
    ("pure-ftpd", "*", ["name-blank-edge"]),
    # Folders that list as empty, or are cut.
    ("*", "down", ["rights-source-444", "many"]),
    # Unlisted names and questions that get no answer.
    ("*-hides-dots", "down", ["name-dot"]),
    ("proftpd-list", "down", ["name-dot"]),
    ("proftpd", "down", ["name-bracket"]),
    ("pure-ftpd", "down", ["name-bracket"]),
    # What is in the way goes before its successor is there.
    ("*", "*", ["conflict"]),
    # A refused rename.
    ("*", "up", ["refuse"]),
    # A question for the server's features that gets no answer.
    ("*", "up", ["at-login"]),
    # Links on the server.
    ("*", "up", ["links-target"]),
    ("*", "down", ["links-source"]),
    # A file that comes to the source while the run goes on.
    ("*", "*", ["edit-appears"]),
    # Listings that round times.
    ("*-list", "down", ["round-time"]),
    ("vsftpd*", "down", ["round-time"]),
]

FAILING = {
    "listing_cut_at_the_servers_limit": "",
    "listing_cut_below_a_folder": "",
    "listing_whose_last_reply_doubts_it": "proftpd vsftpd",
    "folder_that_may_not_be_searched": "proftpd pyftpdlib sftp",
    "folder_in_brackets_that_may_not_be_searched": "sftp",
    "top_that_may_not_be_searched": "proftpd pyftpdlib sftp",
    "folder_that_may_not_be_read_and_names_it_lacks": "proftpd-list",
    "dot_file_and_a_cut_question": "vsftpd-hides-dots proftpd-list",
    "dot_file_and_a_421": "vsftpd-hides-dots proftpd-list",
    "dot_file_and_a_refused_question": "vsftpd-hides-dots proftpd-list",
    "dot_file_in_brackets_and_a_cut_question": "proftpd pure-ftpd",
    "dot_folder_that_may_not_be_entered": "vsftpd-hides-dots proftpd-list",
    "control_bytes_are_spared_here": "pure-ftpd",
    "line_breaks_are_spared_here": "proftpd proftpd-list vsftpd pure-ftpd pyftpdlib pyftpdlib-list sftp",
    "control_bytes_are_spared_there": "pure-ftpd",
    "refused_listing_makes_no_file": "SizesOfFolders FoldersAreEmptyFiles",
    "folder_with_a_dead_link_inside": "proftpd pyftpdlib sftp",
    "link_on_the_server_leads_out": "proftpd proftpd-list vsftpd pure-ftpd pyftpdlib pyftpdlib-list sftp",
    "file_that_appears_there_during_the_run": "proftpd vsftpd sftp",
    "file_that_appears_here_during_the_run": "proftpd vsftpd",
    "dangling_link_does_not_stop_removal": "vsftpd proftpd-list pyftpdlib-list",
    "lines_that_no_parser_understands": "",
    "refused_rename_keeps_a_file": "proftpd vsftpd pure-ftpd pyftpdlib",
    "name_that_does_not_arrive": "pyftpdlib pyftpdlib-list",
    "name_that_falls_on_another": "proftpd proftpd-list pure-ftpd",
    "part_that_vanishes_is_not_copied": "vsftpd pyftpdlib-list",
    "edit_of_equal_size_hidden_by_the_minute": "vsftpd proftpd-list pyftpdlib-list",
    "edit_of_equal_size_hidden_by_the_day": "vsftpd proftpd-list pyftpdlib-list",
    "download_broken_off_without_size": "BreaksOff BreaksOffAtOnce",
    "download_that_does_not_end": "",
    "dot_file_in_brackets_is_fetched_or_told": "proftpd pure-ftpd",
    "second_get_truncates_nothing": "",
    "resumed_get_removes_old_partial_files": "",
    "killed_get_leaves_nothing_for_ever": "proftpd vsftpd",
    "message_names_the_reply_that_broke_a_download": "",
    "message_names_what_was_compared": "",
    "dry_run_shows_removals_with_their_reason": "",
    "checksum_finds_an_edit_that_hides": "",
    "backup_folder_takes_what_goes": "",
    "removing_most_of_a_tree_is_refused": "",
}


def spared(server, up):
    """Features that a scenario on `server` in this direction is to do without."""
    direction = "up" if up else "down"
    return {feature for pattern, way, features in SPARED for feature in features
            if fnmatch.fnmatch(server, pattern) and way in ("*", direction)}


def expected_to_fail(name):
    function, _, server = name.partition(":")
    return function in FAILING and (not server or server in FAILING[function].split())
