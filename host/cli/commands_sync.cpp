// put and sync.
#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "host/cli/commands.h"
#include "host/cli/progress_line.h"
#include "host/cli/quantity_text.h"
#include "host/copy/sync_run.h"
#include "host/copy/upload.h"
#include "host/names.h"
#include "host/remote/documents.h"
#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

Json::Value report_json(const SyncReport& report, bool dry) {
  Json::Value out;
  out["dry_run"] = dry;
  out["copied"] = Json::UInt64{report.copied};
  out["unchanged"] = Json::UInt64{report.unchanged};
  out["made"] = Json::UInt64{report.made};
  out["removed"] = Json::UInt64{report.removed};
  out["failed"] = Json::UInt64{report.failed};
  out["bytes"] = Json::Int64{report.bytes};
  out["seconds"] = report.seconds;
  out["actions"] = Json::Value{Json::arrayValue};
  for (const SyncAction& action : report.actions) {
    Json::Value item;
    item["action"] = action.what;
    item["path"] = make_valid_utf8(action.path);
    item["type"] = action.directory ? "directory" : "file";
    out["actions"].append(item);
  }
  return out;
}

ExitCode show_report(Context& context, const SyncReport& report, bool dry) {
  if (context.arguments.json) {
    context.console.print(json_text(report_json(report, dry)));
    return report.code;
  }
  if (dry) {
    for (const SyncAction& action : report.actions) {
      context.console.print(fmt::format("{} {}{}\n", action.what, context.console.shown_name(action.path),
                                        action.directory ? "/" : ""));
    }
  }
  if (!context.arguments.quiet) {
    context.console.print(fmt::format(
        "{}{} copied ({}), {} unchanged, {} directories made, {} removed, {} failed, {}\n",
        dry ? "dry run: " : "", report.copied, byte_text(static_cast<double>(report.bytes)), report.unchanged,
        report.made, report.removed, report.failed, duration_text(report.seconds)));
  }
  return report.code;
}

/// Makes the target's top where it is missing and may be made; whether it is there then.
bool prepare_target(Context& context, Session& session, const RemoteUrl& url, const std::string& local,
                    bool upload) {
  const bool dry = context.arguments.dry_run;
  if (upload) {
    const std::optional<Entry> top = look_up(session, url.path);
    if (top && !top->directory) throw Failure{ExitCode::usage, url.text() + " is a file"};
    if (!top && !dry) ensure_path(session, url.path);
    return top || !dry;
  }
  const std::optional<LocalEntry> top = find_local(local);
  if (top && top->kind != LocalEntry::Kind::directory) throw local_failure(local, ENOTDIR);
  if (!top && !dry) make_local_directory(local);
  return top || !dry;
}

ExitCode synchronise(Context& context, Session& session, const RemoteUrl& url, const std::string& local,
                     SyncOptions options) {
  const Arguments& arguments = context.arguments;
  if (!options.upload) {
    const Entry top = must_look_up(session, url.path);
    if (!top.directory) throw Failure{ExitCode::usage, url.text() + " is a file: use get"};
  }
  const bool there = prepare_target(context, session, url, local, options.upload);
  LocalTree local_tree{LocalDirectory::open(there || options.upload ? local : ".")};
  RemoteTree remote_tree{session, url.path};
  options.rules.equal_times = !options.upload || session.sets_times();
  options.rules.window = arguments.modify_window;
  Progress progress;
  SyncRun run{session, context.console, progress, local_tree, remote_tree, options, arguments.parallel};
  SyncReport report;
  {
    const ProgressLine line{context.console, progress};
    report = run.run(there, arguments.dry_run);
  }
  return show_report(context, report, arguments.dry_run);
}

ExitCode put_file(Context& context, Session& session, const RemoteUrl& url, const std::string& local) {
  // A link that the user names stands for its file; links inside a tree are left out.
  std::error_code unresolved;
  const std::filesystem::path resolved = std::filesystem::canonical(local, unresolved);
  if (unresolved) throw local_failure(local, unresolved.value());
  const SplitPath from = split_local_path(resolved.string());
  std::string directory = parent_path(url.path);
  std::string name = leaf_name(url.path);
  const std::optional<Entry> there = look_up(session, url.path);
  if (there ? there->directory : url.directory) {
    directory = url.path;
    name = split_local_path(local).name;
    if (!there) (void)must_look_up(session, url.path);
  } else if (there && url.directory) {
    throw Failure{ExitCode::usage, url.text() + " is a file"};
  }
  Listing listing;
  if (const Outcome outcome = session.list(directory, listing); outcome.code != SUCCESS) {
    (void)must_look_up(session, directory);
    throw session.failure(session.url_of(directory), outcome);
  }
  for (const Entry& entry : listing.entries) {
    if (is_temporary_name_of(entry.name, name)) (void)session.remove_file(entry.id);
  }
  SyncReport report;
  {
    Progress progress;
    const ProgressLine line{context.console, progress};
    const std::optional<LocalEntry> source = find_local(resolved.string());
    if (!source) throw local_failure(local, ENOENT);
    progress.begin(source->size);
    const auto begin = std::chrono::steady_clock::now();
    report.bytes =
        upload_file(session, progress, LocalDirectory::open(from.directory), from.name, directory, name);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }
  report.copied = 1;
  report.actions.push_back({"copy", name, false});
  if (context.arguments.json) context.console.print(json_text(report_json(report, false)));
  context.console.detail(
      fmt::format("{}: {} bytes", session.url_of(join_path(directory, name)), report.bytes));
  return ExitCode::ok;
}

}  // namespace

ExitCode run_put(Context& context) {
  const std::string& local = context.arguments.operands.at(0);
  const std::optional<LocalEntry> source = find_local(local);
  if (!source) throw local_failure(local, ENOENT);
  const bool directory = source->kind == LocalEntry::Kind::directory;
  if (directory && !context.arguments.recursive)
    throw Failure{ExitCode::usage, local + " is a directory: use -r"};
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(1));
  const auto session = open_session(context, url);
  if (!directory) return put_file(context, *session, url, local);
  SyncOptions options;
  options.copy_all = true;
  return synchronise(context, *session, url, local, options);
}

ExitCode run_sync(Context& context) {
  const Arguments& arguments = context.arguments;
  const bool from_remote = is_remote_url(arguments.operands.at(0));
  const bool to_remote = is_remote_url(arguments.operands.at(1));
  if (from_remote == to_remote) {
    throw Failure{ExitCode::usage, "sync needs one URL and one local directory"};
  }
  SyncOptions options;
  options.upload = to_remote;
  options.remove = arguments.remove;
  options.filter = Filter{arguments.includes, arguments.excludes};
  const std::string& local = arguments.operands.at(to_remote ? 0 : 1);
  if (to_remote) {
    const std::optional<LocalEntry> source = find_local(local);
    if (!source) throw local_failure(local, ENOENT);
    if (source->kind != LocalEntry::Kind::directory) throw local_failure(local, ENOTDIR);
  }
  RemoteUrl url = parse_remote_url(arguments.operands.at(to_remote ? 1 : 0));
  const auto session = open_session(context, url);
  return synchronise(context, *session, url, local, options);
}

}  // namespace ftp_host
