// What the host binds for the whole process: its logger and its queue. Also the texts that identify us.
// Setters hold a mutex while they store; readers take none (the pointers are atomic).
#pragma once

#include "boundary/abi/host_interfaces.h"

namespace ftp_plugin {

inline constexpr const char* kProtocolList = "ftp;ftps;ad_ftp";
extern const char* const protocol_version;  ///< "1.0.0"

/// The bound logger, or null.
[[nodiscard]] ILog* current_logger() noexcept;

/// Binds `log`. Returns false and changes nothing when it is null.
[[nodiscard]] bool bind_logger(ILog* log) noexcept;
void unbind_logger() noexcept;

/// Keeps `queue`. Returns false and changes nothing when it is null.
[[nodiscard]] bool bind_async_queue(void* queue) noexcept;
void unbind_async_queue() noexcept;

}  // namespace ftp_plugin
