#include "transport/sftp/sftp_errors.h"

#include <gtest/gtest.h>
#include <libssh2.h>
#include <libssh2_sftp.h>

namespace ftp_plugin {
namespace {

struct StatusCase {
  const char* label;
  unsigned long status;
  CURLcode want;
};

constexpr StatusCase kStatusCases[] = {
    {"NoSuchFile", LIBSSH2_FX_NO_SUCH_FILE, CURLE_REMOTE_FILE_NOT_FOUND},
    {"NoSuchPath", LIBSSH2_FX_NO_SUCH_PATH, CURLE_REMOTE_FILE_NOT_FOUND},
    {"NoPermission", LIBSSH2_FX_PERMISSION_DENIED, CURLE_REMOTE_ACCESS_DENIED},
    {"WriteProtected", LIBSSH2_FX_WRITE_PROTECT, CURLE_REMOTE_ACCESS_DENIED},
    {"Locked", LIBSSH2_FX_LOCK_CONFLICT, CURLE_REMOTE_ACCESS_DENIED},
    {"DiskFull", LIBSSH2_FX_NO_SPACE_ON_FILESYSTEM, CURLE_REMOTE_DISK_FULL},
    {"QuotaReached", LIBSSH2_FX_QUOTA_EXCEEDED, CURLE_REMOTE_DISK_FULL},
    {"AlreadyThere", LIBSSH2_FX_FILE_ALREADY_EXISTS, CURLE_REMOTE_FILE_EXISTS},
    {"DirectoryNotEmpty", LIBSSH2_FX_DIR_NOT_EMPTY, CURLE_QUOTE_ERROR},
    {"PlainFailure", LIBSSH2_FX_FAILURE, CURLE_SSH},
    {"LoopOfLinks", LIBSSH2_FX_LINK_LOOP, CURLE_SSH},
    {"AFailedCallIsNeverFine", LIBSSH2_FX_OK, CURLE_SSH},
};

class SftpStatus : public testing::TestWithParam<StatusCase> {};

TEST_P(SftpStatus, IsTheCodeThatLibcurlGives) {
  EXPECT_EQ(sftp_status_code(GetParam().status), GetParam().want);
}

INSTANTIATE_TEST_SUITE_P(, SftpStatus, testing::ValuesIn(kStatusCases),
                         [](const auto& row) { return row.param.label; });

struct SessionCase {
  const char* label;
  int error;
  CURLcode want;
  bool lost;
};

constexpr SessionCase kSessionCases[] = {
    {"None", LIBSSH2_ERROR_NONE, CURLE_OK, false},
    {"NoSocket", LIBSSH2_ERROR_SOCKET_NONE, CURLE_COULDNT_CONNECT, false},
    {"NoMemory", LIBSSH2_ERROR_ALLOC, CURLE_OUT_OF_MEMORY, false},
    {"SendingFailed", LIBSSH2_ERROR_SOCKET_SEND, CURLE_SEND_ERROR, true},
    {"ReceivingFailed", LIBSSH2_ERROR_SOCKET_RECV, CURLE_RECV_ERROR, true},
    {"ServerHungUp", LIBSSH2_ERROR_SOCKET_DISCONNECT, CURLE_RECV_ERROR, true},
    {"ServerClosedTheChannel", LIBSSH2_ERROR_CHANNEL_CLOSED, CURLE_RECV_ERROR, true},
    {"TooLate", LIBSSH2_ERROR_TIMEOUT, CURLE_OPERATION_TIMEDOUT, false},
    {"LoginRefused", LIBSSH2_ERROR_AUTHENTICATION_FAILED, CURLE_LOGIN_DENIED, false},
    {"PasswordExpired", LIBSSH2_ERROR_PASSWORD_EXPIRED, CURLE_LOGIN_DENIED, false},
    {"BadHostKey", LIBSSH2_ERROR_HOSTKEY_SIGN, CURLE_PEER_FAILED_VERIFICATION, false},
    {"AnythingElse", LIBSSH2_ERROR_PROTO, CURLE_SSH, false},
};

class SshSessionError : public testing::TestWithParam<SessionCase> {};

TEST_P(SshSessionError, IsTheCodeThatLibcurlGives) {
  EXPECT_EQ(ssh_session_code(GetParam().error), GetParam().want);
  EXPECT_EQ(is_lost_connection(ssh_session_code(GetParam().error)), GetParam().lost);
}

INSTANTIATE_TEST_SUITE_P(, SshSessionError, testing::ValuesIn(kSessionCases),
                         [](const auto& row) { return row.param.label; });

}  // namespace
}  // namespace ftp_plugin
