// The idle, logged-in connections of one configured server, so that successive operations share a login.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

#include "boundary/abi/error_codes.h"
#include "common/pinned.h"
#include "transport/pool/connection.h"
#include "transport/server_settings.h"
#include "transport/settings.h"

namespace ftp_plugin {

/// pop_con and push_con may be called from several threads at once, and nobody waits for another one's login
/// or goodbye. A connection taken out belongs to its borrower alone. Use lease (transport/pool/lease.h) to
/// borrow.
class pool : pinned {
 public:
  /// Reads the settings, once for all its connections; no traffic.
  explicit pool(const settings_map& settings) : server_{read_settings(settings)} {}
  /// Releases the idle connections; each says goodbye when its last owner goes.
  ~pool() = default;

  /// Logs in once, keeps that connection and finds out what the server understands (utf8, mlst). Returns the
  /// result of the login, FAILED when a probe finds no handle, else SUCCESS. Run it before the pool is
  /// shared.
  [[nodiscard]] AERROR TestConnect();

  /// The longest idle connection, or a new one that is logged in on the spot, its URL set to the base URL.
  /// Never empty, but the login may have failed: then its GETCURL() is null.
  [[nodiscard]] std::shared_ptr<connection> pop_con();

  /// Takes a connection back; closes it when six are idle already.
  void push_con(std::shared_ptr<connection> con);

  /// Fills the list up to the least number of connections with unconnected ones. Returns the list's size.
  std::int32_t init();

  /// Closes every idle connection.
  void destroy();

  /// A folder was moved or removed: a connection that stands in it may stand elsewhere. For lease.
  void count_folder_move() noexcept { ++folder_moves_; }
  [[nodiscard]] std::uint64_t folder_moves() const noexcept { return folder_moves_; }

  /// Whether names travel in UTF-8.
  [[nodiscard]] bool utf8() const noexcept { return utf8_; }
  /// Whether the server accepted the choice of MLST facts, and so lists with MLSD.
  [[nodiscard]] bool mlst() const noexcept { return mlst_; }

 private:
  /// The longest idle connection, or null.
  [[nodiscard]] std::shared_ptr<connection> take_idle();

  // pool_probe.cpp
  /// Sends `command` on a body-less request. Returns false when no connection could be had; `accepted` tells
  /// whether the server took it.
  [[nodiscard]] bool asks(const char* command, bool& accepted);

  const server_settings server_;
  std::list<std::shared_ptr<connection>> idle_;
  std::int32_t min_connections_ = 1;
  bool utf8_ = false;
  bool mlst_ = false;
  std::atomic<std::uint64_t> folder_moves_{0};
  std::mutex lock_;
};

}  // namespace ftp_plugin
