// Base of types that own something by address: neither copied nor moved.
#pragma once

namespace ftp_plugin {

class pinned {
 public:
  pinned(const pinned&) = delete;
  pinned& operator=(const pinned&) = delete;

 protected:
  pinned() = default;
  ~pinned() = default;
};

}  // namespace ftp_plugin
