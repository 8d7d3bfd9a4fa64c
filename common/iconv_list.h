// The names of the encodings that iconv knows. glibc can convert them but not list them: this is the function
// that GNU libiconv has for it, with the same signature. Safe from any thread.
#pragma once

#include <string>
#include <vector>

namespace ftp_plugin {

/// Calls `do_one(count, names, data)` once for each encoding, with all its names. Stops after the call that
/// does not return 0. The names live as long as the process. The list is read from the C library's
/// configuration at the first call and replayed from then on. Where that cannot be read, the encodings built
/// into the C library are listed. Errors     none of its own; what `do_one` throws passes through.
void iconvlist(int (*do_one)(unsigned int namescount, const char* const* names, void* data), void* data);

/// The names of one encoding, the one that the others stand for first.
using encoding_names = std::vector<std::string>;

/// The encodings of one folder of the C library's conversion modules: its `gconv-modules` and its
/// `gconv-modules.d/*.conf`, the latter by name. The encodings built into the C library come first. Lines of
/// any other form than "module from to file" and "alias name encoding" are ignored, and so are files that
/// cannot be read. Errors     std::bad_alloc.
[[nodiscard]] std::vector<encoding_names> read_encodings(const std::string& folder);

/// Where the C library in this process keeps its conversion modules; empty when it is not found.
/// Errors     std::bad_alloc.
[[nodiscard]] std::string find_modules_folder();

}  // namespace ftp_plugin
