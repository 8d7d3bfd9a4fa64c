#include "tests/fakes/ftp_server.h"

#include <algorithm>

#include "tests/fakes/ftp_server_state.h"

namespace fakes {

FtpServer::FtpServer(bool with_ipv6) : state_{std::make_unique<FtpServerState>(with_ipv6)} {}
FtpServer::~FtpServer() = default;

void FtpServer::stop() { state_->stop(); }

std::uint16_t FtpServer::port() const { return state_->ports[0]; }

std::string FtpServer::url(const std::string& path) const {
  return "ftp://127.0.0.1:" + std::to_string(state_->ports[0]) + path;
}

std::string FtpServer::url6(const std::string& path) const {
  return "ftp://[::1]:" + std::to_string(state_->ports[1]) + path;
}

void FtpServer::add_file(const std::string& path, std::string bytes, std::string modified) {
  state_->with([&] { state_->tree.add_file(path, std::move(bytes), std::move(modified)); });
}

void FtpServer::add_directory(const std::string& path, std::string modified) {
  state_->with([&] { state_->tree.add_directory(path, std::move(modified)); });
}

void FtpServer::set_list(const std::string& path, std::string raw) {
  state_->with([&] { state_->tree.set_list(path, std::move(raw)); });
}

void FtpServer::set_mlsd(const std::string& path, std::string raw) {
  state_->with([&] { state_->tree.set_mlsd(path, std::move(raw)); });
}

std::optional<std::string> FtpServer::file(const std::string& path) const {
  return state_->with([&]() -> std::optional<std::string> {
    const FileTree::Node* node = state_->tree.find(path);
    if (node == nullptr || !node->bytes) return std::nullopt;
    return *node->bytes;
  });
}

std::vector<FtpServer::Upload> FtpServer::uploads() const {
  return state_->with([&] { return state_->uploads; });
}

void FtpServer::accept_only(std::string user, std::string password) {
  state_->with([&] { state_->account.emplace(std::move(user), std::move(password)); });
}

void FtpServer::start_in(std::string directory) {
  state_->with([&] { state_->home = std::move(directory); });
}

void FtpServer::lacks(const std::string& feature) {
  state_->with([&] { state_->lacking.insert(feature); });
}

void FtpServer::forget_faults() {
  state_->with([&] { state_->rules.clear(); });
}

std::vector<std::string> FtpServer::dialogue() const {
  return state_->with([&] {
    std::vector<std::string> lines;
    for (const auto& [number, text] : state_->commands) lines.push_back(std::to_string(number) + ": " + text);
    return lines;
  });
}

std::vector<std::string> FtpServer::dialogue(int connection) const {
  return state_->with([&] {
    std::vector<std::string> lines;
    for (const auto& [number, text] : state_->commands) {
      if (number == connection) lines.push_back(text);
    }
    return lines;
  });
}

std::vector<std::string> FtpServer::take_dialogue() {
  std::vector<std::string> lines = dialogue();
  return state_->with([&] {
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(state_->taken));
    state_->taken += lines.size();
    return lines;
  });
}

std::size_t FtpServer::count(const std::string& verb) const {
  return state_->with([&] {
    return static_cast<std::size_t>(
        std::count_if(state_->commands.begin(), state_->commands.end(), [&](const auto& command) {
          return command.second == verb || command.second.starts_with(verb + " ");
        }));
  });
}

std::size_t FtpServer::logins() const {
  return state_->with([&] { return state_->logins; });
}

std::size_t FtpServer::connections_seen() const {
  return state_->with([&] { return static_cast<std::size_t>(state_->seen); });
}

std::size_t FtpServer::open_connections() const {
  return state_->with([&] { return state_->open; });
}

bool FtpServer::wait_for(const std::function<bool()>& condition, std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    const std::uint64_t before = state_->with([&] { return state_->events; });
    if (condition()) return true;
    std::unique_lock guard{state_->lock};
    if (!state_->changed.wait_until(guard, deadline, [&] { return state_->events != before; })) return false;
  }
}

bool FtpServer::wait_until_idle() const {
  return wait_for([this] { return open_connections() == 0; });
}

}  // namespace fakes
