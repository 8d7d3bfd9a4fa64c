// get, put and sync: they find out what to copy where, and the engine does it.
#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "host/cli/commands.h"
#include "host/cli/copy_totals.h"
#include "host/cli/progress_line.h"
#include "host/copy/download.h"
#include "host/copy/engine.h"
#include "host/copy/upload.h"
#include "host/local/temporary_name.h"
#include "host/remote/directories.h"
#include "host/remote/documents.h"
#include "host/remote/look_up.h"
#include "host/remote/remote_tree.h"

namespace ftp_host {
namespace {

/// The source of a copy: a directory, and what is in it where that is known.
struct Source {
  Entry top;
  std::optional<Listing> listing;
};

Source local_source() {
  Entry top;
  top.directory = true;
  return {top, std::nullopt};
}

CopyReport copy_tree(Context& context, Session& session, LocalTree& local, Tree& remote,
                     const CopyRules& rules, Source source, bool target_exists) {
  Progress progress;
  const ProgressLine line{context.console, progress};
  CopyEngine engine{session, context.console, progress, local, remote, rules, context.arguments.parallel};
  return engine.run(source.top, std::move(source.listing), target_exists, context.arguments.dry_run);
}

ExitCode show_get(Context& context, const CopyReport& report) {
  if (context.arguments.json) {
    context.console.print(json_text(get_json(report)));
  } else if (context.console.wants_progress() || context.arguments.verbosity > 0) {
    context.console.notice(get_text(report));
  }
  return report.code;
}

ExitCode show_sync(Context& context, const CopyReport& report) {
  const bool dry = context.arguments.dry_run;
  if (context.arguments.json) {
    context.console.print(json_text(sync_json(report, dry)));
    return report.code;
  }
  if (dry) {
    for (const CopyAction& action : report.actions) {
      context.console.print(fmt::format("{} {}{}\n", action.what, context.console.shown_name(action.path),
                                        action.directory ? "/" : ""));
    }
  }
  if (!context.arguments.quiet) context.console.print(sync_text(report, dry) + "\n");
  return report.code;
}

// get

/// Where a single file goes: LOCAL names a directory, or the file itself.
SplitPath file_target(const Arguments& arguments, const std::string& remote_name) {
  if (arguments.operands.size() < 2) return {".", remote_name};
  const std::string& local = arguments.operands[1];
  const auto there = find_local(local);
  if (local.ends_with('/') || (there && there->kind == LocalEntry::Kind::directory))
    return {local, remote_name};
  return split_local_path(local);
}

std::string tree_target(const Arguments& arguments, const RemoteUrl& url) {
  if (arguments.operands.size() >= 2) return arguments.operands[1];
  const std::string name = leaf_name(url.path);
  return name.empty() ? url.server.substr(0, url.server.find(':')) : name;
}

/// Whether a run before this one has stored `exact` as the file `name` of `directory`.
bool is_complete(const LocalDirectory& directory, const std::string& name, const Entry& exact,
                 const CopyRules& rules) {
  if (rules.copy_all) return false;
  const std::optional<LocalEntry> there = directory.find(name);
  if (!there || there->kind != LocalEntry::Kind::file) return false;
  return compare(as_entry(*there, name), exact, true, rules.compare) == Verdict::same;
}

CopyReport get_file(Context& context, Session& session, const Entry& entry, const SplitPath& target) {
  const auto begin = std::chrono::steady_clock::now();
  const CopyRules rules = get_rules(context.arguments.resume);
  const LocalDirectory directory = LocalDirectory::open(target.directory);
  const Entry exact = settled_file(session, entry);
  CopyReport report;
  if (is_complete(directory, target.name, exact, rules)) {
    report.unchanged = 1;
  } else {
    Progress progress;
    const ProgressLine line{context.console, progress};
    progress.begin(exact.size);
    const DownloadResult done = download_file(session, progress, exact, directory, target.name, rules.resume);
    report.copied = 1;
    report.bytes = done.bytes;
    report.resumed = done.resumed;
    context.console.detail(fmt::format("{}: {} bytes", directory.path_of(target.name), done.bytes));
  }
  directory.remove_temporaries(target.name, "");
  report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return report;
}

// put

/// Makes of LOCAL and URL a directory on the server and a name in it.
struct RemoteTarget {
  std::string directory, name;
};

RemoteTarget file_target(Session& session, const RemoteUrl& url, const std::string& local) {
  const std::optional<Entry> there = look_up(session, url.path);
  if (there ? there->directory : url.directory) {
    if (!there) (void)must_look_up(session, url.path);
    return {url.path, split_local_path(local).name};
  }
  if (url.directory) throw Failure{ExitCode::usage, url.text() + " is a file"};
  return {parent_path(url.path), leaf_name(url.path)};
}

/// Removes what runs that were killed have left of the file `name`.
void remove_leftovers(Session& session, const RemoteTarget& target) {
  Listing listing;
  if (const Outcome outcome = session.list(target.directory, listing); outcome.code != SUCCESS) {
    (void)must_look_up(session, target.directory);
    session.require(outcome, target.directory);
  }
  for (const Entry& entry : listing.entries) {
    if (is_temporary_name_of(entry.name, target.name)) (void)session.remove_file(entry.id);
  }
}

ExitCode put_file(Context& context, Session& session, const RemoteUrl& url, const std::string& local) {
  // A link that the user names stands for its file; links inside a tree are left out.
  std::error_code unresolved;
  const std::filesystem::path resolved = std::filesystem::canonical(local, unresolved);
  if (unresolved) throw local_failure(local, unresolved.value());
  const RemoteTarget target = file_target(session, url, local);
  remove_leftovers(session, target);
  const std::optional<LocalEntry> source = find_local(resolved.string());
  if (!source) throw local_failure(local, ENOENT);
  const SplitPath from = split_local_path(resolved.string());
  CopyReport report;
  {
    Progress progress;
    const ProgressLine line{context.console, progress};
    progress.begin(source->size);
    const auto begin = std::chrono::steady_clock::now();
    report.bytes = upload_file(session, progress, LocalDirectory::open(from.directory), from.name,
                               target.directory, target.name);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }
  report.copied = 1;
  report.actions.push_back({"copy", target.name, false});
  if (context.arguments.json) context.console.print(json_text(sync_json(report, false)));
  context.console.detail(
      fmt::format("{}: {} bytes", session.url_of(join_path(target.directory, target.name)), report.bytes));
  return ExitCode::ok;
}

// put -r and sync

LocalEntry must_find_local(const std::string& path) {
  const std::optional<LocalEntry> found = find_local(path);
  if (!found) throw local_failure(path, ENOENT);
  return *found;
}

CopyReport upload_tree(Context& context, Session& session, const RemoteUrl& url, const std::string& local,
                       const CopyRules& rules) {
  const std::optional<Entry> top = look_up(session, url.path);
  if (top && !top->directory) throw Failure{ExitCode::usage, url.text() + " is a file"};
  const bool dry = context.arguments.dry_run;
  if (!top && !dry) ensure_path(session, url.path);
  LocalTree local_tree{LocalDirectory::open(local)};
  RemoteTree remote_tree{session, url.path};
  return copy_tree(context, session, local_tree, remote_tree, rules, local_source(), top || !dry);
}

CopyReport download_tree(Context& context, Session& session, Source source, const std::string& local,
                         const CopyRules& rules) {
  const std::optional<LocalEntry> there = find_local(local);
  if (there && there->kind != LocalEntry::Kind::directory) throw local_failure(local, ENOTDIR);
  const bool dry = context.arguments.dry_run;
  if (!there && !dry) make_local_directory(local);
  const bool exists = there || !dry;
  LocalTree local_tree{LocalDirectory::open(exists ? local : ".")};
  RemoteTree remote_tree{session, source.top.id};
  return copy_tree(context, session, local_tree, remote_tree, rules, std::move(source), exists);
}

}  // namespace

ExitCode run_get(Context& context) {
  const Arguments& arguments = context.arguments;
  RemoteUrl url = parse_remote_url(arguments.operands.at(0));
  const auto session = open_session(context, url);
  Source source{must_look_up(*session, url.path), std::nullopt};
  RemoteTree tree{*session, source.top.id};
  if (source.top.directory) source.listing = list_or_resolve(tree, source.top);
  if (!source.listing) {
    const SplitPath target = file_target(arguments, leaf_name(url.path));
    return show_get(context, get_file(context, *session, source.top, target));
  }
  if (!arguments.recursive) throw Failure{ExitCode::usage, url.text() + " is a directory: use -r"};
  return show_get(context, download_tree(context, *session, std::move(source), tree_target(arguments, url),
                                         get_rules(arguments.resume)));
}

ExitCode run_put(Context& context) {
  const std::string& local = context.arguments.operands.at(0);
  const bool directory = must_find_local(local).kind == LocalEntry::Kind::directory;
  if (directory && !context.arguments.recursive)
    throw Failure{ExitCode::usage, local + " is a directory: use -r"};
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(1));
  const auto session = open_session(context, url);
  if (!directory) return put_file(context, *session, url, local);
  return show_sync(context, upload_tree(context, *session, url, local, put_rules()));
}

ExitCode run_sync(Context& context) {
  const Arguments& arguments = context.arguments;
  const bool from_remote = is_remote_url(arguments.operands.at(0));
  const bool upload = is_remote_url(arguments.operands.at(1));
  if (from_remote == upload) {
    throw Failure{ExitCode::usage, "sync needs one URL and one local directory"};
  }
  const std::string& local = arguments.operands.at(upload ? 0 : 1);
  if (upload && must_find_local(local).kind != LocalEntry::Kind::directory)
    throw local_failure(local, ENOTDIR);
  RemoteUrl url = parse_remote_url(arguments.operands.at(upload ? 1 : 0));
  const auto session = open_session(context, url);
  CopyRules rules = sync_rules(upload, arguments.remove, session->sets_times());
  rules.filter = Filter{arguments.includes, arguments.excludes};
  rules.compare.window = arguments.modify_window;
  if (upload) return show_sync(context, upload_tree(context, *session, url, local, rules));
  Source source{must_look_up(*session, url.path), std::nullopt};
  if (!source.top.directory) throw Failure{ExitCode::usage, url.text() + " is a file: use get"};
  return show_sync(context, download_tree(context, *session, std::move(source), local, rules));
}

}  // namespace ftp_host
