#include "listing/delivery.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/unit/listing/delivery_fixture.h"

namespace ftp_plugin {
namespace {

constexpr const char* kHeader = "  size          date       time       name\r\n";
constexpr const char* kMlsd =
    "type=cdir;modify=20200105123456; .\r\n"
    "type=dir;modify=20200105123456; sub\r\n"
    "type=file;size=5;modify=20210105123456; a.txt\r\n"
    "type=file;size=6;modify=20220105123456; b.txt\r\n";

TEST_F(Delivery, HandsOverEveryLineInItsOrder) {
  deliver_listing(kMlsd, context(true));
  EXPECT_EQ(list_.names(), (Texts{".", "sub", "a.txt", "b.txt"}));
  EXPECT_EQ(identifiers(), (Texts{"/dir/.", "/dir/sub", "/dir/a.txt", "/dir/b.txt"}));
  const _FS_FILE_V2& file = list_.files()[2];
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.size, 5);
  EXPECT_EQ(file.create_time, "2021-01-05T12:34:56.000Z");
  EXPECT_EQ(file.access_time, "2021-01-05T12:34:56.000Z");
  EXPECT_EQ(file.modify_time, "2021-01-05T12:34:56.000Z");
  EXPECT_EQ(file.host_ref, nullptr);
  EXPECT_TRUE(file.host_list.empty());
}

TEST_F(Delivery, LogsTheListingAndEachEntryAfterItsDelivery) {
  deliver_listing("type=file;size=5;modify=20210105123456; a.txt\r\ntype=dir; sub", context(true));
  EXPECT_EQ(logger_.lines(),
            (Texts{"1 [PROTOCOL  ] _GetFileList id: [/dir] , dir data : "
                   "[type=file;size=5;modify=20210105123456; a.txt\r\ntype=dir; sub]",
                   "1 [PROTOCOL  ] _GetFileList AddFile: [/dir/a.txt] name[a.txt] attr[1] "
                   "time[2021-01-05T12:34:56.000Z]",
                   "1 [PROTOCOL  ] _GetFileList AddFile: [/dir/sub] name[sub] attr[2] time[]"}));
}

TEST_F(Delivery, LogsANullPathAsAnEmptyText) {
  listing_context nowhere = context(true);
  nowhere.path = nullptr;
  deliver_listing("type=dir; d", nowhere);
  EXPECT_EQ(logger_.lines().front(), "1 [PROTOCOL  ] _GetFileList id: [] , dir data : [type=dir; d]");
}

/// Hands every record to a function.
class HostList final : public IFileList {
 public:
  explicit HostList(std::function<void(_FS_FILE_V2&)> take) : take_{std::move(take)} {}
  int AddFile(_FS_FILE_V2* file) override {
    take_(*file);
    return -1;  // ignored
  }

 private:
  std::function<void(_FS_FILE_V2&)> take_;
};

TEST_F(Delivery, LogsAnEntryOnlyWhenTheHostHasIt) {
  Texts at_delivery;
  HostList host{[&](_FS_FILE_V2&) { at_delivery.push_back(logger_.lines().back()); }};
  listing_context watched = context(true);
  watched.list = &host;
  deliver_listing("type=dir; a\ntype=dir; b\n", watched);
  ASSERT_EQ(at_delivery.size(), 2U);
  EXPECT_NE(at_delivery[0].find("dir data"), std::string::npos);
  EXPECT_NE(at_delivery[1].find("AddFile: [/dir/a]"), std::string::npos);
}

TEST_F(Delivery, LogsNothingWithoutALogger) {
  unbind_logger();
  deliver_listing(kMlsd, context(true));
  EXPECT_EQ(list_.files().size(), 4U);
  EXPECT_EQ(logger_.lines(), Texts{});
}

TEST_F(Delivery, DoesNothingWhenNobodyAsks) {
  listing_context nobody = context(true);
  nobody.list = nullptr;
  deliver_listing(kMlsd, nobody);
  deliver_listing(nullptr, context(true));
  EXPECT_EQ(logger_.lines(), Texts{});
  EXPECT_TRUE(list_.files().empty());
}

TEST_F(Delivery, EmptyTextHasNoEntries) {
  deliver_listing("", context(true));
  EXPECT_TRUE(list_.files().empty());
}

TEST_F(Delivery, LinesThatNobodyUnderstandsAreEmptyRecords) {
  deliver_listing("\r\n-rw-r--r-- 1 o g 5 Mar 10 2019 a\r\nnothing known\r\n\n", context(false));
  EXPECT_EQ(list_.names(), (Texts{"", "a", "", ""}));
  EXPECT_EQ(identifiers(), (Texts{"/dir/", "/dir/a", "/dir/", "/dir/"}));
  EXPECT_EQ(list_.files()[2].attr, 0U);
  EXPECT_EQ(list_.files()[2].modify_time, "");
}

TEST_F(Delivery, StartsEveryLineFromAnEmptyRecord) {
  HostList host{[&](_FS_FILE_V2& file) {
    EXPECT_EQ(file.host_ref, nullptr);
    EXPECT_TRUE(file.host_list.empty());
    list_.AddFile(&file);
    // The record is the host's to spoil during the call.
    file.host_ref = std::make_shared<int>(1);
    file.host_list.emplace_back("kept");
    file.id = file.name = file.create_time = "spoilt";
    file.attr = 77;
  }};
  listing_context spoilt = context(true);
  spoilt.list = &host;
  deliver_listing("type=file;size=9;modify=20210105123456; a\nno-blank\ntype=dir; c\n", spoilt);
  EXPECT_EQ(identifiers(), (Texts{"/dir/a", "/dir/", "/dir/c"}));
  EXPECT_EQ(list_.names(), (Texts{"a", "", "c"}));
  EXPECT_EQ(list_.files()[1].attr, 0U);
  EXPECT_EQ(list_.files()[1].size, 0);
  EXPECT_EQ(list_.files()[1].create_time + list_.files()[1].access_time + list_.files()[1].modify_time, "");
}

TEST_F(Delivery, RemovesOneCarriageReturnFromANameAndKeepsAnother) {
  deliver_listing("type=file; a\r\ntype=file; b\r\r\ntype=file; c\n", context(true));
  EXPECT_EQ(list_.names(), (Texts{"a", "b\r", "c"}));
}

TEST_F(Delivery, EndsAtTheFirstNul) {
  deliver_listing("type=file; a\ntype=file; b\0c\ntype=file; d\n", context(true));
  EXPECT_EQ(list_.names(), (Texts{"a", "b"}));
}

struct IdentifierCase {
  const char* label;
  const char* path;
  const char* want;
};
class Identifier : public testing::TestWithParam<IdentifierCase> {};
TEST_P(Identifier, IsThePathAndTheRawName) {
  fakes::FileList list;
  const std::string charset;
  std::atomic<bool> vxworks{false};
  deliver_listing("type=file; name", {.path = GetParam().path,
                                      .is_mlsd = true,
                                      .is_sftp = false,
                                      .names_are_utf8 = true,
                                      .server_charset = charset,
                                      .vxworks_server = vxworks,
                                      .list = &list,
                                      .find_name = nullptr,
                                      .found = nullptr});
  ASSERT_EQ(list.files().size(), 1U);
  EXPECT_EQ(list.files()[0].id, GetParam().want);
}
constexpr IdentifierCase kIdentifiers[] = {
    {"NoPath", nullptr, "/name"},
    {"EmptyPath", "", "/name"},
    {"Root", "/", "/name"},
    {"Directory", "/a", "/a/name"},
    {"ASlashAtTheEndIsDoubled", "/a/", "/a//name"},
    {"WithoutASlashInFront", "a", "a/name"},
    {"TwoSlashes", "//", "///name"},
};
INSTANTIATE_TEST_SUITE_P(Paths, Identifier, testing::ValuesIn(kIdentifiers),
                         [](const auto& row) { return std::string{row.param.label}; });

TEST_F(Delivery, LookUpFillsTheRecordButNotItsIdentifier) {
  _FS_FILE_V2 found;
  found.id = "the caller's";
  listing_context look_up = context(true);
  look_up.list = nullptr;
  look_up.find_name = "a.txt";
  look_up.found = &found;
  deliver_listing(kMlsd, look_up);
  EXPECT_EQ(found.id, "the caller's");
  EXPECT_EQ(found.name, "a.txt");
  EXPECT_EQ(found.size, 5);
  EXPECT_EQ(found.attr, FS_ATTR_FILE);
  EXPECT_EQ(found.create_time, "2021-01-05T12:34:56.000Z");
  EXPECT_EQ(found.access_time, "2021-01-05T12:34:56.000Z");
  EXPECT_EQ(found.modify_time, "2021-01-05T12:34:56.000Z");
  EXPECT_EQ(logger_.lines().size(), 2U);
  EXPECT_EQ(logger_.lines().back(), "1 [PROTOCOL  ] _GetFileList Found: [a.txt]");
}

TEST_F(Delivery, LookUpEndsTheListingAtTheFirstMatch) {
  _FS_FILE_V2 found;
  listing_context look_up = context(true);
  look_up.find_name = "a";
  look_up.found = &found;
  deliver_listing("type=file;size=1; b\ntype=file;size=2; a\ntype=file;size=3; a\ntype=dir; c\n", look_up);
  EXPECT_EQ(list_.names(), (Texts{"b", "a"}));
  EXPECT_EQ(found.size, 2);
  const Texts lines = logger_.lines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[2], "1 [PROTOCOL  ] _GetFileList AddFile: [/dir/a] name[a] attr[1] time[]");
  EXPECT_EQ(lines[3], "1 [PROTOCOL  ] _GetFileList Found: [a]");
}

TEST_F(Delivery, LookUpThatMissesLeavesTheRecordAlone) {
  for (const char* name : {"A.TXT", "a.tx", "a.txt ", "none"}) {
    _FS_FILE_V2 found;
    found.name = "the caller's";
    found.size = 77;
    listing_context look_up = context(true);
    look_up.find_name = name;
    look_up.found = &found;
    deliver_listing(kMlsd, look_up);
    EXPECT_EQ(found.name, "the caller's") << name;
    EXPECT_EQ(found.size, 77) << name;
  }
  EXPECT_EQ(list_.files().size(), 16U);
  EXPECT_EQ(logger_.lines_with("Found"), Texts{});
}

TEST_F(Delivery, LookUpOfAnEmptyNameFindsTheFirstLineThatNobodyUnderstands) {
  _FS_FILE_V2 found;
  found.attr = 9;
  listing_context look_up = context(true);
  look_up.find_name = "";
  look_up.found = &found;
  deliver_listing("type=dir; a\nno-blank\ntype=dir; b\n", look_up);
  EXPECT_EQ(found.attr, 0U);
  EXPECT_EQ(list_.names(), (Texts{"a", ""}));
}

TEST_F(Delivery, KnowsAVxworksServerByItsFirstLine) {
  const std::string reply = std::string{kHeader} +
                            "--------       ------     ------    --------\r\n"
                            "     512    Jan-05-2020  12:34:56   sub               <DIR>\r\n"
                            "    1234    Jan-06-2020  01:02:03   a.txt\r\n";
  deliver_listing(reply.c_str(), context(false));
  EXPECT_TRUE(vxworks_);
  EXPECT_EQ(list_.names(), (Texts{"", "", "sub", "a.txt"}));
  EXPECT_EQ(list_.files()[0].attr, 0U);  // the header is an entry without a name
  EXPECT_EQ(list_.files()[2].attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(list_.files()[2].size, 512);
  EXPECT_EQ(list_.files()[3].modify_time, "2020-01-06T01:02:03.000Z");
}

TEST_F(Delivery, ReadsEveryLaterListReplyAsVxworks) {
  deliver_listing(kHeader, context(false));
  deliver_listing("-rw-r--r-- 1 o g 5 Mar 10 2019 a\n77 Jan-05-2020 12:34:56 b\n", context(false));
  EXPECT_EQ(list_.names(), (Texts{"", "5 Mar 10 2019 a", "b"}));
  EXPECT_EQ(list_.files()[1].size, 1);  // the first digits of the line
  EXPECT_EQ(list_.files()[2].size, 77);
  EXPECT_TRUE(vxworks_);
}

TEST_F(Delivery, ReadsMlsdRepliesOfAVxworksServerAsFacts) {
  vxworks_ = true;
  deliver_listing("type=file;size=5; a\n", context(true));
  EXPECT_EQ(list_.names(), Texts{"a"});
}

TEST_F(Delivery, LooksForTheHeaderInTheFirstLineOnly) {
  deliver_listing((std::string{"-rw-r--r-- 1 o g 5 Mar 10 2019 a\r\n"} + kHeader + "total 42\r\n").c_str(),
                  context(false));
  EXPECT_FALSE(vxworks_);
  EXPECT_EQ(list_.names(), (Texts{"a", "", ""}));
}

TEST_F(Delivery, LooksForNoHeaderInAnMlsdReply) {
  deliver_listing(kHeader, context(true));
  EXPECT_FALSE(vxworks_);
}

TEST_F(Delivery, FollowsTheLinksOfAnSftpListing) {
  listing_context sftp = context(false);
  sftp.is_sftp = true;
  Texts asked;
  sftp.follow_link = [&](const std::string& full_path, _FS_FILE_V2& target) {
    asked.push_back(full_path);
    target.attr = FS_ATTR_DIRECTORY;
    target.size = 11;
  };
  deliver_listing("lrwxrwxrwx 1 o g 7 Mar 10 2019 a -> b\n-rw-r--r-- 1 o g 5 Mar 10 2019 c\n", sftp);
  EXPECT_EQ(asked, Texts{"/dir/a"});
  EXPECT_EQ(list_.files()[0].attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(list_.files()[0].size, 11);
}

TEST_F(Delivery, LetsAnExceptionOfTheHostThroughAndCanGoOn) {
  HostList host{[](_FS_FILE_V2&) { throw std::runtime_error{"the host's"}; }};
  listing_context throwing = context(true);
  throwing.names_are_utf8 = false;  // a converter is open meanwhile
  throwing.list = &host;
  EXPECT_THROW(deliver_listing(kMlsd, throwing), std::runtime_error);
  deliver_listing(kMlsd, context(true));
  EXPECT_EQ(list_.files().size(), 4U);
}

}  // namespace
}  // namespace ftp_plugin
