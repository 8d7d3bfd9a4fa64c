// What is told to libcurl, written down. The functions under libcurl's names that do so stand in
// curl_calls_test.cpp and serve this whole program.
#pragma once

#include <curl/curl.h>

#include <string>
#include <utility>
#include <vector>

namespace ftp_plugin {

/// Where this thread's curl_easy_setopt calls are written down, as `OPTION=value`; null for nowhere.
extern thread_local std::vector<std::string>* option_record;

/// What libcurl has no memory for on this thread: new handles and list entries, or the text of one option.
extern thread_local bool out_of_memory;
extern thread_local CURLoption refused_option;  ///< CURLOPT_LASTENTRY for none

struct no_memory {
  no_memory() { out_of_memory = true; }
  no_memory(const no_memory&) = delete;
  no_memory& operator=(const no_memory&) = delete;
  ~no_memory() { out_of_memory = false; }
};

/// A SIGPIPE is raised whenever this thread frees a handle, as libcurl does when it says goodbye over TLS to
/// somebody who has gone.
extern thread_local bool pipe_breaks_in_cleanup;

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
