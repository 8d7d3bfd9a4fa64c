#include "tests/fakes/ftp_session.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "tests/fakes/ftp_server_state.h"

namespace fakes {

FtpSession::FtpSession(FtpServerState& server, Socket control, int number)
    : server_{server}, control_{server, std::move(control)}, number_{number}, cwd_{server.with([&] {
        return server.home;
      })} {}

void FtpSession::run() {
  try {
    FaultRule greeting = server_.with([&] { return server_.take_rule(number_, "CONNECT"); });
    obey(greeting, [this] { control_.reply("220 Scripted server ready."); });
    for (;;) {
      const std::string line = control_.read_line();
      FaultRule rule = server_.record(number_, line);
      const bool says_goodbye = upper(line.substr(0, 4)) == "QUIT";
      obey(rule, [&] { carry_out(line, rule); });
      if (says_goodbye && !rule.stay) return;
    }
  } catch (const SessionEnds&) {
  } catch (const std::system_error&) {  // no port left, or the peer is gone while it is asked for
  }
}

template <class Ordinary>
void FtpSession::obey(const FaultRule& rule, Ordinary&& ordinary) {
  if (rule.gate) rule.gate->pass();
  if (rule.delay.count() > 0 && !server_.pause(rule.delay)) throw SessionEnds{};
  if (rule.silence) {
    while (server_.await(control_.fd(), POLLIN | POLLRDHUP) && !control_.peer_has_gone()) {
    }
    throw SessionEnds{};
  }
  if (rule.hang_up) throw SessionEnds{};
  if (rule.reply) {
    control_.reply(*rule.reply);
  } else {
    ordinary();
  }
  if (rule.extra_gate) rule.extra_gate->pass();
  if (!rule.extra.empty()) control_.send(rule.extra);
  if (rule.hang_up_after_reply) throw SessionEnds{};
}

void FtpSession::forget_data_port() {
  listener_.reset();
  active_port_ = 0;
}

Socket FtpSession::open_data() {
  if (active_port_ != 0) return connect_to_loopback(active_family_, std::exchange(active_port_, 0));
  if (!listener_) return Socket{};
  for (;;) {
    const int ready = server_.await_either(listener_.get(), POLLIN, control_.fd(), POLLIN);
    if (ready < 0) throw SessionEnds{};
    if ((ready & 1) != 0) {
      Socket data{::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
      if (data) {
        server_.keep_listener(control_.family(), std::move(listener_));
        return data;
      }
    } else if (!control_.fill_input()) {
      throw SessionEnds{};
    }
  }
}

FtpSession::Outcome FtpSession::send_data(Socket& data, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(data.get(), bytes.data(), std::min<std::size_t>(bytes.size(), 65536),
                                MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
      continue;
    }
    if (errno == EINTR) continue;
    if (errno != EAGAIN) return Outcome::aborted;  // the client closed it: it wants no more
    const int ready = server_.await_either(data.get(), POLLOUT, control_.fd(), POLLIN);
    if (ready < 0) throw SessionEnds{};
    if ((ready & 2) != 0 && (!control_.fill_input() || control_.abort_is_asked())) return Outcome::aborted;
  }
  return Outcome::complete;
}

void FtpSession::after_data(const FaultRule& rule, Socket& data, Outcome outcome) {
  if (rule.data_end == FaultRule::DataEnd::reset) {
    data.abort();
    control_.reply("426 Data connection broken.");
    return;
  }
  data.reset();
  if (rule.data_end == FaultRule::DataEnd::hang_up) throw SessionEnds{};
  if (outcome == Outcome::aborted) {
    control_.reply("426 Transfer aborted.");
  } else {
    control_.reply(rule.closing.value_or("226 Transfer complete."));
  }
}

void FtpSession::download(const FaultRule& rule, std::string_view bytes) {
  if (!listener_ && active_port_ == 0) return control_.reply("425 Use PASV or PORT first.");
  control_.reply("150 Here it comes.");
  Socket data = open_data();
  if (!data) return control_.reply("425 Cannot open the data connection.");
  bytes = bytes.substr(0, rule.data_limit.value_or(bytes.size()));
  Outcome outcome = Outcome::complete;
  if (rule.data_gate) {
    const std::size_t first = std::min(rule.data_gate_at, bytes.size());
    outcome = send_data(data, bytes.substr(0, first));
    rule.data_gate->pass();
    bytes.remove_prefix(first);
  }
  if (outcome == Outcome::complete) outcome = send_data(data, bytes);
  after_data(rule, data, outcome);
}

void FtpSession::upload(const FaultRule& rule, const std::string& path) {
  if (!listener_ && active_port_ == 0) return control_.reply("425 Use PASV or PORT first.");
  control_.reply("150 Send it.");
  Socket data = open_data();
  if (!data) return control_.reply("425 Cannot open the data connection.");
  std::string bytes;
  std::vector<char> block(65536);
  while (bytes.size() < rule.data_limit.value_or(std::string::npos)) {
    if (!server_.await(data.get(), POLLIN)) throw SessionEnds{};
    const ssize_t got = ::recv(data.get(), block.data(), block.size(), MSG_DONTWAIT);
    if (got > 0) {
      bytes.append(block.data(), static_cast<std::size_t>(got));
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
      break;
    }
  }
  if (rule.data_end == FaultRule::DataEnd::whole) {
    server_.with([&] {
      if (!rule.lose) server_.tree.add_file(path, bytes, "20240102030405");
      server_.uploads.push_back({path, std::move(bytes)});
      server_.tell();
    });
  }
  after_data(rule, data, Outcome::complete);
}

void FtpSession::carry_out(const std::string& line, const FaultRule& rule) {
  const std::size_t blank = line.find(' ');
  const std::string verb = upper(line.substr(0, blank));
  const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
  if (is_lacking(verb, argument)) return control_.reply("500 Unknown command.");
  if (!log_in(verb, argument) && !describe(verb, argument) && !prepare_data(verb, argument) &&
      !transfer(verb, argument, rule) && !change(verb, argument)) {
    control_.reply("500 Unknown command.");
  }
}

bool FtpSession::is_lacking(const std::string& verb, const std::string& argument) const {
  std::string feature = verb;
  if (verb == "MLSD") feature = "MLST";
  if (verb == "OPTS") feature = upper(argument.substr(0, argument.find(' ')));
  return server_.with([&] { return server_.lacking.contains(feature); });
}

bool FtpSession::log_in(const std::string& verb, const std::string& argument) {
  if (verb == "USER") {
    user_ = argument;
    logged_in_ = false;
    control_.reply("331 Password, please.");
  } else if (verb == "PASS") {
    logged_in_ = server_.with([&] {
      const bool welcome = !server_.account || *server_.account == std::pair{user_, argument};
      if (welcome) ++server_.logins;
      server_.tell();
      return welcome;
    });
    control_.reply(logged_in_ ? "230 Logged in." : "530 Login incorrect.");
  } else if (verb == "QUIT") {
    control_.reply("221 Goodbye.");
  } else if (!logged_in_ && verb != "FEAT" && verb != "SYST" && verb != "NOOP") {
    control_.reply(verb == "AUTH" ? "500 Unknown command." : "530 Log in first.");
  } else {
    return false;
  }
  return true;
}

bool FtpSession::describe(const std::string& verb, const std::string& argument) {
  if (verb == "SYST") {
    control_.reply("215 UNIX Type: L8");
  } else if (verb == "NOOP" || verb == "TYPE" || verb == "MODE" || verb == "STRU" || verb == "ALLO") {
    control_.reply("200 OK.");
  } else if (verb == "FEAT") {
    std::string text = "211-Features:\r\n";
    server_.with([&] {
      for (const auto& [name, label] : {std::pair{"EPSV", "EPSV"},
                                        {"MDTM", "MDTM"},
                                        {"MFMT", "MFMT"},
                                        {"MLST", "MLST type*;unique*;size*;modify*;"},
                                        {"REST", "REST STREAM"},
                                        {"SIZE", "SIZE"},
                                        {"UTF8", "UTF8"}}) {
        if (!server_.lacking.contains(name)) text += std::string{" "} + label + "\r\n";
      }
    });
    control_.reply(text + "211 End");
  } else if (verb == "OPTS") {
    const std::string option = upper(argument.substr(0, argument.find(' ')));
    control_.reply(option == "UTF8" || option == "MLST" ? "200 OK." : "501 Unknown option.");
  } else if (verb == "PWD") {
    control_.reply("257 \"" + cwd_ + "\" is the current directory.");
  } else if (verb == "ABOR") {
    control_.reply("226 Nothing to abort.");
  } else {
    return false;
  }
  return true;
}

bool FtpSession::prepare_data(const std::string& verb, const std::string& argument) {
  if (verb == "PASV") {
    if (control_.family() != AF_INET) return control_.reply("425 Use EPSV."), true;
    forget_data_port();
    listener_ = server_.take_listener(AF_INET);
    const int port = local_port(listener_);
    control_.reply("227 Entering Passive Mode (127,0,0,1," + std::to_string(port / 256) + "," +
                   std::to_string(port % 256) + ").");
  } else if (verb == "EPSV") {
    forget_data_port();
    listener_ = server_.take_listener(control_.family());
    control_.reply("229 Entering Extended Passive Mode (|||" + std::to_string(local_port(listener_)) + "|)");
  } else if (verb == "PORT") {
    forget_data_port();
    std::array<unsigned, 6> numbers{};
    if (std::sscanf(argument.c_str(), "%u,%u,%u,%u,%u,%u", &numbers[0], &numbers[1], &numbers[2], &numbers[3],
                    &numbers[4], &numbers[5]) != 6) {
      return control_.reply("501 Bad address."), true;
    }
    active_family_ = AF_INET;
    active_port_ = static_cast<std::uint16_t>(numbers[4] * 256 + numbers[5]);
    control_.reply("200 PORT taken.");
  } else if (verb == "EPRT") {
    forget_data_port();
    unsigned family = 0;
    unsigned port = 0;
    if (std::sscanf(argument.c_str(), "|%u|%*[^|]|%u|", &family, &port) != 2) {
      return control_.reply("501 Bad address."), true;
    }
    active_family_ = family == 2 ? AF_INET6 : AF_INET;
    active_port_ = static_cast<std::uint16_t>(port);
    control_.reply("200 EPRT taken.");
  } else if (verb == "REST") {
    restart_ = std::strtoull(argument.c_str(), nullptr, 10);
    control_.reply("350 Restarting there.");
  } else {
    return false;
  }
  return true;
}

bool FtpSession::transfer(const std::string& verb, const std::string& argument, const FaultRule& rule) {
  if (verb == "RETR") {
    const auto bytes = server_.with([&] {
      const FileTree::Node* node = server_.tree.find(path_of(argument));
      return node == nullptr ? nullptr : node->bytes;
    });
    const std::size_t from = std::exchange(restart_, 0);
    if (!bytes) return control_.reply("550 No such file."), true;
    if (from > bytes->size()) return control_.reply("554 Beyond the end."), true;
    download(rule, std::string_view{*bytes}.substr(from));
  } else if (verb == "STOR") {
    restart_ = 0;
    const std::string path = path_of(argument);
    const bool allowed = server_.with([&] {
      const FileTree::Node* parent = server_.tree.find(FileTree::resolve(path, ".."));
      const FileTree::Node* node = server_.tree.find(path);
      return parent != nullptr && parent->directory && (node == nullptr || !node->directory);
    });
    if (!allowed) return control_.reply("553 Cannot store there."), true;
    upload(rule, path);
  } else if (verb == "LIST" || verb == "MLSD") {
    const std::string path = path_of(argument.starts_with("-") ? "" : argument);
    const auto body =
        server_.with([&] { return verb == "LIST" ? server_.tree.list(path) : server_.tree.mlsd(path); });
    if (!body) return control_.reply("550 No such directory."), true;
    download(rule, *body);
  } else {
    return false;
  }
  return true;
}

bool FtpSession::change(const std::string& verb, const std::string& argument) {
  const std::string path = path_of(argument);
  const auto answer = [&](bool done, const char* yes) { control_.reply(done ? yes : "550 Not possible."); };
  FileTree& tree = server_.tree;
  if (verb == "CWD") {
    const bool found = server_.with([&] {
      const FileTree::Node* node = tree.find(path);
      return node != nullptr && node->directory;
    });
    if (found) cwd_ = path;
    answer(found, "250 Changed.");
  } else if (verb == "SIZE" || verb == "MDTM") {
    std::string text;
    server_.with([&] {
      const FileTree::Node* node = tree.find(path);
      if (node == nullptr || !node->bytes) return;
      text = "213 " + (verb == "SIZE" ? std::to_string(node->bytes->size()) : node->modified);
    });
    answer(!text.empty(), text.c_str());
  } else if (verb == "MFMT") {
    const std::string time = argument.substr(0, argument.find(' '));
    const std::string name = argument.size() > time.size() ? argument.substr(time.size() + 1) : "";
    const bool valid = time.size() == 14 && time.find_first_not_of("0123456789") == std::string::npos;
    const bool done = valid && server_.with([&] { return tree.set_modified(path_of(name), time); });
    answer(done, ("213 Modify=" + time + "; " + name).c_str());
  } else if (verb == "MKD") {
    answer(server_.with([&] { return tree.make_directory(path); }), "257 Created.");
  } else if (verb == "RMD") {
    answer(server_.with([&] { return tree.remove_directory(path); }), "250 Removed.");
  } else if (verb == "DELE") {
    answer(server_.with([&] { return tree.remove_file(path); }), "250 Deleted.");
  } else if (verb == "RNFR") {
    rename_from_ = path;
    answer(server_.with([&] { return tree.find(path) != nullptr; }), "350 To what?");
  } else if (verb == "RNTO") {
    const std::string from = std::exchange(rename_from_, "");
    answer(!from.empty() && server_.with([&] { return tree.move(from, path); }), "250 Renamed.");
  } else {
    return false;
  }
  return true;
}

std::string FtpSession::path_of(const std::string& argument) const {
  return FileTree::resolve(cwd_, argument);
}

}  // namespace fakes
