#include "common/split.h"

namespace ftp_plugin {
namespace {

template <class Char>
std::vector<std::basic_string<Char>> pieces(const std::basic_string<Char>& text,
                                            const std::basic_regex<Char>& separator) {
  using iterator = std::regex_token_iterator<typename std::basic_string<Char>::const_iterator>;
  if (text.empty()) {
    return {};  // the iterator would yield the empty text itself
  }
  return {iterator{text.begin(), text.end(), separator, -1}, iterator{}};
}

}  // namespace

std::vector<std::string> split(const std::string& text, const std::regex& separator) {
  return pieces(text, separator);
}

std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator) {
  return pieces(text, separator);
}

}  // namespace ftp_plugin
