// The names of files that are not complete yet, here and on servers.
#pragma once

#include <string>
#include <string_view>

namespace ftp_host {

/// The name under which `name` is stored until it is complete. The same `name` and `identity` (a text that
/// changes with the content) give the same answer, so that a partial file is found again and never continued
/// with other content. At most 60 bytes long.
[[nodiscard]] std::string temporary_name(std::string_view name, std::string_view identity);
/// Whether temporary_name gave `name`, for any file; or for the file `of`, with whatever identity.
[[nodiscard]] bool is_temporary_name(std::string_view name);
[[nodiscard]] bool is_temporary_name_of(std::string_view name, std::string_view of);

}  // namespace ftp_host
