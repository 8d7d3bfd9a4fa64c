// The library and its objects before any server is involved.
#include <array>
#include <cstring>
#include <stdexcept>

#include "tests/wire/wire_fixture.h"

namespace {

using fakes::plugin;
using fakes::ScopedProtocol;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST(Library, SupportsTheSameWhateverWasBoundOrCreated) {
  EXPECT_EQ(plugin().GetSupports(), 3);
  fakes::Logger log;
  const fakes::ScopedLogger bound{log};
  const ScopedProtocol protocol{"sftp"};
  EXPECT_EQ(plugin().GetSupports(), 3);
}

TEST(Library, TellsItsConstants) {
  EXPECT_STREQ(plugin().GetProtocolVersion(), "1.0.0");
  EXPECT_EQ(plugin().GetProtocolVersion(), plugin().GetProtocolVersion());
  EXPECT_EQ(plugin().GetAuthType(), 4);
}

TEST(Library, HandsOutTheProtocolListAsACopy) {
  char* list = nullptr;
  EXPECT_EQ(plugin().GetSupportProtocol(&list), &list);
  EXPECT_STREQ(list, "ftp;ftps;ad_ftp");
  plugin().FreeP(list);
  plugin().FreeP(nullptr);
}

TEST(Library, NamesItsCodes) {
  EXPECT_STREQ(plugin().GetAERRORA(SUCCESS), "SUCCESS");
  EXPECT_STREQ(plugin().GetAERRORA(static_cast<AERROR>(8010)), "SOCK_ADDRESS_NOT_AVALIABLE");
  for (const int code : {-1, 40, 2000, 7004, 8025}) {
    EXPECT_STREQ(plugin().GetAERRORA(static_cast<AERROR>(code)), "Unknown") << code;
  }
  EXPECT_EQ(plugin().ConvertAERROR(SUCCESS), 0);
  EXPECT_EQ(plugin().ConvertAERROR(FILE_NOT_FOUND), -2);
  EXPECT_EQ(plugin().ConvertAERROR(PATH_NOT_FOUND), -5);
}

TEST(Library, DescribesItsFieldsIntoABufferOfTheRightSize) {
  for (const auto describe : {plugin().GetAuthFields, plugin().GetOptFields}) {
    int size = 0;
    EXPECT_EQ(describe(nullptr, &size), INSUFFICIENT_BUFFER);
    const int needed = size;
    std::string text(static_cast<std::size_t>(needed), 'x');
    EXPECT_EQ(describe(text.data(), &size), SUCCESS);
    EXPECT_EQ(size, needed - 1);
    EXPECT_EQ(std::strlen(text.c_str()), static_cast<std::size_t>(size));
    EXPECT_THAT(text, StartsWith("[{\"data\":[{"));
    EXPECT_EQ(text[static_cast<std::size_t>(size) - 1], '\n');
  }
}

TEST(Library, MakesTheSameObjectUnderAnyName) {
  for (const char* name : {"ftp", "ftps", "ad_ftp", "gopher", ""}) {
    const ScopedProtocol protocol{name};
    char* type = nullptr;
    EXPECT_EQ(protocol->GetType(&type), SUCCESS);
    EXPECT_STREQ(type, "ftp;ftps;ad_ftp");
  }
}

TEST(Object, AsksItsManagerOnceAndTellsItLater) {
  fakes::Manager manager{"the value"};
  {
    const ScopedProtocol protocol{"ftp", &manager};
    EXPECT_THAT(manager.questions(), ElementsAre("ftp.dll_1.0.6.0 256"));
    EXPECT_THAT(manager.notices(), IsEmpty());
    EXPECT_EQ(protocol->GetCredential(nullptr, nullptr), SUCCESS);
    EXPECT_THAT(manager.notices(), ElementsAre("the value|pid|the value"));
  }
  EXPECT_EQ(manager.questions().size(), 1u);
}

TEST(Object, IsNotMadeWhenItsManagerThrowsOrItHasNoName) {
  class : public IProtocolManager {
    int QueryValue(const char*, char*, int*) override { throw std::runtime_error{"no value"}; }
    int PostValue(const char*, const char*, const char*) override { return 0; }
  } manager;
  int untouched = 0;
  void* out = &untouched;
  EXPECT_FALSE(plugin().GetProtocol("ftp", &manager, &out));
  EXPECT_FALSE(plugin().GetProtocol(nullptr, nullptr, &out));
  EXPECT_EQ(out, &untouched);
}

TEST(Object, TellsTheSameTypeTextEveryTime) {
  const ScopedProtocol protocol;
  const ScopedProtocol other;
  char* first = nullptr;
  char* second = nullptr;
  EXPECT_EQ(protocol->GetType(&first), SUCCESS);
  EXPECT_EQ(other->GetType(&second), SUCCESS);
  EXPECT_EQ(first, second);
}

TEST(Object, ReportsTenTebibytesUnlessToldOtherwise) {
  const ScopedProtocol protocol;
  unsigned long long total = 1;
  unsigned long long free = 1;
  EXPECT_EQ(protocol->GetQuota(&total, &free), SUCCESS);
  EXPECT_EQ(total, 10995116277760u);
  EXPECT_EQ(free, 0u);
  EXPECT_EQ(protocol->GetQuota(nullptr, nullptr), SUCCESS);
  EXPECT_EQ(protocol->SetQuota(500, 200), SUCCESS);
  EXPECT_EQ(protocol->GetQuota(&total, &free), SUCCESS);
  EXPECT_EQ(total, 500u);
  EXPECT_EQ(free, 200u);
}

TEST(Object, AsksTheQuotaCallbackUntilItAnswersFalse) {
  const ScopedProtocol protocol;
  bool answers = true;
  protocol->SetQuotaCallback(&answers, [](void* context, void*, long long* total, long long* used) {
    EXPECT_EQ(*total, 0);
    EXPECT_EQ(*used, 0);
    *total = 1000;
    *used = 300;
    return *static_cast<bool*>(context);
  });
  unsigned long long total = 0;
  unsigned long long free = 0;
  EXPECT_EQ(protocol->GetQuota(&total, &free), SUCCESS);
  EXPECT_EQ(total, 1000u);
  EXPECT_EQ(free, 700u);
  EXPECT_EQ(protocol->SetQuota(5, 2), SUCCESS);
  answers = false;
  EXPECT_EQ(protocol->GetQuota(&total, &free), SUCCESS);
  EXPECT_EQ(total, 5u);
  EXPECT_EQ(free, 2u);
}

TEST(Object, HasAnEmptyRootAndNoIdentifier) {
  const ScopedProtocol protocol;
  std::array<char, 4> buffer = {'x', 'x', 'x', 'x'};
  int size = 0;
  EXPECT_EQ(protocol->GetRootID(buffer.data(), &size), SUCCESS);
  EXPECT_EQ(size, 0);
  EXPECT_THAT(buffer, ElementsAre('\0', 'x', 'x', 'x'));
  EXPECT_EQ(protocol->GetRootID(buffer.data(), nullptr), ACCESS_DENIED);
  size = -1;
  EXPECT_EQ(protocol->GetRootID(buffer.data(), &size), INSUFFICIENT_BUFFER);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(protocol->GetIdentifier(buffer.data(), &size), SUCCESS);
  EXPECT_THAT(buffer, ElementsAre('\0', 'x', 'x', 'x'));
}

TEST(Object, NeverFailsToTakeAnOption) {
  const ScopedProtocol protocol;
  EXPECT_EQ(protocol->SetOpt("option_fields", "no form"), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("option_fields", std::string(100000, '[').c_str()), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("OPTION_FIELDS", "[{\"data\":[{\"use_server_time\":{\"value\":false}}]}]"),
            SUCCESS);
  EXPECT_EQ(protocol->GetFeature(), 0x120) << "the name folds its letter case";
  EXPECT_EQ(protocol->SetOpt("option_fields",
                             "[{\"data\":[{\"use_server_time\":{\"value\":true}},"
                             "{\"use_server_time\":{\"value\":[1]}},{\"charset\":{\"value\":\"x\"}}]}]"),
            SUCCESS);
  EXPECT_EQ(protocol->GetFeature(), 0x920) << "what was read in front of the impossible value counts";
}

}  // namespace
