#include "fileops/result_codes.h"

#include <gtest/gtest.h>

namespace ftp_plugin {
namespace {

TEST(ResultCodes, TellACancelledReadFromAFailedOne) {
  EXPECT_EQ(read_result(CURLE_OK), SUCCESS);
  EXPECT_EQ(read_result(CURLE_WRITE_ERROR), READ_CANCELED);
  EXPECT_EQ(read_result(CURLE_REMOTE_ACCESS_DENIED), FILE_READ_FAILED);
  EXPECT_EQ(read_result(CURLE_FTP_WEIRD_PASV_REPLY), FILE_READ_FAILED);
}

TEST(ResultCodes, TellARefusedDirectoryFromAFailedOne) {
  EXPECT_EQ(create_result(CURLE_OK), SUCCESS);
  EXPECT_EQ(create_result(CURLE_REMOTE_ACCESS_DENIED), ACCESS_DENIED);
  EXPECT_EQ(create_result(CURLE_QUOTE_ERROR), FOLDER_CREATION_FAILED);
  EXPECT_EQ(create_result(CURLE_URL_MALFORMAT), FOLDER_CREATION_FAILED);
}

TEST(ResultCodes, ACancelledUploadIsAFailedWrite) {
  EXPECT_EQ(write_result(CURLE_OK), SUCCESS);
  EXPECT_EQ(write_result(CURLE_REMOTE_ACCESS_DENIED), ACCESS_DENIED);
  EXPECT_EQ(write_result(CURLE_ABORTED_BY_CALLBACK), FILE_WRITE_FAILED);
  EXPECT_EQ(write_result(CURLE_QUOTE_ERROR), FILE_WRITE_FAILED);
}

}  // namespace
}  // namespace ftp_plugin
