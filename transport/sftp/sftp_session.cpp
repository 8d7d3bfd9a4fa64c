#include "transport/sftp/sftp_session.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "boundary/log.h"
#include "transport/curl_global.h"
#include "transport/sftp/sftp_errors.h"
#include "transport/sftp/ssh_login.h"

namespace ftp_plugin {
namespace {

using std::chrono::milliseconds;

// No SFTP message that libssh2 takes is longer, so no name and no long name is cut.
constexpr std::size_t kLongestText = 256 * 1024 + 1;
constexpr int kMostFruitlessLooks = 1000;  // in one call; a few are usual

unsigned int length_of(const std::string& text) noexcept { return static_cast<unsigned int>(text.size()); }

/// Starts libssh2 once. libcurl does so too where it is built with it, which it need not be.
bool start_ssh() noexcept {
  start_curl();
  static const int started = libssh2_init(0);
  return started == 0;
}

bool offers(std::string_view methods, std::string_view method) noexcept {
  return methods.find(method) != std::string_view::npos;
}

sftp_attributes to_attributes(const LIBSSH2_SFTP_ATTRIBUTES& got) noexcept {
  return {got.flags, got.filesize, got.uid, got.gid, got.permissions, got.atime, got.mtime};
}

/// The server starts relative paths at the home directory, but takes the empty one for an error. "~" is
/// libcurl's way to write the home directory into a URL, and a server knows nothing of it.
std::string server_path(std::string path) {
  if (path == "/~") path.clear();
  if (path.starts_with("/~/")) path.erase(0, 3);
  return path.empty() ? "." : path;
}

}  // namespace

sftp_session::~sftp_session() {
  if (session_ == nullptr) return;
  // One try: a goodbye is not worth waiting for.
  if (logged_in_) libssh2_session_disconnect(session_.get(), "Shutdown");
  socket_.shut_down();  // before the owners close
}

CURLcode sftp_session::open(const server_settings& server) {
  if (!start_ssh()) return CURLE_FAILED_INIT;
  login_deadline_ = clock::now() + limits_.login;
  if (const CURLcode code = socket_.open(server, limits_.login); code != CURLE_OK) return code;
  session_.reset(libssh2_session_init_ex(nullptr, nullptr, nullptr, this));
  if (session_ == nullptr) return CURLE_OUT_OF_MEMORY;
  libssh2_session_callback_set(session_.get(), LIBSSH2_CALLBACK_RECV, reinterpret_cast<void*>(&receive));
  libssh2_session_set_blocking(session_.get(), 0);

  // libcurl calls a conversation that does not even become SSH, or not become SFTP, a failed initialisation.
  const auto initialised = [this](int error) {
    const CURLcode code = error == 0 ? CURLE_OK : failed(error);
    return code == CURLE_OK || code == CURLE_OPERATION_TIMEDOUT || code == CURLE_OUT_OF_MEMORY
               ? code
               : CURLE_FAILED_INIT;
  };
  CURLcode code =
      initialised(finish([this] { return libssh2_session_handshake(session_.get(), socket_.get()); }));
  if (code != CURLE_OK) return code;
  code = log_in(ssh_login_of(server));
  prompt_answer_.clear();
  if (code != CURLE_OK) return code;
  logged_in_ = true;
  code = initialised(finish([this] {
    sftp_.reset(libssh2_sftp_init(session_.get()));
    return sftp_ != nullptr ? 0 : libssh2_session_last_errno(session_.get());
  }));
  usable_ = code == CURLE_OK;
  return code;
}

CURLcode sftp_session::log_in(const credentials& login) {
  std::string methods;
  const int error = finish([&] {
    const char* list = libssh2_userauth_list(session_.get(), login.user.data(), length_of(login.user));
    if (list != nullptr) methods = list;
    if (list != nullptr || libssh2_userauth_authenticated(session_.get()) != 0) return 0;
    return libssh2_session_last_errno(session_.get());
  });
  if (error != 0) return failed(error);
  if (libssh2_userauth_authenticated(session_.get()) != 0) return CURLE_OK;  // this user needs no proof

  if (!login.key_file.empty()) {
    if (!offers(methods, "publickey")) return CURLE_LOGIN_DENIED;
    return try_key(login.user, login.key_file, login.pass_phrase);
  }
  CURLcode code = try_password(login, methods);
  // As libcurl does where no key is named: the user's own keys under their old standard names.
  const char* home = std::getenv("HOME");
  for (const char* name : {"/.ssh/id_rsa", "/.ssh/id_dsa"}) {
    if (code != CURLE_LOGIN_DENIED || home == nullptr || !offers(methods, "publickey")) break;
    code = try_key(login.user, std::string{home} + name, "");
  }
  return code;
}

CURLcode sftp_session::try_password(const credentials& login, const std::string& methods) {
  CURLcode code = CURLE_LOGIN_DENIED;
  const auto try_to = [&](auto&& call) {
    const int error = finish(call);
    code = error == 0 ? CURLE_OK : failed(error);
    // Whatever else the server or libssh2 says about a login, it means that this one was not accepted.
    if (code == CURLE_SSH) code = CURLE_LOGIN_DENIED;
  };
  if (offers(methods, "password")) {
    try_to([&] {
      return libssh2_userauth_password_ex(session_.get(), login.user.data(), length_of(login.user),
                                          login.password.data(), length_of(login.password), nullptr);
    });
  }
  if (code == CURLE_LOGIN_DENIED && offers(methods, "keyboard-interactive")) {
    prompt_answer_ = login.password;
    try_to([&] {
      return libssh2_userauth_keyboard_interactive_ex(session_.get(), login.user.data(),
                                                      length_of(login.user), &answer_prompts);
    });
  }
  return code;
}

CURLcode sftp_session::try_key(const std::string& user, const std::string& file,
                               const std::string& pass_phrase) {
  const int error = finish([&] {  // the public key is derived from the private one
    return libssh2_userauth_publickey_fromfile_ex(session_.get(), user.data(), length_of(user), nullptr,
                                                  file.c_str(), pass_phrase.c_str());
  });
  if (error == 0) return CURLE_OK;
  const CURLcode code = failed(error);
  return is_lost_connection(code) || code == CURLE_OPERATION_TIMEDOUT || code == CURLE_OUT_OF_MEMORY
             ? code
             : CURLE_LOGIN_DENIED;
}

CURLcode sftp_session::stat(const std::string& path, sftp_attributes& out) {
  const std::string asked = server_path(path);
  LIBSSH2_SFTP_ATTRIBUTES got{};
  const int error = finish([&] {
    return libssh2_sftp_stat_ex(sftp_.get(), asked.data(), length_of(asked), LIBSSH2_SFTP_STAT, &got);
  });
  if (error != 0) return failed(error);
  out = to_attributes(got);
  return CURLE_OK;
}

CURLcode sftp_session::list(const std::string& path, sftp_entry_sink& sink) {
  if (const CURLcode code = close_directory(); code != CURLE_OK) return code;  // left by an exception
  sink.begin();
  const std::string asked = server_path(path);
  const int error = finish([&] {
    directory_.reset(
        libssh2_sftp_open_ex(sftp_.get(), asked.data(), length_of(asked), 0, 0, LIBSSH2_SFTP_OPENDIR));
    return directory_ != nullptr ? 0 : libssh2_session_last_errno(session_.get());
  });
  if (error != 0) return failed(error);
  const CURLcode code = read_entries(asked, sink);
  // The entries are there, whatever becomes of the directory.
  if (usable_) (void)close_directory();
  return code;
}

CURLcode sftp_session::read_entries(const std::string& path, sftp_entry_sink& sink) {
  std::vector<char> name(kLongestText);
  std::vector<char> long_name(kLongestText);
  CURLcode looked_up = CURLE_OK;
  const std::string folder = path.ends_with('/') ? path : path + '/';
  const link_lookup target_of = [&](std::string_view link) -> std::optional<sftp_attributes> {
    if (!usable_) return std::nullopt;
    sftp_attributes target{};
    looked_up = stat(folder + std::string{link}, target);
    return looked_up == CURLE_OK ? std::optional{target} : std::nullopt;
  };
  for (;;) {
    LIBSSH2_SFTP_ATTRIBUTES got{};
    long_name.front() = '\0';
    const int length = finish([&] {
      return libssh2_sftp_readdir_ex(directory_.get(), name.data(), name.size(), long_name.data(),
                                     long_name.size(), &got);
    });
    if (length < 0) return failed(length);
    if (length == 0) return CURLE_OK;
    sink.take({{name.data(), static_cast<std::size_t>(length)}, long_name.data(), to_attributes(got)},
              target_of);
    if (!usable_) return looked_up;
  }
}

CURLcode sftp_session::close_directory() {
  if (directory_ == nullptr) return CURLE_OK;
  const int error = finish([this] {
    const int result = libssh2_sftp_close_handle(directory_.get());
    if (result != LIBSSH2_ERROR_EAGAIN) (void)directory_.release();  // freed, whatever the server said
    return result;
  });
  return error == 0 ? CURLE_OK : failed(error);
}

// libssh2 1.10 reads the rest of an SFTP message in a loop that it leaves for "nothing there yet", but not
// for the end of the channel: a server whose SFTP process ends in the middle of a message would keep that
// call busy for ever. So it is told that the line is broken. Pinned by OddSftp.FailsInTimeAndIsLeft.
ssize_t sftp_session::receive(libssh2_socket_t socket, void* buffer, size_t length, int flags,
                              void** abstract) {
  const ssize_t got = recv(socket, buffer, length, flags);
  if (got >= 0) return got;
  if (errno != EAGAIN) return -errno;
  return ++of(abstract).fruitless_looks_ < kMostFruitlessLooks ? -EAGAIN : -ECONNRESET;
}

/// Answers every prompt of the server with the password.
void sftp_session::answer_prompts(const char*, int, const char*, int, int count,
                                  const LIBSSH2_USERAUTH_KBDINT_PROMPT*,
                                  LIBSSH2_USERAUTH_KBDINT_RESPONSE* responses, void** abstract) {
  const std::string& answer = of(abstract).prompt_answer_;
  for (int n = 0; n < count; ++n) {
    responses[n].text = strdup(answer.c_str());  // libssh2 frees it
    responses[n].length = responses[n].text == nullptr ? 0 : length_of(answer);
  }
}

template <class Call>
int sftp_session::finish(Call&& call) {
  for (;;) {
    fruitless_looks_ = 0;
    const int result = call();
    if (result != LIBSSH2_ERROR_EAGAIN) return result;
    const int error = server_ended_sftp() ? LIBSSH2_ERROR_CHANNEL_CLOSED : wait();
    if (error == 0) continue;
    // What an unfinished call holds, libssh2 frees only when that call ends. Without a line it does.
    socket_.shut_down();
    close_now(call);
    return error;
  }
}

int sftp_session::wait() const {
  const int directions = libssh2_session_block_directions(session_.get());
  pollfd watched{socket_.get(), POLLIN, 0};
  if ((directions & LIBSSH2_SESSION_BLOCK_OUTBOUND) != 0) watched.events = POLLOUT;
  if ((directions & LIBSSH2_SESSION_BLOCK_INBOUND) != 0) watched.events |= POLLIN;
  const auto deadline = usable_ ? clock::now() + limits_.silence : login_deadline_;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - clock::now());
    if (left.count() <= 0) return LIBSSH2_ERROR_TIMEOUT;
    const int ready = poll(&watched, 1, static_cast<int>(left.count()));
    if (ready > 0) return 0;
    if (ready < 0 && errno != EINTR) return LIBSSH2_ERROR_SOCKET_RECV;
  }
}

// libssh2 1.10 asks for patience when the server's SFTP process has ended and only the SSH session goes on.
bool sftp_session::server_ended_sftp() const {
  return sftp_ != nullptr && libssh2_channel_eof(libssh2_sftp_get_channel(sftp_.get())) == 1;
}

CURLcode sftp_session::failed(int error) {
  if (error == LIBSSH2_ERROR_SFTP_PROTOCOL) {
    const unsigned long status = libssh2_sftp_last_error(sftp_.get());
    if (status != LIBSSH2_FX_OK) return sftp_status_code(status);
  }
  usable_ = false;
  const CURLcode code = ssh_session_code(error);
  trace_failure(code == CURLE_OPERATION_TIMEDOUT ? "no answer in time" : nullptr);
  return code;
}

void sftp_session::trace_failure(const char* what) const {
  char* text = nullptr;
  if (what == nullptr) libssh2_session_last_error(session_.get(), &text, nullptr, 0);
  __LOG__A(current_logger(), LOGLEVEL_DEBUG, "[NETWORK   ] [INFORMATION] SFTP session: %s",
           what != nullptr ? what : text_or_empty(text));
}

}  // namespace ftp_plugin
