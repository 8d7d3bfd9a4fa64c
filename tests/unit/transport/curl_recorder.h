// What is told to libcurl, written down. The functions under libcurl's names that do so stand in
// curl_calls_test.cpp and serve this whole program.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ftp_plugin {

/// Where this thread's curl_easy_setopt calls are written down, as `OPTION=value`; null for nowhere.
extern thread_local std::vector<std::string>* option_record;

/// The options that `action` sets, in order.
template <class Action>
std::vector<std::string> options_of(Action&& action) {
  std::vector<std::string> seen;
  option_record = &seen;
  std::forward<Action>(action)();
  option_record = nullptr;
  return seen;
}

}  // namespace ftp_plugin
