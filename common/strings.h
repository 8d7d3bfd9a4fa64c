// Trimming and comparing texts. Bytes are compared as they are: nothing here knows an encoding.
// No operation calls replace_all: it belongs to the library by contract.
// Free functions without state, safe from any thread. They report no errors.
#pragma once

#include <string>

namespace ftp_plugin {

/// Removes the white space of the C locale (blank, TAB, LF, VT, FF, CR) at both ends.
/// Returns    `text` itself.
std::string& trim(std::string& text) noexcept;

/// True when `text` ends in `suffix`; an empty suffix ends every text. The first compares from the back, the
/// second searches from the back; their results are the same.
[[nodiscard]] bool ends_with(const std::string& text, const std::string& suffix) noexcept;
[[nodiscard]] bool _ends_with(const std::string& text, const std::string& suffix) noexcept;

/// Leaves `text` as it is, whatever is asked for; see the comment at the definition.
void replace_all(std::string& text, const std::string& from, const std::string& to) noexcept;
void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to) noexcept;

}  // namespace ftp_plugin
