#include "tests/fakes/relay.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <deque>
#include <list>
#include <optional>
#include <system_error>
#include <vector>

namespace fakes {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 256 * 1024;

struct Piece {
  Clock::time_point due;
  std::string bytes;
  std::size_t sent = 0;
};

/// What travels one way. An empty piece is the end of the stream.
struct Way {
  int from;
  int to;
  bool reading = true;
  std::deque<Piece> in_flight{};
  std::size_t bytes = 0;  // of all pieces in flight

  [[nodiscard]] bool due(Clock::time_point now) const {
    return !in_flight.empty() && in_flight.front().due <= now;
  }
};

struct Connection {
  Connection(Socket near, Socket far)
      : client{std::move(near)},
        server{std::move(far)},
        up{client.get(), server.get()},
        down{server.get(), client.get()} {}
  Socket client;
  Socket server;
  Way up;
  Way down;
  std::size_t from_server = 0;
  bool over = false;

  /// Stops listening to the server once `limit` of its bytes were taken.
  void stall_behind(std::size_t limit) {
    if (limit != 0 && from_server >= limit) down.reading = false;
  }
};

void prepare(const Socket& socket) {
  const int on = 1;
  ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

/// Takes what has arrived; false when the connection is broken.
bool take(Way& way, Clock::time_point due, std::size_t most, std::size_t& count) {
  thread_local std::vector<char> buffer(kPiece);  // most pieces are far smaller
  const ssize_t got = ::recv(way.from, buffer.data(), std::min(most, kPiece), MSG_DONTWAIT);
  if (got < 0) return errno == EAGAIN || errno == EINTR;
  count = static_cast<std::size_t>(got);
  way.reading = got != 0;
  way.bytes += count;
  way.in_flight.push_back({due, std::string(buffer.data(), count)});
  return true;
}

/// Hands over what is due; false when the connection is broken.
bool hand_over(Way& way, Clock::time_point now) {
  while (way.due(now)) {
    Piece& piece = way.in_flight.front();
    if (piece.bytes.empty()) {
      ::shutdown(way.to, SHUT_WR);
    } else {
      const ssize_t put = ::send(way.to, piece.bytes.data() + piece.sent, piece.bytes.size() - piece.sent,
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
      if (put < 0) return errno == EAGAIN || errno == EINTR;
      piece.sent += static_cast<std::size_t>(put);
      way.bytes -= static_cast<std::size_t>(put);
      if (piece.sent < piece.bytes.size()) return true;
    }
    way.in_flight.pop_front();
  }
  return true;
}

short events(const Way& in, const Way& out, Clock::time_point now) {
  return static_cast<short>((in.reading ? POLLIN : 0) | (out.due(now) ? POLLOUT : 0));
}

}  // namespace

Relay::Relay(const std::string& host, std::uint16_t port, RelayOptions options)
    : server_family_{host.find(':') == std::string::npos ? AF_INET : AF_INET6},
      server_port_{port},
      options_{options},
      listener_{listen_on_loopback(AF_INET)},
      port_{local_port(listener_)},
      stop_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
  if (!stop_) throw std::system_error{errno, std::generic_category(), "eventfd"};
  thread_ = std::thread{[this] { run(); }};
}

Relay::~Relay() {
  ::eventfd_write(stop_.get(), 1);
  thread_.join();
}

void Relay::run() {
  std::list<Connection> open;
  for (;;) {
    auto now = Clock::now();
    std::optional<Clock::time_point> next;
    std::vector<pollfd> watched = {{stop_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (const Connection& each : open) {
      watched.push_back({each.client.get(), events(each.up, each.down, now), 0});
      watched.push_back({each.server.get(), events(each.down, each.up, now), 0});
      for (const Way* way : {&each.up, &each.down}) {
        if (way->in_flight.empty() || way->due(now)) continue;
        if (!next || way->in_flight.front().due < *next) next = way->in_flight.front().due;
      }
    }
    timespec left{};
    if (next) {
      const auto wait = std::chrono::duration_cast<std::chrono::nanoseconds>(*next - now).count();
      left = {static_cast<time_t>(wait / 1'000'000'000), static_cast<long>(wait % 1'000'000'000)};
    }
    ::ppoll(watched.data(), watched.size(), next ? &left : nullptr, nullptr);
    if (watched[0].revents != 0) return;

    now = Clock::now();
    std::size_t at = 2;
    for (Connection& each : open) {
      const bool client_ready = (watched[at++].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
      const bool server_ready = (watched[at++].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
      std::size_t count = 0;
      bool good = true;
      if (client_ready && each.up.reading) good = take(each.up, now + options_.delay, kPiece, count);
      count = 0;
      if (good && server_ready && each.down.reading) {
        const std::size_t limit = options_.cut_after != 0 ? options_.cut_after : options_.stall_after;
        const std::size_t most = limit == 0 ? kPiece : limit - each.from_server;
        good = take(each.down, now + options_.delay, most, count);
        each.from_server += count;
        from_server_ += count;
        most_in_flight_ = std::max(most_in_flight_.load(), each.down.bytes);
        each.stall_behind(options_.stall_after);
      }
      good = good && hand_over(each.up, now) && hand_over(each.down, now);
      const bool cut = options_.cut_after != 0 && each.from_server >= options_.cut_after;
      const bool idle = each.up.in_flight.empty() && each.down.in_flight.empty();
      each.over = !good || (idle && (cut || (!each.up.reading && !each.down.reading)));
    }
    open.remove_if([](const Connection& each) { return each.over; });

    if ((watched[1].revents & POLLIN) == 0) continue;
    Socket client{::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
    if (!client) continue;
    ++connections_;
    Socket server = connect_to_loopback(server_family_, server_port_);
    if (!server) continue;  // the server is gone: so is the caller's connection
    prepare(client);
    prepare(server);
    open.emplace_back(std::move(client), std::move(server));
  }
}

}  // namespace fakes
