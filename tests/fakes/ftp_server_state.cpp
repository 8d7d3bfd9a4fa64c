#include "tests/fakes/ftp_server_state.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "tests/fakes/ftp_session.h"

namespace fakes {

FtpServerState::FtpServerState(bool with_ipv6) : stop_event{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
  if (!stop_event) throw std::system_error{errno, std::generic_category(), "eventfd"};
  listeners[0] = listen_on_loopback(AF_INET);
  ports[0] = local_port(listeners[0]);
  if (with_ipv6) {
    listeners[1] = listen_on_loopback(AF_INET6);
    ports[1] = local_port(listeners[1]);
  }
  accepting = std::thread{[this] { accept_clients(); }};
}

int FtpServerState::await_either(int fd, short wanted, int other_fd, short other_wanted) const {
  std::array<pollfd, 3> polled{{{stop_event.get(), POLLIN, 0}, {fd, wanted, 0}, {other_fd, other_wanted, 0}}};
  while (::poll(polled.data(), polled.size(), -1) < 0) {
    if (errno != EINTR) return -1;
  }
  if (polled[0].revents != 0) return -1;
  return (polled[1].revents != 0 ? 1 : 0) | (polled[2].revents != 0 ? 2 : 0);
}

bool FtpServerState::await(int fd, short wanted) const { return await_either(fd, wanted, -1, 0) >= 0; }

bool FtpServerState::pause(std::chrono::milliseconds duration) const {
  pollfd polled{stop_event.get(), POLLIN, 0};
  return ::poll(&polled, 1, static_cast<int>(duration.count())) == 0;
}

void FtpServerState::accept_clients() {
  for (;;) {
    const int ready = await_either(listeners[0].get(), POLLIN, listeners[1].get(), POLLIN);
    if (ready < 0) return;
    const Socket& listener = listeners[(ready & 1) != 0 ? 0 : 1];
    Socket control{::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
    if (!control) continue;
    send_at_once(control);  // two replies in a row, as around a transfer, would cost 40 ms
    reap_finished();
    const int number = with([&] {
      ++open;
      tell();
      return ++seen;
    });
    Client& client = clients.emplace_back();
    client.thread = std::thread{[this, &client, number, socket = std::move(control)]() mutable {
      { FtpSession{*this, std::move(socket), number}.run(); }
      with([&] {
        --open;
        tell();
      });
      client.finished = true;
    }};
  }
}

void FtpServerState::reap_finished() {
  clients.remove_if([](Client& client) {
    if (!client.finished) return false;
    client.thread.join();
    return true;
  });
}

void FtpServerState::stop() {
  if (stopping.exchange(true)) return;
  const std::uint64_t one = 1;
  if (::write(stop_event.get(), &one, sizeof one) != sizeof one) std::abort();
  accepting.join();
  with([&] {
    for (Gate& gate : gates) gate.open();
  });
  for (Client& client : clients) client.thread.join();
  clients.clear();
  listeners = {};
  idle_listeners.clear();
}

FaultRule FtpServerState::take_rule(int connection, const std::string& command) {
  for (FaultRule& rule : rules) {
    if (!rule.matches(command, connection)) continue;
    if (rule.left > 0) --rule.left;
    return rule;
  }
  return {};
}

FaultRule FtpServerState::record(int connection, const std::string& command) {
  return with([&] {
    commands.emplace_back(connection, command);
    tell();
    return take_rule(connection, command);
  });
}

Socket FtpServerState::take_listener(int family) {
  return with([&] {
    std::vector<Socket>& idle = idle_listeners[family];
    if (idle.empty()) return listen_on_loopback(family);
    Socket listener = std::move(idle.back());
    idle.pop_back();
    return listener;
  });
}

void FtpServerState::keep_listener(int family, Socket listener) {
  with([&] { idle_listeners[family].push_back(std::move(listener)); });
}

}  // namespace fakes
