// The download of one file over FTP or FTPS from some offset on, of which one piece after the other is taken.
// It may stay open between two pieces, and it can be ended early without losing the login.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/pinned.h"
#include "transport/command_list.h"
#include "transport/ftp/request_driver.h"
#include "transport/piece_taker.h"

namespace ftp_plugin {

/// What libcurl's own ranges cannot do: they end with ABOR and cost the login. So libcurl is asked for the
/// rest of the file without being told how much that is, REST and SIZE are sent as commands of ours, and
/// data_cut ends the transfer. Whether it was right is judged by the number of bytes, not by libcurl's code
/// alone.
///
/// The options of the request, and everything that libcurl keeps a pointer to, live as long as this object.
/// One thread at a time; the driver and the handle must outlive it, and run no other request meanwhile.
class ftp_download : pinned, private control_listener {
 public:
  struct file {
    std::string url;
    std::int64_t offset = 0;
    long buffer_size = 0;     ///< CURLOPT_BUFFERSIZE
    bool stays_open = false;  ///< between two pieces, for the next one
    bool may_be_cut = true;  ///< the server tells when it has noticed an early end; else that costs the login
  };

  /// Whether the file of `url` can be had in this way: the URL names a file, by a name that goes into a
  /// command.
  [[nodiscard]] static bool can_serve(CURL* curl, const std::string& url);

  /// Sends nothing yet.
  ftp_download(request_driver& driver, CURL* curl, file from);
  /// An open download loses its control connection; see end().
  ~ftp_download();

  /// Takes the next `length` bytes, fewer where the file ends. Returns CURLE_OK or what a ranged download of
  /// libcurl's would; CURLE_WRITE_ERROR for a stop by the host. Behind a failure the download is not open.
  [[nodiscard]] CURLcode take(std::int64_t length, piece_taker& taker);

  /// Whether the next piece can be taken from here.
  [[nodiscard]] bool is_open() const noexcept { return state_ == state::running; }
  /// The offset of the byte behind the last one that was taken.
  [[nodiscard]] std::int64_t offset() const noexcept { return offset_; }
  /// Size of the file; nothing where the server does not tell.
  [[nodiscard]] std::optional<std::int64_t> size() const noexcept { return size_; }
  /// Bytes that the last take() has handed on.
  [[nodiscard]] std::int64_t taken() const noexcept { return taken_; }

  /// Ends an open download and keeps the login, where the server says in time that it has noticed. Without
  /// effect on one that is not open.
  void end();

  /// Whether the server failed to say so. Then libcurl has closed the control connection, and further
  /// downloads of this login had better not be ended early.
  [[nodiscard]] bool server_kept_silent() const noexcept { return server_kept_silent_; }

 private:
  using clock = std::chrono::steady_clock;
  enum class state : std::uint8_t { fresh, running, ended };

  // control_listener
  void sent(std::string_view command) noexcept override;
  [[nodiscard]] bool heard(std::string_view line) noexcept override;

  static std::size_t take_bytes(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static int report_progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;
  std::size_t take_bytes(char* data, std::size_t size);
  /// Hands `size` bytes, at most what is wanted, to the taker. False when it does not take them.
  [[nodiscard]] bool hand_on(char* data, std::size_t size);
  void report() noexcept;
  void count_total() noexcept;

  [[nodiscard]] std::optional<CURLcode> start();
  /// Goes on until the piece is complete or the request has ended. Returns the code of an ended request.
  [[nodiscard]] std::optional<CURLcode> drive();
  /// Behind a cut: lets libcurl read the final reply. Returns the code of the request.
  [[nodiscard]] CURLcode finish_cut();
  [[nodiscard]] bool await_final_reply();
  [[nodiscard]] CURLcode give_up(CURLcode code);
  void has_ended() noexcept;
  /// What take() returns for a request that ended with `code`.
  [[nodiscard]] CURLcode judge(CURLcode code) const noexcept;
  [[nodiscard]] bool is_at_end() const noexcept { return size_.has_value() && offset_ >= *size_; }
  /// Returns the code of the first option that libcurl refuses; then nothing is to be sent.
  [[nodiscard]] CURLcode set_options();
  void undo_options() noexcept;

  request_driver& driver_;
  CURL* curl_;
  const file file_;
  command_list before_;       // QUOTE
  command_list just_before_;  // PREQUOTE: in the folder of the file
  state state_ = state::fresh;
  std::int64_t offset_;
  std::optional<std::int64_t> size_;

  // The piece at hand.
  piece_taker* taker_ = nullptr;  // null between two pieces
  std::int64_t wanted_ = 0;       // bytes of it still to come
  std::int64_t taken_ = 0;
  std::int64_t total_ = 0;
  clock::time_point began_{};

  // Bytes behind a piece.
  std::vector<char> kept_;  // those of the same portion of libcurl's
  std::size_t kept_from_ = 0;
  bool paused_ = false;    // libcurl holds more
  bool discards_ = false;  // the transfer is being ended
  bool is_cut_ = false;
  bool cannot_cut_ = false;
  bool server_kept_silent_ = false;
  bool stopped_ = false;

  // The command that waits for its answer.
  enum class question : std::uint8_t { other, size, rest, retrieve };
  question asked_ = question::other;
  std::optional<CURLcode> verdict_;  // of a request that was ended at a reply
  bool restart_refused_ = false;
  bool transfer_began_ = false;
};

}  // namespace ftp_plugin
