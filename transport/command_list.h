// The commands of one transfer, as libcurl wants them. Owned here, freed with the list.
#pragma once

#include <curl/curl.h>

#include <new>
#include <string>

#include "common/owner.h"

namespace ftp_plugin {

/// Owns the commands (or header lines) of one transfer. libcurl keeps only the pointer: outlive the transfer.
using command_list = owner<curl_slist, curl_slist_free_all>;

/// Appends a copy of `line`. Throws std::bad_alloc and leaves the list as it was when there is no memory.
inline void add(command_list& list, const std::string& line) {
  curl_slist* head = curl_slist_append(list.get(), line.c_str());
  if (head == nullptr) throw std::bad_alloc{};  // the old list is untouched and still owned
  (void)list.release();                         // `head` is the same list, or its first node
  list.reset(head);
}

}  // namespace ftp_plugin
