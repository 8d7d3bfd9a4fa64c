// mkdir, rm, rmdir, mv and touch.
#include <fmt/format.h>

#include "host/cli/commands.h"
#include "host/copy/upload.h"
#include "host/names.h"
#include "host/remote/directories.h"
#include "host/remote/look_up.h"
#include "host/remote/remote_tree.h"
#include "host/time_text.h"
#include "host/tree/removal.h"

namespace ftp_host {
namespace {

/// A failure of a command on `id`: a missing name explains it best, and only the directory can tell that.
Failure explained(Session& session, const std::string& id, const Outcome& outcome, bool wants_file) {
  const std::optional<Entry> entry = look_up(session, id);
  if (entry && entry->directory && wants_file) {
    return session.failure(session.url_of(id) + " is a directory (-r removes it)", outcome);
  }
  if (!entry) {
    return session.not_found(id, outcome.code);
  }
  return session.failure(session.url_of(id), outcome);
}

void refuse_root(const std::string& id, std::string_view what) {
  if (is_root(id)) throw Failure{ExitCode::usage, fmt::format("{} of the whole server is refused", what)};
}

/// Where `mv` puts the entry: a directory and a name.
struct MoveTarget {
  std::string directory, name;
};

void check_move_target(const RemoteUrl& from, const std::string& text) {
  if (is_remote_url(text)) {
    if (parse_remote_url(text).root() != from.root())
      throw Failure{ExitCode::usage, "mv works on one server: " + text};
  } else if (!is_usable_name(text)) {
    throw Failure{ExitCode::usage, text + ": give a URL, or a plain new name"};
  }
}

MoveTarget move_target(Session& session, const RemoteUrl& from, const std::string& text) {
  if (!is_remote_url(text)) return {parent_path(from.path), text};
  const RemoteUrl to = parse_remote_url(text);
  Listing listing;
  if (is_root(to.path) || session.list(to.path, listing).code == SUCCESS)
    return {to.path, leaf_name(from.path)};
  if (to.directory) {
    (void)must_look_up(session, to.path);
    throw Failure{ExitCode::usage, to.text() + " is a file"};
  }
  return {parent_path(to.path), leaf_name(to.path)};
}

}  // namespace

ExitCode run_mkdir(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  const auto session = open_session(context, url);
  if (context.arguments.parents) {
    ensure_path(*session, url.path);
    return ExitCode::ok;
  }
  Entry made;
  const Outcome outcome = session->make_directory(parent_path(url.path), leaf_name(url.path), made);
  if (outcome.code != SUCCESS) {
    if (!is_root(url.path) && !look_up(*session, parent_path(url.path))) {
      throw session->failure(url.text() + ": its directory does not exist (-p makes it)", outcome.code,
                             ExitCode::not_found);
    }
    session->require(outcome, url.path);
  }
  return ExitCode::ok;
}

ExitCode run_rm(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  refuse_root(url.path, "rm");
  const auto session = open_session(context, url);
  if (!context.arguments.recursive) {
    const Outcome outcome = session->remove_file(url.path);
    if (outcome.code != SUCCESS) throw explained(*session, url.path, outcome, true);
    return ExitCode::ok;
  }
  const Entry entry = must_look_up(*session, url.path);
  RemoteTree tree{*session, entry.id};
  if (entry.directory) {
    Removals removed;
    remove_tree(tree, entry.id, "", Filter{}, removed);
  } else {
    tree.remove_file(entry.id);
  }
  return ExitCode::ok;
}

ExitCode run_rmdir(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  refuse_root(url.path, "rmdir");
  const auto session = open_session(context, url);
  const Outcome outcome = session->remove_directory(url.path);
  if (outcome.code != SUCCESS) throw explained(*session, url.path, outcome, false);
  return ExitCode::ok;
}

ExitCode run_mv(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  refuse_root(url.path, "mv");
  check_move_target(url, context.arguments.operands.at(1));
  const auto session = open_session(context, url);
  const Entry entry = must_look_up(*session, url.path);
  const MoveTarget target = move_target(*session, url, context.arguments.operands.at(1));
  session->require(session->move(entry.id, target.directory, target.name, entry.directory), entry.id);
  return ExitCode::ok;
}

ExitCode run_touch(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  refuse_root(url.path, "touch");
  const auto time = parse_user_time(context.arguments.time);
  if (!time) {
    throw Failure{
        ExitCode::usage,
        fmt::format("--time {}: expected 2024-03-05T07:08:09 (local, or with Z in UTC), @seconds or now",
                    context.arguments.time)};
  }
  const auto session = open_session(context, url);
  std::optional<Entry> entry = look_up(*session, url.path);
  Entry unlisted;
  // What a listing leaves out may be there all the same, and must not be emptied.
  if (!entry && session->file_info(url.path, unlisted).code == SUCCESS) entry = unlisted;
  if (!entry) {
    (void)must_look_up(*session, parent_path(url.path));
    upload_empty(*session, parent_path(url.path), leaf_name(url.path));
    entry = must_look_up(*session, url.path);
  }
  session->require(session->set_time(entry->id, *time), entry->id);
  return ExitCode::ok;
}

}  // namespace ftp_host
