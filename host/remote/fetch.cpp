#include "host/remote/fetch.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

/// So many runs that bring not a single byte make a transfer fail.
constexpr int kFruitlessRuns = 2;
constexpr std::int64_t kProbe = std::int64_t{8} << 20;
/// The plug-in delivers whole blocks of this size. Of a range that reaches beyond the end of the file, what
/// is left behind the last whole block is not delivered.
constexpr std::int64_t kBlock = 65536;
/// After so long a download the file is asked for once more, since it may have been written to meanwhile. For
/// every small file the question would cost too much.
constexpr std::chrono::seconds kLongRead{1};

Failure changed(const Session& session, const Entry& entry) {
  return session.failure(session.url_of(entry.id) + ": changed on the server while it was read",
                         FILE_READ_FAILED);
}

/// Reads a file of unknown size: long ranges until one comes short, then shorter and shorter ones for the
/// rest, because only a range that ends inside the file is delivered whole.
std::int64_t fetch_unknown(Session& session, const Entry& entry, std::int64_t offset,
                           const BlockWriter& writer) {
  const std::int64_t begin = offset;
  std::int64_t length = kProbe;
  while (length > 0) {
    std::int64_t received = 0;
    const Outcome outcome = session.read(entry.id, offset, length, writer, received);
    session.require(outcome, entry.id);
    offset += received;
    if (received < length) length = length == kProbe ? kBlock / 2 : length / 2;
  }
  return offset - begin;
}

}  // namespace

std::int64_t fetch(Session& session, const Entry& entry, std::int64_t offset, std::int64_t length,
                   const BlockWriter& writer) {
  if (entry.size < 0 && length < 0) return fetch_unknown(session, entry, offset, writer);
  const std::int64_t end = length < 0       ? entry.size
                           : entry.size < 0 ? offset + length
                                            : std::min(entry.size, offset + length);
  const std::int64_t begin = offset;
  const auto started = std::chrono::steady_clock::now();
  bool refused = false;
  const BlockWriter watched = [&](std::int64_t at, const char* data, std::size_t count) {
    refused = !writer(at, data, count);
    return !refused;
  };
  for (int fruitless = 0; offset < end;) {
    std::int64_t received = 0;
    // One range up to the end: on FTP a range that ends before the file does costs the control connection.
    const Outcome outcome = session.read(entry.id, offset, end - offset, watched, received);
    offset += received;
    if (refused) return offset - begin;
    if (offset >= end) break;
    if (received == 0 && ++fruitless >= kFruitlessRuns) {
      session.require(outcome, entry.id);
      throw session.failure(
          fmt::format("{}: ended after {} of {} bytes", session.url_of(entry.id), offset, end),
          FILE_READ_FAILED);
    }
    if (entry.size < 0) continue;
    const Entry now = exact_file(session, entry);
    if (now.size != entry.size || now.time != entry.time) throw changed(session, entry);
  }
  if (length < 0 && std::chrono::steady_clock::now() - started >= kLongRead) {
    // What a file had before it grew is in order.
    const Entry now = exact_file(session, entry);
    if (now.size < entry.size || (now.size == entry.size && now.time != entry.time))
      throw changed(session, entry);
  }
  return offset - begin;
}

}  // namespace ftp_host
