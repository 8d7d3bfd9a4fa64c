// Owner of the texts that libcurl makes.
#pragma once

#include <curl/curl.h>

#include "common/owner.h"

namespace ftp_plugin {

/// Owns a zero-terminated text of libcurl's.
using curl_text = owner<char, curl_free>;

}  // namespace ftp_plugin
