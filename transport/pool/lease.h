// A connection borrowed from the pool.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <utility>

#include "common/pinned.h"
#include "transport/pool/pool.h"

namespace ftp_plugin {

/// Leaving the scope drops the connection; only give_back() keeps it for others.
class lease : pinned {
 public:
  explicit lease(std::shared_ptr<pool> from) : pool_{std::move(from)}, con_{pool_->pop_con()} {
    con_->leave_moved_folder(pool_->folder_moves());
  }

  [[nodiscard]] connection& operator*() const noexcept { return *con_; }
  [[nodiscard]] connection* operator->() const noexcept { return con_.get(); }

  /// After a request that moved or removed a folder.
  void folder_was_moved() noexcept { pool_->count_folder_move(); }

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
