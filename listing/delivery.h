// The pipeline from the text of a reply to the records that the host receives: cut into lines, parse, convert
// the name, build the identifier, hand over, look one name up. Knows no connection.
#pragma once

#include <atomic>
#include <exception>
#include <string>

#include "boundary/abi/file_record.h"
#include "boundary/abi/host_interfaces.h"
#include "listing/basic_line.h"
#include "listing/ftpparse_time.h"

namespace ftp_plugin {

/// What one listing is about. Everything is borrowed for the call.
struct listing_context {
  const char* path;                   ///< the listed directory as the host names it; may be null
  bool is_mlsd;                       ///< the reply holds MLSD facts, else LIST lines
  bool is_sftp;                       ///< SFTP names are never converted, and links are followed
  bool names_are_utf8;                ///< the server speaks UTF-8: names are not converted
  const std::string& server_charset;  ///< encoding of other names; "" is the locale's
  std::atomic<bool>& vxworks_server;  ///< set, and never cleared, once a reply shows that server's header
  IFileList* list;                    ///< receives every line's record; may be null
  const char* find_name;              ///< the raw name to look up; may be null
  _FS_FILE_V2* found;                 ///< receives the entry that has it, all but the identifier
  /// See basic_line_context::follow_link. May be empty.
  link_follower follow_link = {};
  const list_clock* clock = nullptr;  ///< null: the machine's clock
};

/// Delivers `text`, line by line and in its order; does nothing when neither a list nor a name is given.
/// Every line makes one record, the lines "." and ".." as well; a line that no parser understands makes a
/// record with an empty name and attribute 0. A look-up ends the listing at the first line whose raw name (in
/// the server's bytes) equals `find_name`: that line is delivered, later ones are not. `*found` stays as it
/// was when no name is equal.
/// `text`   NUL-terminated; the listing ends there.
/// Errors   none of its own. What the host's AddFile throws passes through.
/// Threads  any; several may share one `vxworks_server` flag. Where is_vxworks_server does not return, this
///          does not either.
void deliver_listing(const char* text, const listing_context& context);

/// Puts what `convert` makes of the record's name in its place.
/// `convert`  takes the name and returns it in UTF-8, or nothing when it must stay as it is. When it throws,
///            the name stays as well, and a line in the log tells.
template <class Convert>
void convert_record_name(_FS_FILE_V2& record, Convert&& convert) noexcept;

/// The log line of a name whose conversion threw.
void log_name_conversion_failure(const _FS_FILE_V2& record) noexcept;

template <class Convert>
void convert_record_name(_FS_FILE_V2& record, Convert&& convert) noexcept {
  try {
    if (auto converted = convert(static_cast<const std::string&>(record.name))) {
      record.name.swap(*converted);
    }
  } catch (...) {
    log_name_conversion_failure(record);  // the name has not been touched
  }
}

}  // namespace ftp_plugin
