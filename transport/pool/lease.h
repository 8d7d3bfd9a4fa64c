// A connection borrowed from the pool.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/pinned.h"
#include "transport/pool/pool.h"

namespace ftp_plugin {

/// What a list of commands does to folders of the server.
enum class folder_effect : std::uint8_t {
  kNone,     ///< nothing: files alone are concerned
  kCreates,  ///< makes one
  kMoves,    ///< moves or removes one
};

/// Leaving the scope drops the connection; only give_back() keeps it for others.
class lease : pinned {
 public:
  explicit lease(std::shared_ptr<pool> from);

  /// Whether the connection is logged in. If not, the operation fails, and nothing below may be called.
  explicit operator bool() const noexcept { return con_->GETCURL() != nullptr; }

  [[nodiscard]] connection& operator*() const noexcept { return *con_; }
  [[nodiscard]] connection* operator->() const noexcept { return con_.get(); }

  /// Sends `commands` in order behind a request that transfers nothing, under the one repeat rule. Behind
  /// kMoves every other connection leaves the folder in which it stands, see connection.
  /// Returns    the last result of libcurl.
  [[nodiscard]] CURLcode run_commands(const std::vector<std::string>& commands, folder_effect effect);

  /// Once, after the last use of the connection: then others may hold it.
  void give_back() { pool_->push_con(std::move(con_)); }

  /// The same behind a request that ended with `code`, if the server has answered it, be it with a refusal:
  /// else an answer may come yet, which a later request would take for its own.
  /// Pinned by Patience.WithAChangeOfTimesCostsTheConnection.
  void give_back_if_answered(CURLcode code) {
    if (code == CURLE_OK || code == CURLE_QUOTE_ERROR) give_back();
  }

 private:
  std::shared_ptr<pool> pool_;
  std::shared_ptr<connection> con_;
};

}  // namespace ftp_plugin
