// The slots that ask the server for something: each logs, guards the host against exceptions, calls one
// function of fileops/ or listing/, and has what was changed read again through the object's own table.
#include <cstdint>
#include <string>
#include <utility>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "fileops/create_directory.h"
#include "fileops/move_entry.h"
#include "fileops/read_range.h"
#include "fileops/set_file_time.h"
#include "fileops/upload.h"
#include "protocol/protocol.h"

namespace ftp_plugin {
namespace {

/// No operation has a message for the host.
void clear(char** message) noexcept {
  if (message != nullptr) *message = nullptr;
}

void log_move(const char* operation, const char* id, const char* target, const _FS_FILE_V2& file) {
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s id [%s], target [%s], filename [%s], attr[%d]",
           operation, text_or_empty(id), text_or_empty(target), file.name.c_str(),
           static_cast<int>(file.attr));
}

}  // namespace

AERROR Protocol::GetFileList(const char* id, IFileList* list, char** message) {
  return no_throw("GetFileList", FAILED, [&] { return _GetFileList(id, list, message, nullptr, nullptr); });
}

AERROR Protocol::GetChanges(IFileChanges*, char**) { return SUCCESS; }

AERROR Protocol::GetFileInfo(const char* id, _FS_FILE_V2* file, char** message) {
  return no_throw("GetFileInfo", FAILED, [&] {
    clear(message);
    log_operation("GetFileInfo", id);
    __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s dir: [%d]", "GetFileInfo",
             static_cast<int>(file->attr & FS_ATTR_DIRECTORY));
    // A copy: the host may ask with a text of the record that is written here.
    // Pinned by OwnRecord.MayHoldTheTextsOfTheQuestion.
    const std::string path = text_or_empty(id);
    file->id = path.starts_with('/') ? path : '/' + path;
    if (is_sftp()) return sftp_stat(path.c_str(), file, message);
    if ((file->attr & FS_ATTR_DIRECTORY) != 0)
      return GetFileInfoUsingGetFileList(path.c_str(), file, message);
    return ftp_get_info(path.c_str(), file, message);
  });
}

AERROR Protocol::Rename(const char* id, const char* target, _FS_FILE_V2* file, char** message) {
  return no_throw("Rename", FILE_WRITE_FAILED, [&] {
    log_move("Rename", id, target, *file);
    return Move(id, target, file, message);
  });
}

AERROR Protocol::Move(const char* id, const char* target, _FS_FILE_V2* file, char** message) {
  return no_throw("Move", FILE_WRITE_FAILED, [&] {
    log_move("Move", id, target, *file);
    clear(message);
    return read_again(move_entry(view(), id, target, file->name, file->attr), file->attr, *file);
  });
}

AERROR Protocol::MoveDir(const char* id, const char* target, _FS_FILE_V2* file, char** message) {
  return no_throw("MoveDir", FILE_WRITE_FAILED, [&] {
    log_move("MoveDir", id, target, *file);
    file->attr = FS_ATTR_DIRECTORY;
    return Move(id, target, file, message);
  });
}

AERROR Protocol::CreateDirectory(const char* id, _FS_FILE_V2* file, char** message) {
  return no_throw("CreateDirectory", FOLDER_CREATION_FAILED, [&] {
    log_operation("CreateDirectory", id);
    clear(message);
    return read_again(create_directory(view(), id, file->name), FS_ATTR_DIRECTORY, *file);
  });
}

AERROR Protocol::Delete(const char* id, char** message) {
  return no_throw("Delete", FAILED, [&] {
    log_operation("Delete", id);
    return _Delete(id, message, false);
  });
}

AERROR Protocol::DeleteDirectory(const char* id, char** message) {
  return no_throw("DeleteDirectory", FAILED, [&] {
    log_operation("DeleteDirectory", id);
    return _Delete(id, message, true);
  });
}

AERROR Protocol::Read(const char* id, long long offset, long long length, std::shared_ptr<_FS_HANDLE> handle,
                      IFetchCallback* callback, char** message) {
  return no_throw("Read", FILE_READ_FAILED, [&] {
    clear(message);
    if (id == nullptr || *id == '\0' || length <= 0) return SUCCESS;  // nothing asked is nothing failed
    __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s [%s] offset %lld, length %lld", "Read", id,
             offset, length);
    return read_range(view(), id, offset, length, std::move(handle), callback);
  });
}

AERROR Protocol::Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* source,
                        _FS_FILE_V2* file, UPLOAD_FLAG, char** message) {
  return no_throw("Upload", FILE_WRITE_FAILED, [&] {
    __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s id [%s], name [%s]", "Upload",
             text_or_empty(id), file->name.c_str());
    clear(message);
    const std::int64_t sent = file->size;
    const AERROR result =
        read_again(upload(view(), id, std::move(handle), source, *file), FS_ATTR_FILE, *file);
    // Below 0 the size is unknown, the one or the other.
    if (result != SUCCESS || sent < 0 || file->size < 0 || file->size == sent) return result;
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s id: [%s] , %lld bytes of %lld are stored",
             "Upload", file->name.c_str(), static_cast<long long>(file->size), static_cast<long long>(sent));
    file->size = sent;  // a host that tries again with this record must not send less
    return FILE_WRITE_FAILED;
  });
}

AERROR Protocol::SetFileTime(const char* id, std::string, std::string access_time, std::string modify_time,
                             _FS_FILE_V2* file, char** message) {
  return no_throw("SetFileTime", FAILED, [&] {
    log_operation("SetFileTime", id);
    if (!can_set_times(view())) return NOT_SUPPORTED;
    clear(message);
    const AERROR result = set_file_time(view(), id, modify_time);
    if (result != SUCCESS) return result;
    file->modify_time = std::move(modify_time);
    file->access_time = std::move(access_time);
    return SUCCESS;
  });
}

AERROR Protocol::read_again(const changed_entry& changed, std::uint32_t attr, _FS_FILE_V2& file) {
  if (changed.id.empty()) return changed.result;
  file.attr = attr;
  return GetFileInfo(changed.id.c_str(), &file, nullptr);
}

}  // namespace ftp_plugin
