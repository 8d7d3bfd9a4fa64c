// What an SFTP server sends about the entries of a directory, and who receives it.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "transport/sftp/sftp_attributes.h"

namespace ftp_plugin {

/// One entry. The texts live for the call that hands it out.
struct sftp_entry {
  std::string_view name;  ///< any bytes
  std::string_view
      long_name;  ///< the server's own line for it, usually in the style of `ls -l`; may be empty
  sftp_attributes attributes;  ///< of the entry itself; a link is not followed
};

/// Asks the server for the attributes of what the link `name` of the listed directory leads to; nothing when
/// it leads nowhere.
using link_lookup = std::function<std::optional<sftp_attributes>(std::string_view name)>;

/// Receives a directory entry by entry. What it throws passes through the request.
class sftp_entry_sink {
 public:
  /// A listing begins. Also in the middle of one whose session was lost: it begins anew.
  virtual void begin() = 0;
  /// The next entry, "." and ".." included where the server sends them. `target_of` may be called during this
  /// call only.
  virtual void take(const sftp_entry& entry, const link_lookup& target_of) = 0;

 protected:
  ~sftp_entry_sink() = default;
};

}  // namespace ftp_plugin
