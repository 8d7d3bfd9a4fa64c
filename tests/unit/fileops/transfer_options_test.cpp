// What downloads and uploads tell libcurl where no server would notice. libcurl cannot be asked which options
// are set, so this program has a function of its own under the name of the one that sets them: it writes down
// and passes on.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fileops/read_range.h"
#include "fileops/upload.h"
#include "tests/fakes/ftp_server.h"
#include "tests/fakes/host.h"

#undef curl_easy_setopt

namespace {

/// The values of each option that were set while the record was bound, numbers and addresses alike.
using option_record = std::map<CURLoption, std::vector<std::intptr_t>>;
option_record* bound_record = nullptr;

}  // namespace

// Every value that an option takes is one machine word, passed in the same kind of register.
extern "C" CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
  using function = CURLcode(CURL*, CURLoption, ...);
  static auto* const real = reinterpret_cast<function*>(dlsym(RTLD_NEXT, "curl_easy_setopt"));
  va_list arguments;
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wvarargs"  // libcurl chose an enumeration as the last named parameter
#endif
  va_start(arguments, option);
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
  void* value = va_arg(arguments, void*);
  va_end(arguments);
  if (bound_record != nullptr) (*bound_record)[option].push_back(reinterpret_cast<std::intptr_t>(value));
  return real(handle, option, value);
}

namespace ftp_plugin {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Ne;

/// An FTP server behind settings that may say something else: they decide how a transfer is set up.
class TransferOptions : public testing::Test {
 protected:
  TransferOptions() {
    server.add_file("/a.txt", "hello");
    EXPECT_EQ(ftp->TestConnect(), SUCCESS);
    EXPECT_EQ(sftp->TestConnect(), SUCCESS);
  }
  ~TransferOptions() override { bound_record = nullptr; }

  server_view view(bool is_sftp) {
    return {.connections = is_sftp ? sftp : ftp,
            .is_sftp = is_sftp,
            .url = url,
            .paths = {.root_path = "", .origin = path_origin::kLoginDirectory},
            .speed_limit = 0,
            .server_charset = charset,
            .names_are_utf8 = true,
            .vxworks_server = vxworks,
            .file_time_mode = 0};
  }

  AERROR read(bool is_sftp) {
    fakes::FetchSink sink;
    bound_record = &options;
    const AERROR result = read_range(view(is_sftp), "/a.txt", 0, 5, fakes::make_handle(), &sink);
    bound_record = nullptr;
    return result;
  }
  AERROR store(bool is_sftp, const std::string& bytes) {
    fakes::CacheSource cache{bytes};
    _FS_FILE_V2 file;
    file.name = "new";
    file.size = static_cast<std::int64_t>(bytes.size());
    bound_record = &options;
    const changed_entry stored = upload(view(is_sftp), "", fakes::make_handle(), &cache, file);
    bound_record = nullptr;
    return stored.result;
  }

  fakes::FtpServer server;
  std::string url = server.url();
  std::string charset;
  std::atomic<bool> vxworks{false};
  std::shared_ptr<pool> ftp = std::make_shared<pool>(settings_map{{"url", url}, {"type", "ftp"}});
  std::shared_ptr<pool> sftp = std::make_shared<pool>(settings_map{{"url", url}, {"type", "sftp"}});
  option_record options;
};

TEST_F(TransferOptions, AskForBinaryOnFtpOnly) {
  ASSERT_EQ(read(false), SUCCESS);
  EXPECT_THAT(options[CURLOPT_QUOTE], ElementsAre(Ne(0), 0)) << "set, and undone";
  options.clear();
  ASSERT_EQ(store(false, "hello"), SUCCESS);
  EXPECT_THAT(options[CURLOPT_QUOTE], ElementsAre(Ne(0), 0));
  for (const bool stores : {false, true}) {
    options.clear();
    ASSERT_EQ(stores ? store(true, "hello") : read(true), SUCCESS);
    EXPECT_THAT(options[CURLOPT_QUOTE], Each(0)) << "SFTP has no TYPE";
  }
}

TEST_F(TransferOptions, TellTheSizeOfAnEmptyFileToo) {
  for (const bool is_sftp : {false, true}) {
    options.clear();
    ASSERT_EQ(store(is_sftp, ""), SUCCESS);
    EXPECT_THAT(options[CURLOPT_INFILESIZE_LARGE], ElementsAre(0, 0)) << "not -1, an unknown size";
    options.clear();
    ASSERT_EQ(store(is_sftp, "hello"), SUCCESS);
    EXPECT_THAT(options[CURLOPT_INFILESIZE_LARGE], ElementsAre(5, 0));
  }
}

}  // namespace
}  // namespace ftp_plugin
