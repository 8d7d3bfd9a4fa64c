// What the scripted FTP server does wrong, one line for each fault; FtpServer::on() makes them.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "tests/fakes/ftp_gate.h"

namespace fakes {

struct FaultRule;
struct FtpServerState;

/// What the server does instead of, or around, the ordinary answer to a command. It takes effect when the
/// statement that writes it ends. Of several for one command, the first that is not used up applies.
class Fault {
 public:
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Answers with this text (the line end is added) and does not carry out the command.
  Fault& reply(std::string text);
  /// Sends these bytes, as they are, behind the reply.
  Fault& extra(std::string bytes);
  /// The same, once the gate is open: the client has read the reply by itself.
  Fault& extra(std::string bytes, const Gate& gate);
  Fault& delay(std::chrono::milliseconds pause);
  /// Waits at the gate before anything else is done.
  Fault& hold(const Gate& gate);
  /// Closes the control connection instead of replying.
  Fault& hang_up();
  Fault& hang_up_after_reply();
  /// Never answers; the connection stays until the client or the test ends it.
  Fault& silence();
  /// Keeps the connection after the reply to QUIT.
  Fault& stay();

  /// Ends the data after `count` bytes and reports success.
  Fault& end_data_after(std::size_t count);
  /// Resets the data connection after `count` bytes and reports 426.
  Fault& break_data_after(std::size_t count);
  /// Closes data and control connection after `count` bytes.
  Fault& hang_up_after_data(std::size_t count);
  /// Sends `count` bytes, then waits at the gate, then sends the rest.
  Fault& hold_data_after(std::size_t count, const Gate& gate);
  /// Sends this text, not "226 ...", when the data is through.
  Fault& closing(std::string text);
  /// Takes an upload, says 226 and loses it.
  Fault& lose();

  /// Applies to the first `count` matching commands only; without it, to all of them.
  Fault& times(int count);
  Fault& on_connection(int number);

 private:
  friend class FtpServer;
  Fault(FtpServerState& server, std::string pattern);

  FtpServerState& server_;
  std::unique_ptr<FaultRule> rule_;
};

}  // namespace fakes
