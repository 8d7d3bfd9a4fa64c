// Lets a TLS data connection end without a goodbye.
#pragma once

#include <curl/curl.h>

namespace ftp_plugin {

/// libcurl 8 takes an end of the data without TLS's own goodbye for an error and closes the login; libcurl 7
/// does not. A download that is ended early ends so, and servers that never say that goodbye are not rare.
/// Whether all bytes are there is told by the final reply and their number, never by how the stream ended.
/// Makes every connection of `curl` take such an end. Returns whether that could be had: it needs OpenSSL 3.
[[nodiscard]] bool accept_end_without_goodbye(CURL* curl) noexcept;

}  // namespace ftp_plugin
