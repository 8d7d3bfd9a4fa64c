// A tiny web server for tests of the request object: loopback, a port of its own choosing, one connection
// after the other, one request on each. It records what it was asked and answers what the test says.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ftp_plugin::testing_tools {

struct http_request {
  std::string method;
  std::string target;
  std::map<std::string, std::string> headers;  ///< names in lower case
  std::vector<std::string> header_names;       ///< as received, in order
  std::string body;                            ///< with the chunks put together
};

inline std::string http_reply(const std::string& status, const std::string& headers,
                              const std::string& body) {
  return "HTTP/1.1 " + status + "\r\nConnection: close\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class http_responder {
 public:
  using answer = std::function<std::string(const http_request&)>;

  explicit http_responder(answer say = [](const http_request&) { return http_reply("200 OK", "", "hello"); })
      : say_{std::move(say)}, listener_{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener_ < 0 || ::bind(listener_, generic, length) != 0 || ::listen(listener_, 16) != 0 ||
        ::getsockname(listener_, generic, &length) != 0) {
      throw std::runtime_error{"no loopback port to listen on"};
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread{[this] { serve(); }};
  }
  http_responder(const http_responder&) = delete;
  http_responder& operator=(const http_responder&) = delete;
  ~http_responder() {
    ::shutdown(listener_, SHUT_RDWR);  // wakes accept
    thread_.join();
    ::close(listener_);
  }

  int port() const { return port_; }
  std::string url(const std::string& target) const {
    return "http://127.0.0.1:" + std::to_string(port_) + target;
  }

  /// What was asked so far.
  std::vector<http_request> requests() const {
    const std::lock_guard<std::mutex> lock{mutex_};
    return requests_;
  }
  http_request last() const { return requests().at(requests().size() - 1); }

 private:
  void serve() {
    for (;;) {
      const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) return;
      const timeval limit{10, 0};  // a client that stops in the middle must not hold the test for ever
      ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
      ::setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
      input_.clear();
      http_request request;
      if (receive(client, request)) {
        {
          const std::lock_guard<std::mutex> lock{mutex_};
          requests_.push_back(request);
        }
        send_all(client, say_(request));
      }
      ::shutdown(client, SHUT_WR);
      ::close(client);
    }
  }

  bool more(int client) {
    char piece[16384];
    const ssize_t got = ::recv(client, piece, sizeof piece, 0);
    if (got > 0) input_.append(piece, static_cast<std::size_t>(got));
    return got > 0;
  }

  bool take_line(int client, std::string& line) {
    std::size_t end = 0;
    while ((end = input_.find("\r\n")) == std::string::npos) {
      if (!more(client)) return false;
    }
    line = input_.substr(0, end);
    input_.erase(0, end + 2);
    return true;
  }

  bool take_bytes(int client, std::size_t count, std::string& to) {
    while (input_.size() < count) {
      if (!more(client)) return false;
    }
    to += input_.substr(0, count);
    input_.erase(0, count);
    return true;
  }

  bool receive(int client, http_request& request) {
    std::string line;
    if (!take_line(client, line)) return false;
    request.method = line.substr(0, line.find(' '));
    line.erase(0, request.method.size() + 1);
    request.target = line.substr(0, line.find(' '));
    while (take_line(client, line) && !line.empty()) {
      const std::string name = line.substr(0, line.find(':'));
      request.header_names.push_back(name);
      std::string folded = name;
      std::ranges::transform(folded, folded.begin(),
                             [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      const std::size_t value = line.find_first_not_of(' ', name.size() + 1);
      request.headers[folded] = value == std::string::npos ? "" : line.substr(value);
    }
    if (request.headers["expect"] == "100-continue") send_all(client, "HTTP/1.1 100 Continue\r\n\r\n");
    if (request.headers["transfer-encoding"] == "chunked") return receive_chunks(client, request.body);
    const std::string length = request.headers["content-length"];
    return length.empty() || take_bytes(client, std::stoul(length), request.body);
  }

  bool receive_chunks(int client, std::string& body) {
    for (;;) {
      std::string line;
      if (!take_line(client, line)) return false;
      const std::size_t length = std::stoul(line, nullptr, 16);
      std::string end;
      if (!take_bytes(client, length, body) || !take_line(client, end)) return false;
      if (length == 0) return true;
    }
  }

  static void send_all(int client, const std::string& text) {
    std::size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t now = ::send(client, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (now <= 0) return;
      sent += static_cast<std::size_t>(now);
    }
  }

  answer say_;
  int listener_;
  int port_ = 0;
  std::string input_;  // of the current connection
  mutable std::mutex mutex_;
  std::vector<http_request> requests_;
  std::thread thread_;
};

}  // namespace ftp_plugin::testing_tools
