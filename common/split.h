// Cutting text at the matches of a regular expression. No operation calls it: split belongs to the library by
// contract and stands in a source of its own, so that linking leaves it and <regex> out of the plug-in.
// Free functions without state, safe from any thread.
#pragma once

#include <regex>
#include <string>
#include <vector>

namespace ftp_plugin {

/// The pieces of `text` between the matches of `separator`, in order.
/// Two separators side by side and one at the start give an empty piece; one at the end gives none. A text
/// without any match is its own only piece; an empty text has no piece.
/// Far too slow to be called once per line of a listing.
/// Errors     std::regex_error when the expression exceeds the library's limits; std::bad_alloc.
[[nodiscard]] std::vector<std::string> split(const std::string& text, const std::regex& separator);
[[nodiscard]] std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator);

}  // namespace ftp_plugin
