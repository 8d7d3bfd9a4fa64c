#include "transport/sftp/ssh_login.h"

#include <curl/curl.h>

#include "common/owner.h"
#include "common/pinned.h"
#include "transport/curl_text.h"

namespace ftp_plugin {
namespace {

constexpr const char* kSshPort = "22";

/// One URL taken apart by libcurl; false when it could not be.
class parsed_url : pinned {
 public:
  explicit parsed_url(const std::string& url) : parts_{curl_url()} {
    good_ = parts_ != nullptr &&
            curl_url_set(parts_.get(), CURLUPART_URL, url.c_str(), CURLU_ALLOW_SPACE) == CURLUE_OK;
  }
  explicit operator bool() const noexcept { return good_; }

  /// The part, decoded where `flags` say so; empty when there is none.
  [[nodiscard]] std::string get(CURLUPart part, unsigned flags) const {
    char* made = nullptr;
    const CURLUcode code = curl_url_get(parts_.get(), part, &made, flags);
    const curl_text text{made};
    return code == CURLUE_OK ? text.get() : std::string{};
  }

  /// Null takes the part away.
  bool set(CURLUPart part, const char* value) noexcept {
    return curl_url_set(parts_.get(), part, value, CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK;
  }

 private:
  owner<CURLU, curl_url_cleanup> parts_;
  bool good_ = false;
};

/// As libcurl reads it: up to the first NUL byte.
std::string c_text(const std::string& text) { return text.c_str(); }

}  // namespace

credentials ssh_login_of(const server_settings& server) {
  credentials login{c_text(server.login.user), c_text(server.login.password), c_text(server.login.key_file),
                    c_text(server.login.pass_phrase)};
  // libcurl's order, not quite the obvious one: a password in the URL that no setting replaces brings its
  // user with it. Pinned by SshLogin.FollowsLibcurl.
  const parsed_url url{c_text(server.url)};
  const std::string url_user = url ? url.get(CURLUPART_USER, CURLU_URLDECODE) : std::string{};
  const std::string url_password = url ? url.get(CURLUPART_PASSWORD, CURLU_URLDECODE) : std::string{};
  const bool url_password_counts = !url_password.empty() && login.password.empty();
  if (url_password_counts) login.password = url_password;
  if (login.user.empty() || (url_password_counts && !url_user.empty())) login.user = url_user;
  return login;
}

std::string bare_connection_url(const std::string& url) {
  parsed_url parts{url};
  if (!parts) return {};
  // A protocol in which nothing is said after connecting, and for which libcurl asks an HTTP proxy for a
  // tunnel whether or not the settings do, as it does for SFTP.
  const bool good = parts.set(CURLUPART_SCHEME, "telnet") && parts.set(CURLUPART_USER, nullptr) &&
                    parts.set(CURLUPART_PASSWORD, nullptr) && parts.set(CURLUPART_PATH, "/") &&
                    parts.set(CURLUPART_QUERY, nullptr) && parts.set(CURLUPART_FRAGMENT, nullptr);
  if (!good) return {};
  if (parts.get(CURLUPART_PORT, 0).empty() && !parts.set(CURLUPART_PORT, kSshPort)) return {};
  return parts.get(CURLUPART_URL, 0);
}

}  // namespace ftp_plugin
