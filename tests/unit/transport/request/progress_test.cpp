#include "transport/request/progress.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>
#include <vector>

namespace ftp_plugin {
namespace {

using call = std::tuple<std::int64_t, std::int64_t, double>;

int record(std::int64_t total, std::int64_t now, void* context, double speed) {
  static_cast<std::vector<call>*>(context)->emplace_back(total, now, speed);
  return 1;  // would end the transfer if it counted
}

int throws(std::int64_t, std::int64_t, void*, double) { throw std::runtime_error{"host"}; }

TEST(Progress, ReportsTheUploadPairOfAnUpload) {
  std::vector<call> calls;
  progress_binding binding{&record, &calls, nullptr};
  EXPECT_EQ(_CURL_PROGRESS(&binding, 1, 2, 30, 4), 0);
  EXPECT_EQ(calls, (std::vector<call>{{30, 4, 0.0}}));
}

TEST(Progress, ReportsTheDownloadPairOfADownload) {
  std::vector<call> calls;
  progress_binding binding{&record, &calls, nullptr};
  EXPECT_EQ(_CURL_PROGRESS_DOWNLOAD(&binding, 10, 2, 3, 4), 0);
  EXPECT_EQ(calls, (std::vector<call>{{10, 2, 0.0}}));
}

TEST(Progress, KeepsCountsBeyondFourGigabytes) {
  std::vector<call> calls;
  progress_binding binding{&record, &calls, nullptr};
  _CURL_PROGRESS_DOWNLOAD(&binding, 1LL << 40, (1LL << 40) - 1, 0, 0);
  EXPECT_EQ(calls, (std::vector<call>{{1LL << 40, (1LL << 40) - 1, 0.0}}));
}

TEST(Progress, AsksTheHandleForTheSpeed) {
  std::vector<call> calls;
  CURL* fresh = curl_easy_init();
  progress_binding binding{&record, &calls, fresh};
  EXPECT_EQ(_CURL_PROGRESS(&binding, 0, 0, 5, 5), 0);
  EXPECT_EQ(calls, (std::vector<call>{{5, 5, 0.0}}));  // a handle that moved nothing has no speed
  curl_easy_cleanup(fresh);
}

TEST(Progress, DoesNothingWithoutABindingOrAFunction) {
  progress_binding none;
  EXPECT_EQ(_CURL_PROGRESS(nullptr, 1, 2, 3, 4), 0);
  EXPECT_EQ(_CURL_PROGRESS_DOWNLOAD(nullptr, 1, 2, 3, 4), 0);
  EXPECT_EQ(_CURL_PROGRESS(&none, 1, 2, 3, 4), 0);
  EXPECT_EQ(_CURL_PROGRESS_DOWNLOAD(&none, 1, 2, 3, 4), 0);
}

TEST(Progress, LetsNoExceptionOfTheHostIntoLibcurl) {
  progress_binding binding{&throws, nullptr, nullptr};
  EXPECT_EQ(_CURL_PROGRESS(&binding, 1, 2, 3, 4), 0);
}

}  // namespace
}  // namespace ftp_plugin
