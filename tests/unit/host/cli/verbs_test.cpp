#include "host/cli/verbs.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <vector>

namespace ftp_host {
namespace {

Parsed parse(const std::string& command_line) {
  std::istringstream stream{"ftp-host " + command_line};
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  std::vector<const char*> pointers;
  for (const std::string& word : words) pointers.push_back(word.c_str());
  return parse_arguments(static_cast<int>(pointers.size()), pointers.data());
}

TEST(Verbs, HaveANameEach) {
  std::set<std::string_view> names;
  for (const Verb& verb : all_verbs()) {
    EXPECT_TRUE(names.insert(verb.name).second) << verb.name;
    EXPECT_EQ(&verb_named(verb.name), &verb);
  }
  EXPECT_THROW((void)verb_named("fly"), Failure);
}

TEST(Verbs, UnderstandTheExampleInTheirHelp) {
  for (const Verb& verb : all_verbs()) {
    const Parsed example = parse(std::string{verb.example});
    ASSERT_TRUE(example.arguments) << verb.example << ": " << example.text;
    EXPECT_EQ(example.arguments->verb, verb.name);
    const Parsed help = parse(std::string{verb.name} + " --help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.text.find("ftp-host " + std::string{verb.example}), std::string::npos) << help.text;
    EXPECT_NE(help.text.find("Exit codes:"), std::string::npos);
  }
}

TEST(Verbs, ThatCopyTreesKnowHowManyFilesAtATime) {
  for (const char* line : {"get -r ftp://h a", "put -r a ftp://h", "sync a ftp://h"}) {
    EXPECT_EQ(parse(line).arguments.value().parallel, 2u);
    EXPECT_EQ(parse(std::string{line} + " --parallel 16").arguments.value().parallel, 16u);
    EXPECT_FALSE(parse(std::string{line} + " --parallel 17").arguments);
  }
}

}  // namespace
}  // namespace ftp_host
