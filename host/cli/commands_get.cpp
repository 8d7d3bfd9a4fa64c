// cat and get.
#include <fmt/format.h>
#include <unistd.h>

#include <chrono>

#include "host/cli/commands.h"
#include "host/cli/progress_line.h"
#include "host/cli/quantity_text.h"
#include "host/copy/download.h"
#include "host/copy/fetch.h"
#include "host/names.h"
#include "host/remote/link_loops.h"
#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

Entry must_be_file(Session& session, const std::string& id, std::string_view instead) {
  Entry entry = must_look_up(session, id);
  if (!entry.directory) return exact_file(session, entry);
  Listing listing;
  if (!list_directory(session, entry, listing)) return entry;
  throw Failure{ExitCode::usage, fmt::format("{} is a directory{}", session.url_of(id), instead)};
}

/// Downloads a tree. One file that fails does not end it; the first failure decides the exit code.
class TreeDownload {
 public:
  TreeDownload(Context& context, Session& session) : context_{context}, session_{session} {}

  void directory(const Listing& listing, const std::string& id, const LocalDirectory& local) {
    if (!path_.enter(listing, id)) {
      context_.console.notice(local.path() + ": a link to a directory above it, or too deep: left out");
      return;
    }
    const WalkGuard inside{path_};
    if (listing.hostile > 0) {
      context_.console.notice(
          fmt::format("{}: {} unusable names from the server left out", local.path(), listing.hostile));
    }
    if (!context_.arguments.resume) local.remove_temporaries("", "");
    for (const Entry& entry : listing.entries) {
      if (is_temporary_name(entry.name)) continue;  // what an interrupted upload left
      guarded([&] { one(entry, local); });
    }
  }

  void file(const Entry& entry, const LocalDirectory& local, const std::string& name) {
    std::optional<LocalEntry> there;
    if (context_.arguments.resume) there = local.find(name);
    if (there && same_file(*there, entry)) {
      ++skipped_;
      return;
    }
    const Entry exact = settled_file(session_, entry);
    if (there && same_file(*there, exact)) {  // a listing may round times
      ++skipped_;
      return;
    }
    const DownloadResult result =
        download_file(session_, progress_, exact, local, name, context_.arguments.resume);
    bytes_ += result.bytes;
    resumed_ += result.resumed;
    ++files_;
    context_.console.detail(fmt::format("{}: {} bytes", local.path_of(name), result.bytes));
  }

  void begin(std::int64_t bytes) { progress_.begin(bytes); }

  ExitCode end() {
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin_;
    if (context_.arguments.json) {
      Json::Value out;
      out["files"] = Json::UInt64{files_};
      out["skipped"] = Json::UInt64{skipped_};
      out["failed"] = Json::UInt64{failed_};
      out["bytes"] = Json::Int64{bytes_};
      out["resumed_bytes"] = Json::Int64{resumed_};
      out["seconds"] = time.count();
      context_.console.print(json_text(out));
    } else if (context_.console.wants_progress() || context_.arguments.verbosity > 0) {
      context_.console.notice(fmt::format(
          "{} files, {} in {} ({}/s){}{}", files_, byte_text(static_cast<double>(bytes_)),
          duration_text(time.count()), byte_text(static_cast<double>(bytes_) / std::max(time.count(), 1e-3)),
          skipped_ > 0 ? fmt::format(", {} complete already", skipped_) : "",
          failed_ > 0 ? fmt::format(", {} failed", failed_) : ""));
    }
    return result_;
  }

 private:
  void one(Entry entry, const LocalDirectory& local) {
    if (entry.directory) {
      Listing inner;
      if (list_directory(session_, entry, inner)) {
        directory(inner, entry.id, local.enter(entry.name, true));
        return;
      }
    }
    file(entry, local, entry.name);
  }

  template <class Step>
  void guarded(Step&& step) {
    try {
      step();
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::cancelled) throw;
      context_.console.complain(failure.what());
      ++failed_;
      if (result_ == ExitCode::ok) result_ = failure.code();
    }
  }

  Context& context_;
  Session& session_;
  Progress progress_;
  ProgressLine line_{context_.console, progress_};
  WalkPath path_{list_of(session_)};
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::size_t files_ = 0, skipped_ = 0, failed_ = 0;
  std::int64_t bytes_ = 0, resumed_ = 0;
  ExitCode result_ = ExitCode::ok;
};

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

}  // namespace

ExitCode run_cat(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  const auto session = open_session(context, url);
  const Entry entry = must_be_file(*session, url.path, "");
  Extent extent{0, -1};
  if (context.arguments.range) {
    if (entry.size >= 0) {
      extent = resolve_range(*context.arguments.range, entry.size);
    } else if (context.arguments.range->first) {
      const auto& [first, last] = *context.arguments.range;
      extent = {*first, last ? *last - *first + 1 : -1};
    } else {
      throw Failure{ExitCode::other,
                    url.text() + ": the server does not tell the size that --range -N needs"};
    }
  }
  if (isatty(STDOUT_FILENO) != 0) context.console.detail("writing to a terminal as it comes");
  Progress progress;
  const ProgressLine line{context.console, progress};
  progress.begin(entry.size < 0 ? -1 : extent.length < 0 ? entry.size : extent.length);
  Progress::File shown{progress, entry.name, entry.size};
  std::optional<Failure> refused;
  (void)fetch(*session, entry, extent.offset, extent.length,
              [&](std::int64_t, const char* data, std::size_t length) {
                try {
                  context.console.print({data, length});
                } catch (const Failure& failure) {
                  refused = failure;
                  return false;
                }
                shown.moved(static_cast<std::int64_t>(length));
                return true;
              });
  if (refused) throw Failure{*refused};
  context.console.flush();
  return ExitCode::ok;
}

ExitCode run_get(Context& context) {
  Arguments& arguments = context.arguments;
  RemoteUrl url = parse_remote_url(arguments.operands.at(0));
  const auto session = open_session(context, url);
  TreeDownload download{context, *session};
  if (!arguments.recursive) {
    const Entry entry = must_be_file(*session, url.path, ": use -r");
    const SplitPath target = file_target(arguments, leaf_name(url.path));
    const LocalDirectory directory = LocalDirectory::open(target.directory);
    download.begin(entry.size);
    download.file(entry, directory, target.name);
    directory.remove_temporaries(target.name, "");
    return download.end();
  }
  Entry top = must_look_up(*session, url.path);
  Listing listing;
  if (!top.directory || !list_directory(*session, top, listing)) {
    const SplitPath target = file_target(arguments, leaf_name(url.path));
    download.file(top, LocalDirectory::open(target.directory), target.name);
    return download.end();
  }
  const std::string target = tree_target(arguments, url);
  make_local_directory(target);
  download.begin(-1);
  download.directory(listing, top.id, LocalDirectory::open(target));
  return download.end();
}

}  // namespace ftp_host
