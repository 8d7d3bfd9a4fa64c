// One SSH session with SFTP started on it, over a socket of its own. No call waits without a limit.
#pragma once

#include <libssh2.h>
#include <libssh2_sftp.h>
#include <sys/types.h>

#include <chrono>
#include <string>

#include "common/pinned.h"
#include "transport/limits.h"
#include "transport/server_settings.h"
#include "transport/sftp/bare_socket.h"
#include "transport/sftp/sftp_attributes.h"
#include "transport/sftp/sftp_entry.h"
#include "transport/sftp/ssh_owner.h"

namespace ftp_plugin {

struct sftp_limits {
  /// For connect, handshake, login and start of SFTP together.
  std::chrono::milliseconds login{kConnectTimeoutSeconds * 1000};
  /// Afterwards, while nothing comes and nothing can be sent.
  std::chrono::milliseconds silence{kLowSpeedSeconds * 1000};
};

/// One thread at a time. Results are libcurl codes, those that libcurl's own SFTP transfers give.
class sftp_session : pinned {
 public:
  explicit sftp_session(sftp_limits limits) noexcept : limits_{limits} {}
  /// Says goodbye without waiting for an answer.
  ~sftp_session();

  /// Connects, logs in and starts SFTP. Once per object; after a failure the object is of no further use.
  /// Host keys are not checked.
  [[nodiscard]] CURLcode open(const server_settings& server);

  /// Attributes of `path`, links followed. A path that does not begin with "/", and what follows "/~/",
  /// start at the home directory; "" and "/~" are the home directory.
  [[nodiscard]] CURLcode stat(const std::string& path, sftp_attributes& out);

  /// Hands the entries of directory `path` to `sink`, in the server's order. On failure it has got a part.
  [[nodiscard]] CURLcode list(const std::string& path, sftp_entry_sink& sink);

  /// Whether the session can take further requests; false after a failure that was not merely the server's
  /// answer to a request.
  [[nodiscard]] bool usable() const noexcept { return usable_; }

 private:
  using clock = std::chrono::steady_clock;

  [[nodiscard]] CURLcode log_in(const credentials& login);
  [[nodiscard]] CURLcode try_password(const credentials& login, const std::string& methods);
  [[nodiscard]] CURLcode try_key(const std::string& user, const std::string& file,
                                 const std::string& pass_phrase);
  [[nodiscard]] CURLcode read_entries(const std::string& path, sftp_entry_sink& sink);
  [[nodiscard]] CURLcode close_directory();

  // libssh2's way back to its session is a pointer to the pointer that it was given at the start.
  static sftp_session& of(void** abstract) noexcept { return *static_cast<sftp_session*>(*abstract); }
  static ssize_t receive(libssh2_socket_t socket, void* buffer, size_t length, int flags, void** abstract);
  static void answer_prompts(const char*, int, const char*, int, int count,
                             const LIBSSH2_USERAUTH_KBDINT_PROMPT*,
                             LIBSSH2_USERAUTH_KBDINT_RESPONSE* responses, void** abstract);

  /// Repeats `call`, which gives LIBSSH2_ERROR_EAGAIN while it would have to wait, until it gives another
  /// result or time is up.
  template <class Call>
  [[nodiscard]] int finish(Call&& call);
  /// Waits until the socket is ready for what libssh2 is about to do. Returns 0 or LIBSSH2_ERROR_TIMEOUT.
  [[nodiscard]] int wait() const;
  [[nodiscard]] bool server_ended_sftp() const;
  /// The code for `error`, the result of a failed call.
  [[nodiscard]] CURLcode failed(int error);
  void trace_failure(const char* what) const;

  sftp_limits limits_;
  int fruitless_looks_ = 0;  // at the socket, of the running call of libssh2; also while the owners below end
  bare_socket socket_;
  // Each is part of the one above it: they end from the last to the first.
  ssh_owner<LIBSSH2_SESSION, libssh2_session_free> session_;
  ssh_owner<LIBSSH2_SFTP, libssh2_sftp_shutdown> sftp_;
  ssh_owner<LIBSSH2_SFTP_HANDLE, libssh2_sftp_close_handle> directory_;  // the one that is being read
  bool logged_in_ = false;
  bool usable_ = false;
  clock::time_point login_deadline_{};
  std::string prompt_answer_;  // what keyboard-interactive prompts are answered with
};

}  // namespace ftp_plugin
