// A reply cut into its lines, in one pass and without a copy.
#pragma once

#include <cstddef>
#include <string_view>

namespace ftp_plugin {

/// Iterates over the pieces between the line feeds of a text. An empty piece before or between two line feeds
/// counts, an empty one behind the last line feed does not: the same pieces that split(text, "\n") gives.
class reply_lines {
 public:
  /// `text` is borrowed and must outlive the lines. Listings reach us as C text: build it from the `char*`,
  /// so that it ends at the first NUL byte.
  explicit reply_lines(std::string_view text) noexcept : rest_{text} {}

  /// Hands out the next line without its line feed and without one carriage return in front of that; false
  /// when no line is left.
  [[nodiscard]] bool next(std::string_view& line) noexcept;

 private:
  std::string_view rest_;
};

}  // namespace ftp_plugin
