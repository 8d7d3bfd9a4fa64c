// cat.
#include <unistd.h>

#include "host/cli/commands.h"
#include "host/cli/progress_line.h"
#include "host/remote/fetch.h"
#include "host/remote/look_up.h"
#include "host/remote/remote_tree.h"

namespace ftp_host {
namespace {

Entry must_be_file(Session& session, const std::string& id) {
  Entry entry = must_look_up(session, id);
  if (!entry.directory) return exact_file(session, entry);
  RemoteTree tree{session, entry.id};
  if (list_or_resolve(tree, entry)) throw Failure{ExitCode::usage, session.url_of(id) + " is a directory"};
  return entry;
}

/// The part of `entry` that the user asks for; a length below zero means up to the end.
Extent extent_of(const Session& session, const Entry& entry, const std::optional<ByteRange>& range) {
  if (!range) return {0, -1};
  if (entry.size >= 0) return resolve_range(*range, entry.size);
  if (!range->first) {
    throw Failure{ExitCode::other,
                  session.url_of(entry.id) + ": the server does not tell the size that --range -N needs"};
  }
  return {*range->first, range->last ? *range->last - *range->first + 1 : -1};
}

}  // namespace

ExitCode run_cat(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  const auto session = open_session(context, url);
  const Entry entry = must_be_file(*session, url.path);
  const Extent extent = extent_of(*session, entry, context.arguments.range);
  if (isatty(STDOUT_FILENO) != 0) context.console.detail("writing to a terminal as it comes");
  Progress progress;
  const ProgressLine line{context.console, progress};
  progress.begin(entry.size < 0 ? -1 : extent.length < 0 ? entry.size : extent.length);
  Progress::File shown{progress, entry.name, entry.size};
  std::optional<Failure> refused;
  (void)fetch(*session, entry, extent.offset, extent.length,
              [&](std::int64_t, const char* data, std::size_t length) {
                refused = failure_of([&] { context.console.print({data, length}); });
                if (!refused) shown.moved(static_cast<std::int64_t>(length));
                return !refused;
              });
  if (refused) throw Failure{*refused};
  context.console.flush();
  return ExitCode::ok;
}

}  // namespace ftp_host
