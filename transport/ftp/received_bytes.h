// What has come in on a TCP socket, by the system's own count: bytes that libcurl has read and keeps to
// itself are among them.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <optional>

namespace ftp_plugin {

/// Bytes that have come in on the connected TCP socket since it was opened, read or not; the end of the
/// stream counts as one. Nothing where the system does not count them (Linux does from 4.1 on).
[[nodiscard]] std::optional<std::int64_t> bytes_received(curl_socket_t socket) noexcept;

/// How many of them have been read.
[[nodiscard]] std::optional<std::int64_t> bytes_read(curl_socket_t socket) noexcept;

/// How many of them wait to be read. 0 where that cannot be told.
[[nodiscard]] std::int64_t bytes_waiting(curl_socket_t socket) noexcept;

}  // namespace ftp_plugin
