// Listed names: from the encoding of the server to that of the host.
#include "tests/fakes/latin1_locale.h"
#include "tests/wire/listing_fixture.h"

namespace {

using testing::ElementsAre;
using wire::Listing;

TEST_F(Listing, ConvertsNamesFromTheLocaleWhereTheServerHasNoUtf8) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  server.set_mlsd("/docs", std::string{"type=file;size=1; "} + fakes::kLatin1Name + "\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  ASSERT_EQ(list.files().size(), 1u);
  EXPECT_EQ(list.files()[0].name, fakes::kUtf8Name);
  EXPECT_EQ(list.files()[0].id, std::string{"/docs/"} + fakes::kLatin1Name)
      << "the identifier keeps the server's bytes";
}

TEST_F(Listing, LeavesNamesAloneWhereUtf8IsAcceptedOrForced) {
  const fakes::Latin1Locale locale;
  server.set_mlsd("/docs", std::string{"type=file;size=1; "} + fakes::kLatin1Name + "\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  server.lacks("UTF8");
  set_options({{"charset", "Force UTF-8"}});
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre(fakes::kLatin1Name, fakes::kLatin1Name));
}

TEST_F(Listing, KeepsANameThatCannotBeConverted) {
  // In the "C" locale only ASCII converts.
  set_options({{"charset", "Local charset"}});
  server.set_mlsd("/docs", "type=file;size=1; caf\xe9\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre(fakes::kLatin1Name));
}

TEST_F(Listing, ALookUpComparesTheServersBytes) {
  const fakes::Latin1Locale locale;
  set_options({{"charset", "Local charset"}});
  server.set_mlsd("/docs", std::string{"type=dir;modify=20200102030405; "} + fakes::kLatin1Name + "\r\n");
  connected();
  _FS_FILE_V2 converted;
  converted.attr = FS_ATTR_DIRECTORY;
  EXPECT_EQ(protocol->GetFileInfo((std::string{"/docs/"} + fakes::kUtf8Name).c_str(), &converted, nullptr),
            SUCCESS);
  EXPECT_EQ(converted.modify_time, "") << "a name that matches after conversion only is not found";
  _FS_FILE_V2 raw;
  raw.attr = FS_ATTR_DIRECTORY;
  EXPECT_EQ(protocol->GetFileInfo((std::string{"/docs/"} + fakes::kLatin1Name).c_str(), &raw, nullptr),
            SUCCESS);
  EXPECT_EQ(raw.modify_time, "2020-01-02T03:04:05.000Z");
  EXPECT_EQ(raw.name, fakes::kUtf8Name);
}

}  // namespace
