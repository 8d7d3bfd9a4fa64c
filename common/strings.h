// Cutting, trimming and comparing texts. Bytes are compared as they are: nothing here knows an encoding.
// Free functions without state, safe from any thread. Errors: std::bad_alloc only, except where noted.
#pragma once

#include <regex>
#include <string>
#include <vector>

namespace ftp_plugin {

/// The pieces of `text` between the matches of `separator`, in order.
/// Two separators side by side and one at the start give an empty piece; one at the end gives none. A text
/// without any match is its own only piece; an empty text has no piece.
/// Far too slow to be called once per line of a listing.
/// Errors     std::regex_error when the expression exceeds the library's limits.
[[nodiscard]] std::vector<std::string> split(const std::string& text, const std::regex& separator);
[[nodiscard]] std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator);

/// Removes the white space of the C locale (blank, TAB, LF, VT, FF, CR) at both ends.
/// Returns    `text` itself.
std::string& trim(std::string& text) noexcept;

/// True when `text` ends in `suffix`; an empty suffix ends every text. The first compares from the back, the
/// second searches from the back; their answers are the same.
[[nodiscard]] bool ends_with(const std::string& text, const std::string& suffix) noexcept;
[[nodiscard]] bool _ends_with(const std::string& text, const std::string& suffix) noexcept;

/// Leaves `text` as it is, whatever is asked for; see the comment at the definition.
void replace_all(std::string& text, const std::string& from, const std::string& to) noexcept;
void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to) noexcept;

}  // namespace ftp_plugin
