#include "listing/delivery.h"

#include <optional>
#include <string_view>

#include "boundary/log.h"
#include "common/charset.h"
#include "listing/basic_line.h"
#include "listing/mlsd_line.h"
#include "listing/reply_lines.h"
#include "listing/vxworks_line.h"

namespace ftp_plugin {
namespace {

constexpr const char* kOperation = "_GetFileList";

/// Back to an empty record. The texts keep their memory, and the host's list its blocks, for the next line.
void clear(_FS_FILE_V2& record) {
  record.id.clear();
  record.attr = 0;
  record.size = 0;
  record.create_time.clear();
  record.access_time.clear();
  record.modify_time.clear();
  record.name.clear();
  record.host_ref.reset();
  record.host_list.clear();
}

void parse_list_line(std::string_view line, bool first, const listing_context& context,
                     const basic_line_context& basic, _FS_FILE_V2& record) {
  if (context.vxworks_server.load(std::memory_order_relaxed)) {
    (void)parse_vxworks_line(line, record);  // a line without a name is delivered as well
    return;
  }
  if (parse_basic_line(line, basic, record) || !first) return;
  // The header itself is delivered as an empty record. Every later line of this reply, and of all later ones,
  // is a VxWorks line.
  if (is_vxworks_server(line)) context.vxworks_server.store(true, std::memory_order_relaxed);
}

/// Kept on purpose: the path is used as it is, so that "/a/" gives "/a//name", and the name is the server's,
/// not the converted one, so that the host can hand it back. A host that keeps identifiers would lose them.
/// Pinned by the Identifier rows of tests/unit/listing/delivery_test.cpp.
void set_identifier(std::string_view path, _FS_FILE_V2& record) {
  if (path != "/") record.id.assign(path);
  record.id += '/';
  record.id += record.name;
}

void copy_found(const _FS_FILE_V2& record, _FS_FILE_V2& found) {
  found.name = record.name;
  found.size = record.size;
  found.attr = record.attr;
  found.create_time = record.create_time;
  found.access_time = record.access_time;
  found.modify_time = record.modify_time;
}

}  // namespace

void log_name_conversion_failure(const _FS_FILE_V2& record) noexcept {
  __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s utf8 encoding exception: name[%s] attr[%d]",
           kOperation, record.name.c_str(), static_cast<int>(record.attr));
}

void deliver_listing(const char* text, const listing_context& context) {
  if (text == nullptr || (context.list == nullptr && context.find_name == nullptr)) return;
  const std::string_view path = text_or_empty(context.path);
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s id: [%s] , dir data : [%s]", kOperation,
           text_or_empty(context.path), text);

  std::optional<converter> to_utf8;  // opened once for all names
  if (!context.is_sftp && !context.names_are_utf8) to_utf8.emplace("UTF-8", context.server_charset.c_str());
  const basic_line_context basic{context.path, context.is_sftp, &context.follow_link, context.clock};

  _FS_FILE_V2 record;
  reply_lines lines{text};
  std::string_view line;
  for (bool first = true; lines.next(line); first = false) {
    clear(record);
    if (context.is_mlsd) {
      parse_mlsd_line(line, record);
    } else {
      parse_list_line(line, first, context, basic, record);
    }
    // Both are about the name as the server wrote it, so both come before the conversion.
    set_identifier(path, record);
    const bool wanted = context.find_name != nullptr && record.name == context.find_name;

    if (to_utf8 && *to_utf8) {
      convert_record_name(record, [&](const std::string& name) { return convert_name(*to_utf8, name); });
    }
    if (context.list != nullptr) {
      context.list->AddFile(&record);
      __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s AddFile: [%s] name[%s] attr[%d] time[%s]",
               kOperation, record.id.c_str(), record.name.c_str(), static_cast<int>(record.attr),
               record.modify_time.c_str());
    }
    if (wanted) {
      __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s Found: [%s]", kOperation, context.find_name);
      if (context.found != nullptr) copy_found(record, *context.found);
      return;
    }
  }
}

}  // namespace ftp_plugin
