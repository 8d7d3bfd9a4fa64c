// Matching of names against expressions with the DOS wildcards. No operation calls it: it belongs to the
// library by contract. Free functions without state, safe from any
// thread as long as nobody changes the locale. No errors.
#pragma once

namespace ftp_plugin {

/// True when the whole of `name` matches `expression`; neither may be null. In the expression
///   `*`  stands for any text,
///   `?`  for one character,
///   `"`  for one `.`, or for nothing,
///   `>`  for one character other than the last `.`, or for nothing before that one,
///   `<`  for any text up to the last `.`; for nothing at the start of a text without one,
/// and every other character for itself, or with `ignore_case` for itself in upper or lower case.
/// The time grows exponentially with the number of `*` and `<`: not for expressions from strangers.
[[nodiscard]] bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case) noexcept;
[[nodiscard]] bool IsNameInExpression(const wchar_t* expression, const wchar_t* name,
                                      bool ignore_case) noexcept;

}  // namespace ftp_plugin
