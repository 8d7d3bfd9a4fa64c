// One request on a connection: sets options, runs, and undoes them on every path.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <vector>

#include "common/pinned.h"
#include "transport/pool/connection.h"

namespace ftp_plugin {

/// The connection must have a handle. Texts are copied by libcurl; lists, contexts and records are not:
/// declare them before the transfer. Numbers are long or curl_off_t, as libcurl reads them.
class transfer : pinned {
 public:
  explicit transfer(connection& con) : con_{con} {}
  ~transfer() { undo(); }

  /// Sets `option`; `after` is what the next borrower finds.
  template <class Value, class After>
  transfer& set(CURLoption option, Value value, After after) {
    undo_.emplace_back([option, after](CURL* curl) { curl_easy_setopt(curl, option, after); });
    return keep(option, value);
  }

  /// Sets `option` and leaves it set.
  template <class Value>
  transfer& keep(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(con_.GETCURL(), option, value);
    if (code != CURLE_OK && refused_ == CURLE_OK) refused_ = code;
    return *this;
  }

  /// Gives `option` the value `after` when the others are undone, although it was not set here.
  template <class After>
  transfer& clear(CURLoption option, After after) {
    undo_.emplace_back([option, after](CURL* curl) { curl_easy_setopt(curl, option, after); });
    return *this;
  }

  /// Body bytes go to `function` with `data`; afterwards the handle accepts and discards them again.
  template <class Function>
  transfer& write_to(Function* function, void* data) {
    return set(CURLOPT_WRITEFUNCTION, function, discard_function()).set(CURLOPT_WRITEDATA, data, nullptr);
  }

  /// Runs the request, repeated under the one repeat rule, and undoes the options. An option that libcurl
  /// refused is the result, and then nothing is sent.
  [[nodiscard]] CURLcode run();

  /// The same, without repetition.
  [[nodiscard]] CURLcode run_once();

 private:
  using write_function = std::size_t (*)(char*, std::size_t, std::size_t, void*);
  static write_function discard_function() noexcept;
  [[nodiscard]] CURLcode attempt();
  void undo() noexcept;

  connection& con_;
  CURLcode refused_ = CURLE_OK;
  std::vector<std::function<void(CURL*)>> undo_;
};

}  // namespace ftp_plugin
