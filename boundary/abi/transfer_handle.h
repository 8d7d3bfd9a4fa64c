// The host's handle of one transfer: its stop flag, its position and its progress function.
#pragma once

#include <cstddef>
#include <cstdint>

/// Called during a transfer with the total and the current byte count, the context bound beside it and the
/// average speed in bytes per second. Its result is ignored; to stop a transfer, write the handle's state.
using FS_PROGRESS = int (*)(std::int64_t total, std::int64_t now, void* context, double speed);

/// From this state on the plug-in aborts the transfer.
inline constexpr std::int32_t FS_HANDLE_STOP = 4;

/// Always passed as a shared pointer. Host threads may write `state` during a transfer, atomically; the
/// plug-in reads it with an atomic load.
struct _FS_HANDLE {
  std::int32_t state = 0;            ///< FS_HANDLE_STOP or above: stop
  std::int64_t position = 0;         ///< offset reached by an upload; written by the plug-in
  FS_PROGRESS progress = nullptr;    ///< null: no progress wanted
  void* progress_context = nullptr;  ///< handed back to `progress`
};

static_assert(offsetof(_FS_HANDLE, state) == 0);
static_assert(offsetof(_FS_HANDLE, position) == 8);
static_assert(offsetof(_FS_HANDLE, progress) == 16);
static_assert(offsetof(_FS_HANDLE, progress_context) == 24);
static_assert(sizeof(_FS_HANDLE) == 32);
