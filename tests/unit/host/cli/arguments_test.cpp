#include "host/cli/arguments.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/failure.h"

namespace ftp_host {
namespace {

Parsed parse(std::vector<const char*> words) {
  words.insert(words.begin(), "ftp-host");
  return parse_arguments(static_cast<int>(words.size()), words.data());
}

TEST(Arguments, OptionsMayStandBehindTheVerb) {
  const Parsed parsed = parse({"ls", "-l", "--json", "ftp://h/", "--timeout", "5", "-u", "ann"});
  ASSERT_TRUE(parsed.arguments) << parsed.text;
  EXPECT_EQ(parsed.arguments->verb, "ls");
  EXPECT_TRUE(parsed.arguments->long_form);
  EXPECT_TRUE(parsed.arguments->json);
  EXPECT_EQ(parsed.arguments->timeout.count(), 5);
  EXPECT_EQ(parsed.arguments->connect.user, "ann");
  EXPECT_EQ(parsed.arguments->operands, std::vector<std::string>{"ftp://h/"});
}

TEST(Arguments, GetTakesUrlAndTarget) {
  const Parsed parsed = parse({"get", "-r", "--resume", "ftp://h/a", "out"});
  ASSERT_TRUE(parsed.arguments) << parsed.text;
  EXPECT_EQ(parsed.arguments->operands, (std::vector<std::string>{"ftp://h/a", "out"}));
  EXPECT_TRUE(parsed.arguments->resume);
}

TEST(Arguments, SyncTakesPatternsWithoutSwallowingItsOperands) {
  const Parsed parsed = parse({"sync", "--exclude", "*.o", "--exclude", "b/", "--include", "*.c", "here",
                               "ftp://h/there", "--delete", "-n", "--parallel", "4"});
  ASSERT_TRUE(parsed.arguments) << parsed.text;
  EXPECT_EQ(parsed.arguments->excludes, (std::vector<std::string>{"*.o", "b/"}));
  EXPECT_EQ(parsed.arguments->includes, std::vector<std::string>{"*.c"});
  EXPECT_EQ(parsed.arguments->operands, (std::vector<std::string>{"here", "ftp://h/there"}));
  EXPECT_TRUE(parsed.arguments->remove);
  EXPECT_TRUE(parsed.arguments->dry_run);
  EXPECT_EQ(parsed.arguments->parallel, 4u);
}

TEST(Arguments, AnUnknownVerbIsNamed) {
  EXPECT_NE(parse({"--json", "fly", "ftp://h/"}).text.find("fly is no verb"), std::string::npos);
  EXPECT_EQ(parse({"--json"}).text.find("no verb"), std::string::npos);
}

TEST(Arguments, MistakesAreUsage) {
  for (const auto& words :
       std::vector<std::vector<const char*>>{{},
                                             {"fly"},
                                             {"ls"},
                                             {"ls", "--nonsense", "ftp://h"},
                                             {"cat", "--range", "x", "ftp://h/f"},
                                             {"ls", "--timeout", "-1", "ftp://h"},
                                             {"ls", "--timeout", "99999999999", "ftp://h"},
                                             {"sync", "--modify-window", "99999999999", "a", "ftp://h"},
                                             {"ls", "--charset", "latin1", "ftp://h"},
                                             {"ls", "--proxy", "nonsense", "ftp://h"},
                                             {"ls", "ftp://h", "extra"},
                                             {"mv", "ftp://h/a"},
                                             {"sync", "--parallel", "0", "a", "ftp://h"}}) {
    const Parsed parsed = parse(words);
    EXPECT_FALSE(parsed.arguments) << (words.empty() ? "nothing" : words.back());
    EXPECT_EQ(parsed.exit_code, static_cast<int>(ExitCode::usage));
    EXPECT_FALSE(parsed.text.empty());
  }
}

TEST(Arguments, HelpTellsTheExitCodesAndIsNoFailure) {
  const Parsed parsed = parse({"--help"});
  EXPECT_EQ(parsed.exit_code, 0);
  EXPECT_NE(parsed.text.find("124"), std::string::npos);
  EXPECT_EQ(parsed.text.find("--password "), std::string::npos);
}

TEST(Arguments, VersionIsNoFailure) {
  const Parsed parsed = parse({"--version"});
  EXPECT_EQ(parsed.exit_code, 0);
  EXPECT_EQ(parsed.text, "ftp-host 1.0.0\n");
}

TEST(Range, ReadsAllThreeForms) {
  EXPECT_EQ(resolve_range(parse_range("2-5"), 100).offset, 2);
  EXPECT_EQ(resolve_range(parse_range("2-5"), 100).length, 4);
  EXPECT_EQ(resolve_range(parse_range("90-"), 100).length, 10);
  EXPECT_EQ(resolve_range(parse_range("-10"), 100).offset, 90);
  EXPECT_EQ(resolve_range(parse_range("0-0"), 100).length, 1);
}

TEST(Range, IsCutToTheFile) {
  EXPECT_EQ(resolve_range(parse_range("90-200"), 100).length, 10);
  EXPECT_EQ(resolve_range(parse_range("100-"), 100).length, 0);
  EXPECT_EQ(resolve_range(parse_range("500-600"), 100).length, 0);
  EXPECT_EQ(resolve_range(parse_range("-500"), 100).length, 100);
  EXPECT_EQ(resolve_range(parse_range("0-9223372036854775807"), 100).length, 100);
}

TEST(Range, RefusesNonsense) {
  for (const char* text : {"", "-", "5", "5-2", "a-b", "1-2-3", "--5", "99999999999999999999-"}) {
    EXPECT_THROW((void)parse_range(text), Failure) << text;
  }
}

}  // namespace
}  // namespace ftp_host
