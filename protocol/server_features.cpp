#include <string_view>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "protocol/protocol.h"
#include "transport/byte_sink.h"
#include "transport/pool/lease.h"
#include "transport/pool/probe.h"
#include "transport/pool/transfer.h"

namespace ftp_plugin {
namespace {

enum feature : int {
  kSftp = 0x1,
  kAlways = 0x20,
  kCannotSetTimes = 0x100,  // unless an FTP server with local time stamps can set times
  kServerTimes = 0x800,
};

/// Appends the answer to FEAT to `reply`. A refusal is CURLE_QUOTE_ERROR and costs no login.
CURLcode ask_for_features(connection& con, byte_vector& reply) {
  const probe question{con, "FEAT"};
  const CURLcode code = transfer{con}
                            .set(CURLOPT_QUOTE, question.commands(), nullptr)
                            .set(CURLOPT_NOBODY, 1L, 0L)
                            .set(CURLOPT_HEADER, 1L, 0L)
                            .copy_replies_to(reply)
                            .run();
  return question.judge(code);
}

}  // namespace

int Protocol::SetFileTimeSupportMode() {
  if (is_sftp()) return 0;
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s", "SetFileTimeSupportMode");
  lease borrowed{view().connected_pool()};
  if (!borrowed) return 0;
  byte_vector reply;
  const CURLcode code = ask_for_features(*borrowed, reply);
  if (code != CURLE_OK) {
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s SetFileTimeSupportMode exec error: [%d]",
             "SetFileTimeSupportMode", code);
  }
  borrowed.give_back_if_answered(code);
  const std::string_view text{reply.data(), reply.size()};
  return code == CURLE_OK && text.find("MFMT") != std::string_view::npos ? 1 : 0;
}

int Protocol::GetFeature() {
  // Kept on purpose: where the host never said whose times count, they are the server's on FTP and the local
  // ones on SFTP. Pinned by Login.FeaturesTellServerTimesUnlessLocalOnesAreWanted.
  return no_throw("GetFeature", kAlways | kCannotSetTimes, [&] {
    if (is_sftp()) {
      const bool server_times = is_false(options, key::use_local_timestamp);
      return kSftp | kAlways | kCannotSetTimes | (server_times ? kServerTimes : 0);
    }
    if (!is_true(options, key::use_local_timestamp)) {
      return kAlways | kCannotSetTimes | kServerTimes;
    }
    return file_time_mode == 1 ? int{kAlways} : kAlways | kCannotSetTimes;
  });
}

}  // namespace ftp_plugin
