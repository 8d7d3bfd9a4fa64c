#include "listing/sftp_listing.h"

#include <optional>

#include "listing/sftp_line.h"

namespace ftp_plugin {

void sftp_listing::begin() {
  text_.clear();
  left_out_ = 0;
}

void sftp_listing::take(const sftp_entry& entry, const link_lookup& target_of) {
  if (!fits_a_line(entry.name)) {
    ++left_out_;
    return;
  }
  if (!is_link_with_arrow_in_name(entry)) {
    append_listing_line(text_, entry);
    return;
  }
  const std::optional<sftp_attributes> target = target_of(entry.name);
  append_listing_line(text_, listed_as(entry, target ? &*target : nullptr));
}

}  // namespace ftp_plugin
