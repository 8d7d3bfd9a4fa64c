// Keeps account of the replies of one FTP request, to tell whether libcurl has read more than it looked at.
#pragma once

#include <cstdint>
#include <string_view>

namespace ftp_plugin {

/// libcurl keeps what it has read behind the end of a reply and reads that first next time. In a request that
/// sends no command before, it then reads with a pointer into the buffer of the request before, which is
/// freed. So such a connection must not see another request.
class reply_account {
 public:
  /// A request begins.
  void begin() noexcept { *this = {}; }

  /// libcurl looks at `line`; `header_size` is CURLINFO_HEADER_SIZE: bytes read so far, those that were kept
  /// counted twice.
  void take_line(std::string_view line, std::int64_t header_size) noexcept {
    // Behind the end of a transfer nothing is decided any more: the answers to ABOR and to libcurl's own
    // QUIT.
    if (keeps_ && !transfer_began_) out_of_step_ = true;
    if (line.starts_with('1'))
      transfer_began_ = true;  // "150 ...": the end of the data is told by another reply
    const std::int64_t read = header_size - header_size_;
    header_size_ = header_size;
    unseen_ = keeps_ ? read : unseen_ + read;
    unseen_ -= static_cast<std::int64_t>(line.size());
    keeps_ = ends_reply(line) && unseen_ > 0;
  }

  /// Whether libcurl has kept something that it has not looked at since.
  [[nodiscard]] bool keeps_bytes() const noexcept { return keeps_; }

  /// Whether libcurl has taken something it had kept for the answer to a later command of this request: what
  /// the server says to the commands is then not what libcurl believes.
  [[nodiscard]] bool is_out_of_step() const noexcept { return out_of_step_; }

 private:
  static bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
  static bool ends_reply(std::string_view line) noexcept {
    return line.size() > 3 && is_digit(line[0]) && is_digit(line[1]) && is_digit(line[2]) && line[3] == ' ';
  }

  std::int64_t header_size_ = 0;
  std::int64_t unseen_ = 0;  // bytes read in front of which libcurl has stopped looking
  bool keeps_ = false;
  bool transfer_began_ = false;
  bool out_of_step_ = false;
};

}  // namespace ftp_plugin
