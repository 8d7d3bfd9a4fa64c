// The road from the text of a reply to the records that the host receives: cut into lines, parse, convert the
// name, build the identifier, hand over, look one name up. Knows no connection.
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
/// Every line makes one record: one that no parser understands comes as a record with an empty name and
/// attribute 0, the lines "." and ".." like any other. A look-up ends the listing at the first line whose raw
/// name (in the server's bytes) equals `find_name`; that line is delivered, later ones are not. When none
/// does,
/// `*found` stays as it was.
/// `text`   NUL-terminated; the listing ends there.
/// Errors   none of its own. What the host's AddFile throws passes through.
/// Threads  any, also several on one `vxworks_server` flag. Does not return where is_vxworks_server does not.
void deliver_listing(const char* text, const listing_context& context);

/// `convert` answers the name in UTF-8, or nothing when it must stay as it is. A name is also left alone when
/// `convert` throws; that is logged.
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
