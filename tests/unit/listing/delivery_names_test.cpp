// Delivered names: from the character set of the server to UTF-8.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "listing/delivery.h"
#include "tests/unit/listing/delivery_fixture.h"

namespace ftp_plugin {
namespace {

TEST_F(Delivery, ConvertsNamesButNotIdentifiers) {
  listing_context latin = in_charset("ISO-8859-1");
  deliver_listing("type=file; \xe4.txt\ntype=file; b\ntype=file; \xfc\n", latin);
  EXPECT_EQ(list_.names(), (Texts{"ä.txt", "b", "ü"}));
  EXPECT_EQ(identifiers(), (Texts{"/dir/\xe4.txt", "/dir/b", "/dir/\xfc"}));
  EXPECT_EQ(logger_.lines_with("AddFile")[0],
            "1 [PROTOCOL  ] _GetFileList AddFile: [/dir/\xe4.txt] name[ä.txt] attr[1] time[]");
}

TEST_F(Delivery, LooksUpTheRawNameAndAnswersTheConvertedOne) {
  listing_context latin = in_charset("ISO-8859-1");
  _FS_FILE_V2 found;
  latin.found = &found;
  latin.find_name = "ä";  // as it is called only after the conversion
  deliver_listing("type=file; \xe4\n", latin);
  EXPECT_EQ(found.name, "");
  latin.find_name = "\xe4";
  deliver_listing("type=file; \xe4\n", latin);
  EXPECT_EQ(found.name, "ä");
}

TEST_F(Delivery, LeavesNamesOfAUtf8ServerAlone) {
  charset_ = "ISO-8859-1";
  deliver_listing("type=file; \xe4\n", context(true));
  EXPECT_EQ(list_.names(), Texts{"\xe4"});
}

TEST_F(Delivery, LeavesSftpNamesAlone) {
  charset_ = "ISO-8859-1";
  listing_context sftp = context(false);
  sftp.is_sftp = true;
  sftp.names_are_utf8 = false;
  deliver_listing("-rw-r--r-- 1 o g 5 Mar 10 2019 \xe4;1577836800\n", sftp);
  EXPECT_EQ(list_.names(), Texts{"\xe4"});
  EXPECT_EQ(list_.files()[0].modify_time, "2020-01-01T00:00:00.000Z");
}

TEST_F(Delivery, KeepsANameThatCannotBeConverted) {
  listing_context other = in_charset("UTF-8");
  deliver_listing("type=file; a\xe4-\ntype=file; \xc3\ntype=file; ä\n", other);
  EXPECT_EQ(list_.names(), (Texts{"a\xe4-", "\xc3", "ä"}));  // invalid, cut short, and a good one after them
  EXPECT_EQ(logger_.lines_with("exception"), Texts{});
}

TEST_F(Delivery, BeginsAndEndsEveryNameInTheInitialState) {
  // This encoding holds a letter back until it knows that no accent follows: the next name is no accent.
  listing_context vietnamese = in_charset("TCVN");
  deliver_listing("type=file; ca\ntype=file; \xb3\ntype=file; e\n", vietnamese);
  EXPECT_EQ(list_.names()[0], "ca");
  EXPECT_EQ(list_.names()[2], "e");

  // A name that ends shifted does not shift the next one.
  listing_context japanese = in_charset("ISO-2022-JP");
  deliver_listing("type=file; \x1b$B$\"\ntype=file; $\"\n", japanese);
  EXPECT_EQ(list_.names()[3], "あ");
  EXPECT_EQ(list_.names()[4], "$\"");
}

TEST_F(Delivery, KeepsNamesWhoseEncodingNobodyKnows) {
  listing_context unknown = in_charset("NO-SUCH-CHARSET");
  deliver_listing("type=file; \xe4\n", unknown);
  EXPECT_EQ(list_.names(), Texts{"\xe4"});
}

TEST_F(Delivery, KeepsANameWhoseConversionIsTooLong) {
  listing_context latin = in_charset("ISO-8859-1");
  const std::string too_long(40'000, '\xe4');  // 80,000 bytes of UTF-8
  deliver_listing(("type=file; " + too_long + "\ntype=file; \xe4").c_str(), latin);
  EXPECT_EQ(list_.names(), (Texts{too_long, "ä"}));
}

TEST_F(Delivery, LogsAConversionThatThrowsAndKeepsTheName) {
  _FS_FILE_V2 record;
  record.name = "raw";
  record.attr = 2;
  convert_record_name(record,
                      [](const std::string&) -> std::optional<std::string> { throw std::bad_alloc{}; });
  EXPECT_EQ(record.name, "raw");
  EXPECT_EQ(logger_.lines(), Texts{"8 [PROTOCOL  ] _GetFileList utf8 encoding exception: name[raw] attr[2]"});
}

}  // namespace
}  // namespace ftp_plugin
