// The object without a server: host objects that misbehave, and what an object makes of its settings.
#include "protocol/protocol.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/ftp_server.h"
#include "tests/fakes/host.h"
#include "tests/fakes/locale.h"

namespace ftp_plugin {
namespace {

struct Releaser {
  void operator()(IProtocol_V2* object) const { object->Release(); }
};
using Owned = std::unique_ptr<IProtocol_V2, Releaser>;

Owned make_protocol(IProtocolManager* manager = nullptr) { return Owned{new Protocol{"ftp", manager}}; }

/// A form with one field after the other; the values are JSON.
std::string form(const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string data;
  for (const auto& [key, value] : fields) {
    data += (data.empty() ? "{\"" : ",{\"") + key + "\":{\"value\":" + value + "}}";
  }
  return "[{\"data\":[" + data + "]}]";
}

AERROR set_options(IProtocol_V2& protocol, const std::string& key, const std::string& value) {
  return protocol.SetOpt("option_fields", form({{key, value}}).c_str());
}

class ThrowingManager final : public IProtocolManager {
 public:
  explicit ThrowingManager(bool at_once) : at_once_{at_once} {}
  int QueryValue(const char*, char* buffer, int*) override {
    if (at_once_) throw std::runtime_error{"no value"};
    std::strcpy(buffer, "value");
    return 0;
  }
  int PostValue(const char*, const char*, const char*) override { throw std::runtime_error{"no notice"}; }

 private:
  bool at_once_;
};

TEST(Protocol, IsNotMadeWhenTheManagerThrows) {
  ThrowingManager manager{true};
  EXPECT_THROW((void)make_protocol(&manager), std::runtime_error);
}

TEST(Protocol, LetsNoExceptionOfTheManagerOut) {
  ThrowingManager manager{false};
  EXPECT_EQ(make_protocol(&manager)->GetCredential(nullptr, nullptr), FAILED);
}

TEST(Protocol, HasNoCredentialWithoutAManager) {
  EXPECT_EQ(make_protocol()->GetCredential(nullptr, nullptr), FAILED);
}

TEST(Protocol, AManagerThatFillsTheWholeBufferIsReadToItsEnd) {
  class FullManager final : public IProtocolManager {
   public:
    int QueryValue(const char*, char* buffer, int* size) override {
      std::memset(buffer, 'x', static_cast<std::size_t>(*size));
      return 0;
    }
    int PostValue(const char* value, const char*, const char*) override {
      posted = value;
      return 0;
    }
    std::string posted;
  } manager;
  EXPECT_EQ(make_protocol(&manager)->GetCredential(nullptr, nullptr), SUCCESS);
  EXPECT_EQ(manager.posted, std::string(256, 'x'));
}

TEST(Protocol, AQuotaCallbackThatThrowsChangesNothing) {
  const Owned protocol = make_protocol();
  ASSERT_EQ(protocol->SetQuota(7, 3), SUCCESS);
  protocol->SetQuotaCallback(nullptr, [](void*, void*, long long* total, long long*) -> bool {
    *total = 1;
    throw std::runtime_error{"no quota"};
  });
  unsigned long long total = 0;
  unsigned long long free = 0;
  EXPECT_EQ(protocol->GetQuota(&total, &free), SUCCESS);
  EXPECT_EQ(total, 7U);
  EXPECT_EQ(free, 3U);
}

TEST(Protocol, MoreUsedThanThereIsWrapsRound) {
  const Owned protocol = make_protocol();
  protocol->SetQuotaCallback(nullptr, [](void*, void*, long long* total, long long* used) {
    *total = 1;
    *used = 2;
    return true;
  });
  unsigned long long free = 0;
  EXPECT_EQ(protocol->GetQuota(nullptr, &free), SUCCESS);
  EXPECT_EQ(free, ~0ULL);
}

TEST(Protocol, FoldsOptionNamesAlikeUnderEveryLocaleOfTheHost) {
  const fakes::ScopedLocale turkish{"tr_TR", "UTF-8"};
  const Owned protocol = make_protocol();
  EXPECT_EQ(protocol->SetOpt("OPTION_FIELDS", form({{"use_server_time", "false"}}).c_str()), SUCCESS);
  EXPECT_EQ(protocol->GetFeature(), 0x120);
}

TEST(Protocol, IgnoresOptionsWithoutANameOrAValue) {
  const Owned protocol = make_protocol();
  EXPECT_EQ(protocol->SetOpt(nullptr, "1"), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("option_fields", nullptr), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("speedlimit", nullptr), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("option_field", form({{"use_server_time", "false"}}).c_str()), SUCCESS);
  EXPECT_EQ(protocol->GetFeature(), 0x920);
}

struct FeatureCase {
  const char* label;
  const char* url;
  const char* server_times;  // null: never said
  int features;
};

class Features : public testing::TestWithParam<FeatureCase> {};

TEST_P(Features, TellHowTimesAreTreated) {
  const FeatureCase& want = GetParam();
  fakes::FtpServer server;
  server.stop();
  const Owned protocol = make_protocol();
  if (want.server_times != nullptr) {
    ASSERT_EQ(set_options(*protocol, "use_server_time", want.server_times), SUCCESS);
  }
  const std::string url = want.url + server.url().substr(6);
  EXPECT_EQ(protocol->Connect(nullptr, form({{"url", "\"" + url + "\""}}).c_str()), PATH_NOT_FOUND);
  EXPECT_EQ(protocol->GetFeature(), want.features);
}

constexpr FeatureCase kFeatureCases[] = {
    {"FtpUnsaidMeansServerTimes", "ftp://", nullptr, 0x920},
    {"FtpServerTimes", "ftp://", "true", 0x920},
    {"FtpLocalTimesThatCannotBeSet", "ftp://", "false", 0x120},
    {"FtpsIsFtp", "ftps://", "false", 0x120},
    {"SftpUnsaidMeansLocalTimes", "sftp://", nullptr, 0x121},
    {"SftpServerTimes", "sftp://", "true", 0x921},
    {"SftpLocalTimes", "sftp://", "false", 0x121},
};
INSTANTIATE_TEST_SUITE_P(, Features, testing::ValuesIn(kFeatureCases),
                         [](const auto& row) { return row.param.label; });

TEST(Protocol, ReportsItsRootIntoABufferThatHasRoomForTheZero) {
  const Owned protocol = make_protocol();
  char buffer[] = "xx";
  int size = 1;
  EXPECT_EQ(protocol->GetUserInfo(buffer, &size), INSUFFICIENT_BUFFER);
  EXPECT_STREQ(buffer, "xx");
  EXPECT_EQ(size, 1);
  size = -1;
  EXPECT_EQ(protocol->GetUserInfo(buffer, &size), INSUFFICIENT_BUFFER);
  size = 2;
  EXPECT_EQ(protocol->GetUserInfo(buffer, &size), SUCCESS);
  EXPECT_STREQ(buffer, "/");
  EXPECT_EQ(size, 2);
}

TEST(FileRecord, ReleasesWhatTheHostPutIntoIt) {
  // The leak checker tells about the list.
  const auto reference = std::make_shared<int>(1);
  {
    _FS_FILE_V2 record;
    record.host_ref = reference;
    record.host_list.emplace_back(100, 'x');
    EXPECT_EQ(reference.use_count(), 2);
  }
  EXPECT_EQ(reference.use_count(), 1);
}

}  // namespace
}  // namespace ftp_plugin
