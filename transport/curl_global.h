// libcurl's process-wide start.
#pragma once

namespace ftp_plugin {

/// Starts libcurl on the first call; later calls, from whichever thread, only wait for that one. Call before
/// any other libcurl function. A failed start shows as handles that cannot be made.
void start_curl() noexcept;

}  // namespace ftp_plugin
