// How long a server is waited for, how often it is asked again, and how many logins are kept for it.
#pragma once

#include <array>
#include <chrono>
#include <climits>
#include <cstddef>

namespace ftp_plugin {

/// Until a connection stands; for the SFTP channel, until it is logged in. A server that takes longer counts
/// as one that cannot be reached.
inline constexpr long kConnectTimeoutSeconds = 10;

/// A transfer slower than this many bytes per second, for this long, has come to a stand and is given up.
/// Nothing else limits a transfer: a large file over a slow line takes hours.
inline constexpr long kLowSpeedBytes = 1;
inline constexpr long kLowSpeedSeconds = 20;

/// CURLOPT_TIMEOUT, the limit on a whole request: none.
inline constexpr long kNoTimeout = 0;
/// The same for SFTP. Without any time-out libcurl's SSH code polls without a pause through every close and
/// quote command; the largest one that libcurl takes means "no limit" as well.
inline constexpr long kNoTimeoutOnSftp = INT_MAX / 1000;

/// For the reply to QUIT, on the thread that drops the connection: whatever the server does, that thread goes
/// on.
inline constexpr long kGoodbyeTimeoutSeconds = 10;

/// Runs of one request, the first included, while the server's reply to PASV is malformed, and the pause
/// after each: a server has two seconds to recover.
inline constexpr int kMaxRuns = 21;
inline constexpr std::chrono::milliseconds kRetryPause{100};

/// Before each repetition of a login for which libcurl could not initialise.
inline constexpr std::array<std::chrono::milliseconds, 4> kLoginPauses{
    std::chrono::milliseconds{100}, std::chrono::milliseconds{200}, std::chrono::milliseconds{400},
    std::chrono::milliseconds{800}};

/// Idle connections that a pool keeps for the next operations. Servers limit the logins of one user, and
/// those of idle connections count.
inline constexpr std::size_t kIdleLimit = 6;

}  // namespace ftp_plugin
