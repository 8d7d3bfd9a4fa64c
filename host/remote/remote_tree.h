// A tree on a server.
#pragma once

#include "host/remote/session.h"
#include "host/tree/tree.h"

namespace ftp_host {

class RemoteTree final : public Tree {
 public:
  /// `top`: the remote path of the tree's own top.
  RemoteTree(Session& session, std::string top) : session_{session}, top_{std::move(top)} {}
  [[nodiscard]] std::string top() const override { return top_; }
  [[nodiscard]] Listing list(const std::string& place) override;
  [[nodiscard]] std::optional<Entry> find_hidden(const std::string& place, const std::string& name,
                                                 bool directory) override;
  [[nodiscard]] std::optional<Entry> as_file(const std::string& place) override;
  [[nodiscard]] std::string make_directory(const std::string& place, const std::string& name) override;
  void remove_file(const std::string& place) override;
  void remove_directory(const std::string& place) override;
  [[nodiscard]] bool remove_link(const std::string& place) override;
  void remove_temporary(const std::string& place) override { remove_file(place); }

 private:
  Session& session_;
  std::string top_;
};

}  // namespace ftp_host
