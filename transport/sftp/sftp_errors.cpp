#include "transport/sftp/sftp_errors.h"

#include <libssh2.h>
#include <libssh2_sftp.h>

namespace ftp_plugin {

CURLcode sftp_status_code(unsigned long status) noexcept {
  switch (status) {
    case LIBSSH2_FX_NO_SUCH_FILE:
    case LIBSSH2_FX_NO_SUCH_PATH:
      return CURLE_REMOTE_FILE_NOT_FOUND;
    case LIBSSH2_FX_PERMISSION_DENIED:
    case LIBSSH2_FX_WRITE_PROTECT:
    case LIBSSH2_FX_LOCK_CONFLICT:
      return CURLE_REMOTE_ACCESS_DENIED;
    case LIBSSH2_FX_NO_SPACE_ON_FILESYSTEM:
    case LIBSSH2_FX_QUOTA_EXCEEDED:
      return CURLE_REMOTE_DISK_FULL;
    case LIBSSH2_FX_FILE_ALREADY_EXISTS:
      return CURLE_REMOTE_FILE_EXISTS;
    case LIBSSH2_FX_DIR_NOT_EMPTY:
      return CURLE_QUOTE_ERROR;
    default:
      return CURLE_SSH;
  }
}

CURLcode ssh_session_code(int error) noexcept {
  switch (error) {
    case LIBSSH2_ERROR_NONE:
      return CURLE_OK;
    case LIBSSH2_ERROR_SOCKET_NONE:
      return CURLE_COULDNT_CONNECT;
    case LIBSSH2_ERROR_ALLOC:
      return CURLE_OUT_OF_MEMORY;
    case LIBSSH2_ERROR_SOCKET_SEND:
      return CURLE_SEND_ERROR;
    case LIBSSH2_ERROR_SOCKET_RECV:
    case LIBSSH2_ERROR_SOCKET_DISCONNECT:
    case LIBSSH2_ERROR_CHANNEL_CLOSED:
    case LIBSSH2_ERROR_CHANNEL_EOF_SENT:
      return CURLE_RECV_ERROR;
    case LIBSSH2_ERROR_HOSTKEY_INIT:
    case LIBSSH2_ERROR_HOSTKEY_SIGN:
      return CURLE_PEER_FAILED_VERIFICATION;
    case LIBSSH2_ERROR_PASSWORD_EXPIRED:
    case LIBSSH2_ERROR_AUTHENTICATION_FAILED:
      return CURLE_LOGIN_DENIED;
    case LIBSSH2_ERROR_SOCKET_TIMEOUT:
    case LIBSSH2_ERROR_TIMEOUT:
      return CURLE_OPERATION_TIMEDOUT;
    default:
      return CURLE_SSH;
  }
}

}  // namespace ftp_plugin
