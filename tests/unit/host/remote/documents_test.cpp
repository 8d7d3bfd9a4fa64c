#include "host/remote/documents.h"

#include <gtest/gtest.h>

#include "host/failure.h"

namespace ftp_host {
namespace {

constexpr const char* kDocument =
    R"([{"name":"G","data":[{"url":{"value":"string","default":"ftp://host","label":"URL"}},
        {"on":{"value":"boolean"}},{"kind":{"value":"string:None/SOCKS4"}},{"user":{"value":"string"}}]}])";

TEST(FillDocument, PutsValuesInTheOrderOfTheDocument) {
  const Json::Value out = parse_json(fill_document(kDocument, {{"url", "ftp://h"}, {"on", true}}), "x");
  const Json::Value& data = out[0]["data"];
  EXPECT_EQ(data[0]["url"]["value"], "ftp://h");
  EXPECT_EQ(data[0]["url"]["label"], "URL");
  EXPECT_EQ(data[1]["on"]["value"], true);
}

TEST(FillDocument, LeavesNoKindBehindAsAValue) {
  const Json::Value out = parse_json(fill_document(kDocument, {}), "x");
  const Json::Value& data = out[0]["data"];
  EXPECT_EQ(data[0]["url"]["value"], "");
  EXPECT_EQ(data[1]["on"]["value"], false);
  EXPECT_EQ(data[2]["kind"]["value"], "None");
}

TEST(FillDocument, RefusesAWishThatThePluginHasNoFieldFor) {
  EXPECT_THROW((void)fill_document(kDocument, {{"proxy", "p"}}), Failure);
  EXPECT_NO_THROW((void)fill_document(kDocument, {{"proxy", ""}, {"active", false}}));
}

TEST(FillDocument, SaysThatADocumentIsBroken) { EXPECT_THROW((void)fill_document("[{", {}), Failure); }

TEST(FillDocument, KeepsQuotesAndLineFeedsOfAPassword) {
  const std::string password = "a\"b\\c\n\xC3\xA9";
  const Json::Value out = parse_json(fill_document(kDocument, {{"user", password}}), "x");
  EXPECT_EQ(out[0]["data"][3]["user"]["value"], password);
}

}  // namespace
}  // namespace ftp_host
