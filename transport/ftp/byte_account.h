// Keeps account of the bytes of one FTP control connection: what came in against what libcurl has shown of
// it. It tells a reply that nobody asked for, which libcurl would take for the answer to its next command.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "transport/ftp/reply_lines.h"

namespace ftp_plugin {

/// `Counter` below stands for the control socket: `received()` and `read()` give std::optional<std::int64_t>,
/// `waiting()` gives std::int64_t, see received_bytes.h. It is asked as little as will do: a question is a
/// system call.
class byte_account {
 public:
  /// A control connection is opened. `encrypted`: TLS begins with it, before any command.
  void begin_connection(bool encrypted) noexcept {
    *this = {};
    encrypted_ = encrypted;
  }

  /// A request begins, maybe on the connection of the request before.
  void begin_request() noexcept {
    transfer_began_ = false;
    out_of_step_ = false;
  }

  /// libcurl has sent `command`.
  template <class Counter>
  void take_command(std::string_view command, const Counter& counter) {
    asks_for_tls_ = command.starts_with("AUTH ");
    answer_is_due_ = true;
    if (!began_) {
      // What a SOCKS proxy said is read and never shown.
      began_ = true;
      read_before_ = counter.read();
      knows_ = read_before_.has_value();
      unshown_ = knows_ ? *read_before_ - shown_ : 0;
      first_command_ = true;
    } else {
      first_command_ = false;
      if (knows_ && encrypted_) read_before_ = counter.read();
    }
  }

  /// libcurl shows a line that it has read.
  template <class Counter>
  void take_line(std::string_view line, const Counter& counter) {
    const auto size = static_cast<std::int64_t>(line.size());
    shown_ += size;
    if (!has_reply_code(line)) {
      // libcurl passes over it, whether anybody asked for it or not.
      unasked_ = encrypted_ ? 0 : unasked_ - size;
      return;
    }
    if (answer_is_due_) {
      answer_is_due_ = false;
      // Behind the end of a transfer nothing is decided any more: the answers to ABOR and to libcurl's QUIT.
      if (!transfer_began_ && knows_ && (unasked_ > 0 || was_kept(counter))) out_of_step_ = true;
    }
    if (line[0] == '1') {
      transfer_began_ = true;  // "150 ...": the end of the data is told by another reply
      return;
    }
    if (!ends_reply(line)) return;
    if (asks_for_tls_) encrypted_ = line[0] == '2' || line[0] == '3';
    asks_for_tls_ = false;
    if (knows_ && began_) unasked_ = count_unasked(counter);
  }

  /// Whether the server has agreed on TLS for this connection.
  [[nodiscard]] bool is_encrypted() const noexcept { return encrypted_; }

  /// Whether something came in behind the last reply that is no answer to anything.
  [[nodiscard]] bool has_unasked_bytes() const noexcept { return unasked_ > 0; }

  /// Whether libcurl has taken what nobody asked for as the answer to a command of this request.
  [[nodiscard]] bool is_out_of_step() const noexcept { return out_of_step_; }

  /// Whether more has come in than libcurl has shown: the reply that is awaited is there, read or not. Always
  /// false over TLS, whose bytes are not those of the lines.
  template <class Counter>
  [[nodiscard]] bool awaits_nothing(const Counter& counter) const {
    return began_ && knows_ && !encrypted_ && counter.received().value_or(0) - unshown_ > shown_;
  }

 private:
  /// Whether the line at hand had been read before its command was sent.
  template <class Counter>
  bool was_kept(const Counter& counter) const {
    if (!encrypted_ && !first_command_) return false;  // it would have been counted behind the reply before
    return read_before_.has_value() && counter.read() == read_before_;
  }

  template <class Counter>
  std::int64_t count_unasked(const Counter& counter) {
    if (encrypted_) return counter.waiting();
    const std::optional<std::int64_t> received = counter.received();
    if (!received.has_value()) return 0;
    const std::int64_t more = *received - unshown_ - shown_;
    if (more >= 0) return more;
    unshown_ += more;  // what was taken for a proxy's words stood behind the greeting
    return 0;
  }

  bool encrypted_ = false;
  bool asks_for_tls_ = false;  // by the command at hand
  bool began_ = false;         // a first command was sent
  bool first_command_ = false;
  bool knows_ = false;  // the system counts
  bool answer_is_due_ = false;
  bool transfer_began_ = false;
  bool out_of_step_ = false;
  std::optional<std::int64_t> read_before_;  // when the command at hand was sent
  std::int64_t shown_ = 0;                   // bytes of all lines of this connection
  std::int64_t unshown_ = 0;                 // bytes that are shown to nobody: a SOCKS proxy's
  std::int64_t unasked_ = 0;                 // bytes behind the last reply; over TLS those of its records
};

}  // namespace ftp_plugin
