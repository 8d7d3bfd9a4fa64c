// The functions that libcurl calls back for the request object. None of them lets an exception out.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>

namespace ftp_plugin {

/// A text that a request sends piece by piece. Borrows the bytes.
struct read_cursor {
  const char* data = nullptr;
  std::uint64_t position = 0;
  std::uint64_t length = 0;
};

/// Write function at rest: accepts and discards whatever arrives. libcurl's own default would write to the
/// write data as if that were a FILE, or to the standard output of the host.
std::size_t discard_body(char* data, std::size_t size, std::size_t count, void* ignored) noexcept;

/// Write function: appends the block to the `evbuffer` behind `buffer`. Returns the size of the block, or 0
/// (which ends the transfer with CURLE_WRITE_ERROR) when there is no memory for it.
std::size_t append_to_buffer(char* data, std::size_t size, std::size_t count, void* buffer) noexcept;

/// Read function: copies what is left behind the `read_cursor`, at most size * count bytes, and moves it on.
std::size_t read_from_cursor(char* out, std::size_t size, std::size_t count, void* cursor) noexcept;

/// Seek function of the same `read_cursor`, called when a body must be sent again. SEEK_SET sets the
/// position, SEEK_CUR adds to it, SEEK_END counts from the length; a position outside the text reads as its
/// end. Returns CURL_SEEKFUNC_FAIL (1) only without a cursor.
int seek_cursor(void* cursor, curl_off_t offset, int origin) noexcept;

/// Socket-option function: asks for a send buffer of 1 MiB. Always returns CURL_SOCKOPT_OK.
int enlarge_send_buffer(void* ignored, curl_socket_t socket, curlsocktype purpose) noexcept;

}  // namespace ftp_plugin
