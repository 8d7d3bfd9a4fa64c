// A question to an FTP server that may well be refused.
#pragma once

#include <curl/curl.h>

#include <string>
#include <string_view>

#include "common/pinned.h"
#include "transport/command_list.h"
#include "transport/pool/connection.h"

namespace ftp_plugin {

/// libcurl closes the control connection behind a refused command, unless it is told that a refusal is no
/// failure; then it does not tell of the refusal. So the answer is taken from what the server says. Hears the
/// next requests of its connection, which must outlive it.
class probe : pinned, private control_listener {
 public:
  /// Errors     std::bad_alloc.
  probe(connection& con, std::string command);
  ~probe();

  /// For CURLOPT_QUOTE.
  [[nodiscard]] curl_slist* commands() const noexcept { return commands_.get(); }

  /// The result of the request that ended with `code`: CURLE_QUOTE_ERROR for a refusal.
  [[nodiscard]] CURLcode judge(CURLcode code) const noexcept {
    return code == CURLE_OK && refused_ ? CURLE_QUOTE_ERROR : code;
  }

 private:
  void sent(std::string_view command) noexcept override;
  [[nodiscard]] bool heard(std::string_view line) noexcept override;

  connection& con_;
  const std::string command_;
  command_list commands_;
  bool answer_is_due_ = false;
  bool refused_ = false;
};

}  // namespace ftp_plugin
