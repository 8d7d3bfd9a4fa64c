// Keeps account of the replies of one FTP request, to tell whether libcurl has read more than it looked at.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "transport/ftp/reply_lines.h"

namespace ftp_plugin {

/// libcurl keeps what it has read behind the end of a reply and reads that first next time. In a request that
/// sends no command before, libcurl 7 then reads with a pointer into the buffer of the request before, which
/// is freed. So such a connection must not see another request.
/// Rests on how libcurl 7 counts and where it has a line; libcurl 8 does both in another way, and this
/// account then says nothing. What it alone can tell is a reply over TLS of which half a line came with the
/// one before; the rest byte_account tells on both.
class reply_account {
 public:
  /// A request begins.
  void begin() noexcept { *this = {}; }

  /// libcurl looks at `line`, where it stands in libcurl's buffer; `header_size` is CURLINFO_HEADER_SIZE:
  /// bytes read so far, those that were kept counted twice.
  void take_line(std::string_view line, std::int64_t header_size) noexcept {
    // A kept line without a code (an empty one, a text behind the greeting) is no answer; libcurl passes over
    // it. Behind the end of a transfer nothing is decided any more: the answers to ABOR and to libcurl's own
    // QUIT.
    if (kept_ > 0 && kept_is_certain_ && has_reply_code(line) && !transfer_began_) out_of_step_ = true;
    if (has_reply_code(line) && line[0] == '1')
      transfer_began_ = true;  // "150 ...": the end of the data is told by another reply
    // In the middle of a long reply libcurl begins its buffer anew and reads half a line twice. How much that
    // was is not quite certain: it could have come piece by piece. (Below 0 are the lines of a proxy, which
    // are counted behind them.)
    if (next_line_ != nullptr && line.data() != next_line_ && unseen_ >= 0) {
      unseen_ = 0;
      buffer_began_anew_ = true;
    }
    const auto size = static_cast<std::int64_t>(line.size());
    unseen_ += header_size - header_size_ - size;
    header_size_ = header_size;
    kept_ = std::max<std::int64_t>(kept_ - size, 0);
    next_line_ = line.data() + line.size();
    if (ends_reply(line)) {
      kept_ = std::max<std::int64_t>(unseen_, 0);
      kept_is_certain_ = !buffer_began_anew_;
      unseen_ = 0;
      buffer_began_anew_ = false;
      next_line_ = nullptr;
    }
  }

  /// Whether libcurl has kept something that it has not looked at since.
  [[nodiscard]] bool keeps_bytes() const noexcept { return kept_ > 0; }

  /// Whether libcurl has taken something it had kept for the answer to a later command of this request: what
  /// the server says to the commands is then not what libcurl believes.
  [[nodiscard]] bool is_out_of_step() const noexcept { return out_of_step_; }

 private:
  std::int64_t header_size_ = 0;
  std::int64_t unseen_ = 0;  // bytes of the reply at hand, and behind it, that were read and not looked at
  const char* next_line_ = nullptr;  // where the reply at hand goes on; not to be read
  bool buffer_began_anew_ = false;   // in the middle of the reply at hand
  std::int64_t kept_ = 0;            // bytes kept behind the last reply and not looked at since
  bool kept_is_certain_ = true;
  bool transfer_began_ = false;
  bool out_of_step_ = false;
};

}  // namespace ftp_plugin
