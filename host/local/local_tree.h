// A tree on this machine.
#pragma once

#include "host/local/local_files.h"
#include "host/tree/tree.h"

namespace ftp_host {

/// `local` as an entry at `place`.
[[nodiscard]] Entry as_entry(const LocalEntry& local, std::string place);

/// Places are paths below the top; its own is empty. Links are never followed.
class LocalTree final : public Tree {
 public:
  explicit LocalTree(LocalDirectory top) : top_{std::move(top)} {}
  [[nodiscard]] std::string top() const override { return ""; }
  [[nodiscard]] Listing list(const std::string& place) override;
  /// Nothing is hidden here.
  [[nodiscard]] std::optional<Entry> find_hidden(const std::string&, const std::string&, bool) override {
    return std::nullopt;
  }
  /// No link is listed as a directory here.
  [[nodiscard]] std::optional<Entry> as_file(const std::string&) override { return std::nullopt; }
  [[nodiscard]] bool remove_link(const std::string&) override { return false; }
  [[nodiscard]] std::string make_directory(const std::string& place, const std::string& name) override;
  void remove_file(const std::string& place) override;
  void remove_directory(const std::string& place) override;
  void remove_temporary(const std::string& place) override;

  /// The directory at `place`, entered name by name.
  [[nodiscard]] LocalDirectory open(const std::string& place) const;

 private:
  LocalDirectory top_;
};

}  // namespace ftp_host
