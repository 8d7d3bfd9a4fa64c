// One request on a connection: sets options, runs, and undoes them on every path.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "boundary/abi/transfer_handle.h"
#include "common/pinned.h"
#include "transport/byte_sink.h"
#include "transport/command_list.h"
#include "transport/curl_option.h"
#include "transport/pool/connection.h"

namespace ftp_plugin {

/// The connection must have a handle. Texts are copied by libcurl, commands by the transfer; what a callback
/// is given is not: declare it before the transfer.
class transfer : pinned {
 public:
  explicit transfer(connection& con) : con_{con} {}
  ~transfer() { undo(); }

  /// Sets `option`; `after` is what the next borrower finds.
  template <option_value Value, option_value After>
  transfer& set(std::type_identity_t<option_for<Value, After>> option, Value value, After after) {
    undo_with(option.get(), after);
    return apply(option.get(), value);
  }

  /// Sets `option` and leaves it set.
  template <option_value Value>
  transfer& keep(std::type_identity_t<option_for<Value>> option, Value value) {
    return apply(option.get(), value);
  }

  /// Gives `option` the value `after` when the others are undone, although it was not set here.
  template <option_value After>
  transfer& clear(std::type_identity_t<option_for<After>> option, After after) {
    undo_with(option.get(), after);
    return *this;
  }

  /// Sends these commands before the request proper, or behind it. Once each.
  transfer& send_before(const std::vector<std::string>& commands);
  transfer& send_after(const std::vector<std::string>& commands);

  /// Body bytes go to `function` with `data`; afterwards the handle accepts and discards them again.
  template <class Function>
  transfer& write_to(Function* function, void* data) {
    return set(CURLOPT_WRITEFUNCTION, function, discard_function()).set(CURLOPT_WRITEDATA, data, nullptr);
  }

  /// Appends the lines of the server's replies to `replies`, beside whoever else looks at them.
  transfer& copy_replies_to(byte_vector& replies);

  /// The request downloads the bytes [offset, offset + length), in binary mode and at most `speed_limit` of
  /// them per second (0: as many as come).
  transfer& download(long long offset, long long length, long long speed_limit);

  /// The request stores `size` bytes (below 0: an unknown number), in binary mode and at most `speed_limit`
  /// of them per second.
  transfer& upload(long long size, long long speed_limit);

  /// Tells the host of the progress of the upload; `host` may be null. Its function is not called once run()
  /// has returned. On the handle the record stays set: it is the connection's.
  transfer& report_upload(const _FS_HANDLE* host);

  /// Runs the request, repeated under the one repeat rule, and undoes the options. An option that libcurl
  /// refused is the result, and then nothing is sent.
  [[nodiscard]] CURLcode run();

  /// The same, without repetition.
  [[nodiscard]] CURLcode run_once();

 private:
  using write_function = std::size_t (*)(char*, std::size_t, std::size_t, void*);
  static write_function discard_function() noexcept;

  template <class Value>
  transfer& apply(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(con_.GETCURL(), option, value);
    if (code != CURLE_OK && refused_ == CURLE_OK) refused_ = code;
    return *this;
  }
  template <class After>
  void undo_with(CURLoption option, After after) {
    undo_.emplace_back([this, option, after] { (void)curl_easy_setopt(con_.GETCURL(), option, after); });
  }

  transfer& limit_speed(long long bytes_per_second);
  [[nodiscard]] CURLcode attempt();
  void finish(CURLcode code) noexcept;
  void undo() noexcept;

  connection& con_;
  CURLcode refused_ = CURLE_OK;
  command_list before_;
  command_list after_;
  long long asked_for_ = 0;  // bytes of a range
  std::vector<std::function<void()>> undo_;
};

}  // namespace ftp_plugin
