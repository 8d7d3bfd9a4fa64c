// What an operation knows of its server: whose logins it may use, and how names and paths are written for it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "transport/pool/pool.h"
#include "transport/remote_path.h"

namespace ftp_plugin {

/// Borrowed from the object that the host holds, for one operation. The object makes a new view for each, so
/// that operations on several threads share the pool and the VxWorks flag and nothing else.
struct server_view {
  const std::shared_ptr<pool>& connections;  ///< null before the first login, see connected_pool
  bool is_sftp;                              ///< else FTP or FTPS
  std::string_view url;                      ///< the server's URL, without a path
  path_rules paths;
  std::int64_t speed_limit;           ///< bytes per second; 0 is unlimited
  const std::string& server_charset;  ///< encoding of names where they are not UTF-8; "" is the locale's
  bool names_are_utf8;                ///< the server speaks UTF-8
  std::atomic<bool>& vxworks_server;  ///< set, and never cleared, once a listing shows that server's header
  std::int32_t file_time_mode;        ///< 1: MFMT sets times

  /// The pool to borrow from.
  /// Errors     std::logic_error before the first login, so that an operation that comes too early fails like
  ///            any other.
  [[nodiscard]] const std::shared_ptr<pool>& connected_pool() const;
};

/// Path of `id` for a raw command, see transport/remote_path.h.
[[nodiscard]] std::string command_path(const server_view& server, const char* id);

/// URL of `id` on this connection; only the part behind the server's URL is percent-encoded.
[[nodiscard]] std::string request_url(const server_view& server, connection& con, const char* id);

/// `name` in the server's character set; unchanged on SFTP, without `convert`, or where it cannot be
/// converted.
[[nodiscard]] std::string encode_name(const server_view& server, std::string name, bool convert);

}  // namespace ftp_plugin
