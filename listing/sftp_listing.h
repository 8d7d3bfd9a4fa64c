// The listing of an SFTP directory as text: one line for each entry, see listing/sftp_line.h.
#pragma once

#include <cstddef>
#include <string_view>

#include "transport/byte_sink.h"
#include "transport/sftp/sftp_entry.h"

namespace ftp_plugin {

/// Makes each entry's line as the entry arrives, so that the directory is held once, as its text. Entries
/// whose name does not fit a line are counted and left out.
class sftp_listing final : public sftp_entry_sink {
 public:
  void begin() override;
  void take(const sftp_entry& entry, const link_lookup& target_of) override;

  [[nodiscard]] std::string_view text() const noexcept { return {text_.data(), text_.size()}; }
  [[nodiscard]] std::size_t left_out() const noexcept { return left_out_; }

  /// Gives the text away, zero-terminated; null when there is none.
  /// Errors     std::bad_alloc; the text is then as it was.
  [[nodiscard]] malloc_block release_text() { return text_.release_text(); }

 private:
  byte_vector text_;
  std::size_t left_out_ = 0;
};

}  // namespace ftp_plugin
