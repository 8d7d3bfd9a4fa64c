#include "host/remote/operation_log.h"

#include <gtest/gtest.h>

namespace ftp_host {
namespace {

TEST(OperationLog, ExplainsWithTheServersRefusal) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION]   Trying 127.0.0.1:21...\n");
  EXPECT_FALSE(log.server_spoke);
  note_log_line(log, "[NETWORK   ] [INFORMATION] Connected to h (127.0.0.1) port 21 (#0)\n");
  EXPECT_TRUE(log.server_spoke);
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 530 Login incorrect.\r\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Access denied: 530\n");
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 221 Goodbye.\r\n");
  EXPECT_EQ(log.explanation(), "530 Login incorrect.");
}

TEST(OperationLog, NoticesAListingThatTheServerCouldNotMake) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 226 Directory send OK.\r\n");
  EXPECT_FALSE(log.listing_failed);
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 226 Transfer done (but failed to open directory).\r\n");
  EXPECT_TRUE(log.listing_failed);
  EXPECT_EQ(log.explanation(), "226 Transfer done (but failed to open directory).");
}

TEST(OperationLog, IsNotExplainedByTheEndOfTls) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION] path contains control characters\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] TLSv1.2 (OUT), TLS alert, close notify (256):\n");
  EXPECT_EQ(log.explanation(), "path contains control characters");
}

TEST(OperationLog, ExplainsASilentServerWithThePluginsOwnLine) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION] SSH authentication methods available: password\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Initialized password authentication\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Authentication complete\n");
  EXPECT_EQ(log.explanation(), "");
  note_log_line(log, "[PROTOCOL  ] read_dir id: [/exec error: [78]] , exec error: [9]\n");
  EXPECT_EQ(log.explanation(), "access denied");
  note_log_line(log, "[PROTOCOL  ] sftp_stat id: [/x] , exec error: [78]\n");
  EXPECT_EQ(log.explanation(), "no such file or directory");
  note_log_line(log, "[PROTOCOL  ] _Delete id: [/x] , exec error: [21]\n");
  EXPECT_EQ(log.explanation(), "the name cannot be sent");
  note_log_line(log, "[PROTOCOL  ] read_dir id: [/x] , exec error: [79]\n");
  EXPECT_EQ(log.explanation(), "the transport's code 79");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Authentication failure\n");
  EXPECT_EQ(log.explanation(), "Authentication failure");
}

TEST(OperationLog, ExplainsWithTheTransportWhenNobodyAnswered) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION] Could not resolve host: nowhere\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Closing connection 0\n");
  EXPECT_FALSE(log.server_spoke);
  EXPECT_EQ(log.explanation(), "Could not resolve host: nowhere");
}

}  // namespace
}  // namespace ftp_host
