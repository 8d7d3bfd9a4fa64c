// Settings of a server turned into options of a fresh libcurl handle: TLS, user, key file, proxy, mode.
// Errors: std::bad_alloc, also where libcurl has no memory for an option; std::length_error for a text that
// libcurl does not take.
#pragma once

#include <curl/curl.h>

#include "transport/settings.h"

namespace ftp_plugin {

/// Sets everything that the login needs, except the highest TLS version. May insert "proxy_pwd" (see
/// setting()).
void set_login_options(CURL* curl, settings_map& settings);

/// Sets the proxy that the settings name; no proxy at all, whatever the environment says, when "proxy_type"
/// is missing or "None".
void set_proxy_options(CURL* curl, const settings_map& settings);

/// Sets the user and the password, key file or pass phrase. May insert "proxy_pwd".
void set_credentials(CURL* curl, settings_map& settings);

/// Whether the URL begins with "ftp://", "ftps://" or "sftp://". libcurl takes other letters and guesses a
/// scheme where there is none, but then the settings tell of no kind of server, or of an earlier one.
[[nodiscard]] bool names_scheme(const settings_map& settings);

/// Whether user and password can go out in commands. libcurl sends them as they are: behind a line break the
/// server would read a command of its own.
[[nodiscard]] bool fit_into_commands(const settings_map& settings);

/// Whether TLS will be spoken or asked for: "ssl" is "true", or the URL begins with "ftps://".
[[nodiscard]] bool wants_tls(const settings_map& settings);

}  // namespace ftp_plugin
