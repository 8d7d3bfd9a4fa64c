// One client of the scripted FTP server: what it asks on its control connection, and what it gets.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/fakes/ftp_control.h"
#include "tests/fakes/ftp_fault_rule.h"
#include "tests/fakes/socket.h"

namespace fakes {

class FtpSession {
 public:
  /// `number` is what the record calls the connection; `server` outlives the session.
  FtpSession(FtpServerState& server, Socket control, int number);

  /// Greets, and answers commands until one of the two ends the connection.
  void run();

 private:
  enum class Outcome { complete, aborted };

  /// Carries out `ordinary` as the rule lets it.
  template <class Ordinary>
  void obey(const FaultRule& rule, Ordinary&& ordinary);

  // Data connections.
  void forget_data_port();
  /// The data connection of the command at hand; ends the session when it cannot be had.
  [[nodiscard]] Socket open_data();
  [[nodiscard]] Outcome send_data(Socket& data, std::string_view bytes);
  void after_data(const FaultRule& rule, Socket& data, Outcome outcome);
  void download(const FaultRule& rule, std::string_view bytes);
  void upload(const FaultRule& rule, const std::string& path);

  // Commands. Those of a group answer whether the verb is one of theirs; then it has had its reply.
  void carry_out(const std::string& line, const FaultRule& rule);
  [[nodiscard]] bool is_lacking(const std::string& verb, const std::string& argument) const;
  [[nodiscard]] bool log_in(const std::string& verb, const std::string& argument);
  [[nodiscard]] bool describe(const std::string& verb, const std::string& argument);
  [[nodiscard]] bool prepare_data(const std::string& verb, const std::string& argument);
  [[nodiscard]] bool transfer(const std::string& verb, const std::string& argument, const FaultRule& rule);
  [[nodiscard]] bool change(const std::string& verb, const std::string& argument);
  [[nodiscard]] std::string path_of(const std::string& argument) const;

  FtpServerState& server_;
  FtpControl control_;
  const int number_;
  std::string cwd_;
  std::string user_;
  bool logged_in_ = false;
  Socket listener_;
  int active_family_ = AF_INET;
  std::uint16_t active_port_ = 0;
  std::size_t restart_ = 0;
  std::string rename_from_;
};

}  // namespace fakes
