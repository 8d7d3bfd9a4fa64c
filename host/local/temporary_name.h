// The names of files that are not complete yet, here and on servers.
#pragma once

#include <string>
#include <string_view>

namespace ftp_host {

/// The name under which the file `name` is stored until it is complete. `identity` is a text that changes
/// with the content: the same two texts give the same name, so that a partial file is found again, and is
/// never continued with other content. At most 60 bytes long.
[[nodiscard]] std::string temporary_name(std::string_view name, std::string_view identity);
/// Whether `name` is a temporary name, of any file or of the file `of`.
[[nodiscard]] bool is_temporary_name(std::string_view name);
[[nodiscard]] bool is_temporary_name_of(std::string_view name, std::string_view of);

}  // namespace ftp_host
