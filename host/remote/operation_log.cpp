#include "host/remote/operation_log.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "host/redact.h"
#include "host/text.h"

namespace ftp_host {
namespace {

constexpr std::string_view kNetwork = "[NETWORK";
constexpr std::string_view kReply = "[NETWORK   ] [HEADER   >>] ";
constexpr std::string_view kInformation = "[NETWORK   ] [INFORMATION] ";
constexpr std::string_view kExecError = "exec error: [";

/// The transport's talk about connections and steps explains no failure.
bool explains(const std::string& text) {
  constexpr const char* kTalk[] = {"Closing connection",
                                   "Connection #",
                                   "Hostname",
                                   "Found bundle",
                                   "Remembering we",
                                   "ftp_perform",
                                   "Request has same",
                                   "Re-using existing",
                                   "Entry path",
                                   "Maxdownload",
                                   "Getting file",
                                   "Connect data stream",
                                   "Connecting to",
                                   "Connected to",
                                   "  Trying",
                                   "We are completely",
                                   "Uploaded",
                                   "Using ",
                                   "Shutting down",
                                   "TLSv",
                                   "SSH ",
                                   "Initialized ",
                                   "Authentication c"};
  return !text.empty() && std::none_of(std::begin(kTalk), std::end(kTalk),
                                       [&](const char* talk) { return text.starts_with(talk); });
}

}  // namespace

bool is_network_line(std::string_view beginning) { return beginning.starts_with(kNetwork); }

std::string OperationLog::explanation() const {
  // A refusal by the server says more than what the transport made of it.
  if (!last_refusal.empty()) return last_refusal;
  if (!last_information.empty() || last_code == 0) return last_information;
  // Nothing was sent: a line break in the name or, on SFTP, a double quote or a backslash.
  if (last_code == 3 || last_code == 21) return "the name cannot be sent";
  if (last_code == 9) return "access denied";
  if (last_code == 78) return "no such file or directory";
  return "the transport's code " + std::to_string(last_code);
}

void note_log_line(OperationLog& log, std::string_view line) {
  if (line.starts_with(kReply)) {
    log.server_spoke = true;
    std::string text = redact(line.substr(kReply.size()));
    trim_end(text);
    // vsftpd's words for a directory that may be entered but not read: what it lists then is empty.
    const bool unread = text.starts_with("226") && text.find("failed to open directory") != std::string::npos;
    log.listing_failed = log.listing_failed || unread;
    if (unread || text.starts_with('4') || text.starts_with('5')) log.last_refusal = std::move(text);
  } else if (line.starts_with(kInformation)) {
    std::string text = redact(line.substr(kInformation.size()));
    trim_end(text);
    if (text.starts_with("Connected to ")) log.server_spoke = true;
    if (explains(text)) log.last_information = std::move(text);
  } else if (const std::size_t at = line.rfind(kExecError); at != std::string_view::npos) {
    const std::string_view code = line.substr(at + kExecError.size());
    (void)std::from_chars(code.data(), code.data() + code.size(), log.last_code);
  }
}

OperationLog& current_operation_log() {
  thread_local OperationLog log;
  return log;
}

}  // namespace ftp_host
