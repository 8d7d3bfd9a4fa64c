// The control connection of one client of the scripted FTP server: lines in, replies out.
#pragma once

#include <string>
#include <string_view>

#include "tests/fakes/socket.h"

namespace fakes {

struct FtpServerState;

/// Thrown within a session to end it: the peer went, the server stops, or a fault says so.
struct SessionEnds {};

/// `text` in ASCII capitals.
[[nodiscard]] std::string upper(std::string text);

class FtpControl {
 public:
  /// The connection is closed by the destructor; `server` outlives it.
  FtpControl(const FtpServerState& server, Socket socket);

  /// Waits for a whole line; it comes without its end. Throws SessionEnds when there will be none.
  [[nodiscard]] std::string read_line();
  /// Takes what has arrived. False: the peer has closed.
  [[nodiscard]] bool fill_input();
  /// While silent, what the client says is thrown away; only its leaving counts.
  [[nodiscard]] bool peer_has_gone();
  /// Whether the client has sent ABOR behind the command that is carried out.
  [[nodiscard]] bool abort_is_asked() const;

  /// Sends the text and the line end.
  void reply(const std::string& text);
  /// Sends these bytes as they are. What a peer that has left would have to read is dropped.
  void send(std::string_view text);

  [[nodiscard]] int fd() const noexcept { return socket_.get(); }
  /// AF_INET or AF_INET6.
  [[nodiscard]] int family() const { return address_family(socket_); }

 private:
  const FtpServerState& server_;
  Socket socket_;
  std::string input_;
  bool peer_is_deaf_ = false;
};

}  // namespace fakes
