#include "transport/sftp/sftp_channel.h"

#include "transport/sftp/sftp_errors.h"

namespace ftp_plugin {

CURLcode sftp_channel::stat(const std::string& path, sftp_attributes& out) {
  return run([&] { return session_->stat(path, out); });
}

CURLcode sftp_channel::stat(const std::string& path,
                            std::size_t (*deliver)(void*, std::size_t, std::size_t, void*), void* userdata) {
  sftp_attributes got{};
  const CURLcode code = stat(path, got);
  if (code != CURLE_OK) return code;
  return deliver(&got, 1, sizeof got, userdata) == sizeof got ? CURLE_OK : CURLE_WRITE_ERROR;
}

CURLcode sftp_channel::list(const std::string& path, sftp_entry_sink& sink) {
  return run([&] { return session_->list(path, sink); });
}

template <class Request>
CURLcode sftp_channel::run(Request&& request) {
  // A session that is not usable was left by an exception.
  const bool was_idle = session_ != nullptr && session_->usable();
  CURLcode code = was_idle ? CURLE_OK : open();
  if (code == CURLE_OK) code = request();
  if (was_idle && is_lost_connection(code)) {
    // A server may well hang up on a session that says nothing for a while. Both requests only read.
    session_.reset();
    code = open();
    if (code == CURLE_OK) code = request();
  }
  if (session_ != nullptr && !session_->usable()) session_.reset();
  return code;
}

CURLcode sftp_channel::open() {
  session_ = std::make_unique<sftp_session>(limits_);
  return session_->open(server_);
}

}  // namespace ftp_plugin
