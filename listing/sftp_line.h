// One directory entry of an SFTP server as one line of a listing, in the form that the LIST parser reads.
// Pure functions of text, safe from any thread.
//
// The line is the server's long name, `ls -l` style, with `;` and the modification time in seconds set behind
// the file name. The parser takes what stands behind the last `;` for the time, so every time is exact and a
// `;` in the name stays there. Where the LIST parser does not find exactly this entry in the long name
// (missing, another form, another name or size), the line is made from the attributes.
#pragma once

#include <string_view>

#include "transport/byte_sink.h"
#include "transport/sftp/sftp_entry.h"

namespace ftp_plugin {

/// Whether the name can stand in a line at all. One that holds a line feed would be cut in two, and the
/// second half could pass for an entry of its own; one that holds a NUL byte would end the whole listing.
[[nodiscard]] bool fits_a_line(std::string_view name) noexcept;

/// Whether the entry is a link whose name holds ` -> `: the parser would take that for the arrow in front of
/// the link's target and cut the name there. Such a link has to be listed as what it leads to, see
/// listed_as().
[[nodiscard]] bool is_link_with_arrow_in_name(const sftp_entry& entry) noexcept;

/// The link `entry` as a plain entry, with what the parser would have made of it: a directory without a size
/// when `target` is one, else a file with the link's own size. The time stays that of the link. `target` is
/// null when the link leads nowhere.
[[nodiscard]] sftp_entry listed_as(const sftp_entry& entry, const sftp_attributes* target) noexcept;

/// Appends the entry's line and a line feed. The name must fit a line.
void append_listing_line(byte_vector& listing, const sftp_entry& entry);

}  // namespace ftp_plugin
