#include "fileops/result_codes.h"

namespace ftp_plugin {
namespace {

AERROR change_result(CURLcode code, AERROR failure) noexcept {
  switch (code) {
    case CURLE_OK:
      return SUCCESS;
    case CURLE_REMOTE_ACCESS_DENIED:
      return ACCESS_DENIED;
    default:
      return failure;
  }
}

}  // namespace

AERROR read_result(CURLcode code) noexcept {
  switch (code) {
    case CURLE_OK:
      return SUCCESS;
    case CURLE_WRITE_ERROR:  // how the write callback ends a transfer that the host stopped
      return READ_CANCELED;
    default:
      return FILE_READ_FAILED;
  }
}

AERROR create_result(CURLcode code) noexcept { return change_result(code, FOLDER_CREATION_FAILED); }

// Kept on purpose: an upload that the host stopped is a failed write, while a stopped download has a code of
// its own.
// Pinned by Upload.CancelledOnTheWayFailsAndDropsTheConnection.
AERROR write_result(CURLcode code) noexcept { return change_result(code, FILE_WRITE_FAILED); }

}  // namespace ftp_plugin
