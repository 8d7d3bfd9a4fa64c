// One login of the plug-in at a real server, with what tests keep asking of it. Not for several threads; the
// protocol object itself is.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "boundary/abi/file_record.h"
#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"
#include "tests/servers/daemons.h"

namespace live {

class Session {
 public:
  /// Logs in at once; `result()` says what came of it. Everything the plug-in logs meanwhile and later is in
  /// `log()`.
  explicit Session(const servers::Daemon& server, const fakes::FormEntries& login = {},
                   const fakes::FormEntries& options = {});
  Session(const std::string& url, const std::string& user, const std::string& password,
          const fakes::FormEntries& login = {}, const fakes::FormEntries& options = {});

  [[nodiscard]] AERROR result() const { return result_; }
  [[nodiscard]] const fakes::Logger& log() const { return log_; }
  /// The plug-in's log as one text, for a failing test.
  [[nodiscard]] std::string transcript() const;
  IProtocol_V2* operator->() const { return protocol_.get(); }

  /// A listing by name, without "." and ".."; the test fails when it fails or holds a name twice.
  [[nodiscard]] std::map<std::string, _FS_FILE_V2> list(const std::string& folder) const;
  /// `attribute` as the host would know it from a listing.
  [[nodiscard]] _FS_FILE_V2 info(const std::string& path, std::uint32_t attribute = FS_ATTR_FILE) const;
  /// The bytes of a range; the test fails when the read fails.
  [[nodiscard]] std::string read(const std::string& path, long long offset, long long length) const;

 private:
  fakes::Logger log_;
  fakes::ScopedLogger bound_{log_};
  fakes::ScopedProtocol protocol_;
  AERROR result_;
};

/// UTC time text of a record.
[[nodiscard]] std::string time_text(std::time_t seconds);

}  // namespace live
