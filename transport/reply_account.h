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
    const std::int64_t read = header_size - header_size_;
    header_size_ = header_size;
    unseen_ = keeps_ ? read : unseen_ + read;
    unseen_ -= static_cast<std::int64_t>(line.size());
    keeps_ = ends_reply(line) && unseen_ > 0;
  }

  /// Whether libcurl has kept something that it has not looked at since.
  [[nodiscard]] bool keeps_bytes() const noexcept { return keeps_; }

 private:
  static bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
  static bool ends_reply(std::string_view line) noexcept {
    return line.size() > 3 && is_digit(line[0]) && is_digit(line[1]) && is_digit(line[2]) && line[3] == ' ';
  }

  std::int64_t header_size_ = 0;
  std::int64_t unseen_ = 0;  // bytes read in front of which libcurl has stopped looking
  bool keeps_ = false;
};

}  // namespace ftp_plugin
