#include "transport/command_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ftp_plugin {
namespace {

std::vector<std::string> lines_of(const command_list& list) {
  std::vector<std::string> lines;
  for (const curl_slist* node = list.get(); node != nullptr; node = node->next)
    lines.emplace_back(node->data);
  return lines;
}

TEST(CommandList, BeginsAsNoListAtAll) { EXPECT_EQ(command_list{}.get(), nullptr); }

TEST(CommandList, KeepsTheOrderOfItsLines) {
  command_list list;
  add(list, "RNFR a");
  add(list, "RNTO b");
  add(list, "NOOP");
  EXPECT_EQ(lines_of(list), (std::vector<std::string>{"RNFR a", "RNTO b", "NOOP"}));
}

TEST(CommandList, CopiesTheText) {
  command_list list;
  std::string line = "DELE a";
  add(list, line);
  line = "DELE b";
  EXPECT_EQ(lines_of(list), std::vector<std::string>{"DELE a"});
}

TEST(CommandList, KeepsItsHeadWhenItGrows) {
  command_list list;
  add(list, "first");
  const curl_slist* head = list.get();
  add(list, "second");
  EXPECT_EQ(list.get(), head);
}

}  // namespace
}  // namespace ftp_plugin
