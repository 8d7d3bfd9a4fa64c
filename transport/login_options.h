// Settings of a server turned into options of a fresh libcurl handle: TLS, user, key file, proxy, mode.
// Errors: std::bad_alloc, also where libcurl has no memory for an option; std::length_error for a text that
// libcurl does not take.
#pragma once

#include <curl/curl.h>

#include "transport/server_settings.h"

namespace ftp_plugin {

/// Sets everything that the login needs, except the highest TLS version.
void set_login_options(CURL* curl, const server_settings& server);

/// Sets the proxy; without one there is none at all, whatever the environment says.
void set_proxy_options(CURL* curl, const proxy_settings& proxy);

/// Sets the user and the password, or the key file and its pass phrase.
void set_credentials(CURL* curl, const credentials& login);

}  // namespace ftp_plugin
