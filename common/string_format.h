// printf-style formatting into a string: every command, path and log text is built with it.
// Free function without state, safe from any thread.
#pragma once

#include <string>

namespace ftp_plugin {

/// Formats the arguments as `vsnprintf` does.
/// `format`   a format in printf's language; text after its first zero byte is not read.
/// Returns    the formatted text, up to its first zero byte, of any length.
/// Errors     std::bad_alloc, also for what vsnprintf refuses; arguments that do not fit the format behave as
///            there.
[[nodiscard]] std::string string_format(std::string format, ...);

}  // namespace ftp_plugin
