// Who takes the bytes of one piece of a file.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ftp_plugin {

/// Belongs to one read of the host; the download that serves it may outlive it. Called on the thread that
/// reads.
class piece_taker {
 public:
  /// Takes `size` bytes, the next ones of the piece. Returns `size`; anything else ends the download with
  /// CURLE_WRITE_ERROR.
  [[nodiscard]] virtual std::size_t take(char* data, std::size_t size) noexcept = 0;

  /// Whether the host has stopped the read.
  [[nodiscard]] virtual bool is_stopped() const noexcept = 0;

  /// How far the piece is: bytes of it in all (0: not known yet), bytes taken, bytes per second so far.
  virtual void report(std::int64_t total, std::int64_t taken, double speed) noexcept = 0;

 protected:
  ~piece_taker() = default;
};

}  // namespace ftp_plugin
