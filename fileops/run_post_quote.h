// The request of the operations that are nothing but commands: create, delete, rename, move, set time.
#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

#include "transport/pool/connection.h"

namespace ftp_plugin {

/// Sends `commands` in order behind a request that transfers nothing. `create_missing_dirs` as libcurl's
/// CURLOPT_FTP_CREATE_MISSING_DIRS. The connection must have a handle. Returns the last result of libcurl.
[[nodiscard]] CURLcode run_post_quote(connection& con, const std::vector<std::string>& commands,
                                      long create_missing_dirs = CURLFTP_CREATE_DIR_NONE);

}  // namespace ftp_plugin
