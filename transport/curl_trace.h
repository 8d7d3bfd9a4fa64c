// libcurl's trace in the host's log: information, commands and replies, but never a secret.
#pragma once

#include <curl/curl.h>

#include <cstddef>

namespace ftp_plugin {

/// libcurl's debug function. Writes one line for each piece of information, each reply and each command to
/// the bound logger, on the thread that performs the transfer; data and TLS traffic are left out. A command
/// that begins with "PASS " is left out, and the value of an "Authorization" or "Proxy-Authorization" header
/// becomes "***", also when it arrives in several pieces; so does the password of a URL, whoever names it.
/// `user` is ignored. Always returns 0.
int CURLDebug(CURL* handle, curl_infotype type, char* data, std::size_t size, void* user) noexcept;

}  // namespace ftp_plugin
