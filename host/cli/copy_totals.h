// What a download, an upload or a synchronisation came to, as text and as JSON.
#pragma once

#include <json/value.h>

#include <string>

#include "host/copy/engine.h"

namespace ftp_host {

/// {"files", "skipped", "failed", "bytes", "resumed_bytes", "seconds"}: of `get`.
[[nodiscard]] Json::Value get_json(const CopyReport& report);
/// "3 files, 1.0 KiB in 0:01 (1.0 KiB/s), 2 complete already, 1 failed".
[[nodiscard]] std::string get_text(const CopyReport& report);

/// {"dry_run", "copied", "unchanged", "made", "removed", "failed", "bytes", "seconds", "actions": [{"action",
/// "path", "type"}]}: of `put` and `sync`.
[[nodiscard]] Json::Value sync_json(const CopyReport& report, bool dry);
/// "1 copied (4 B), 2 unchanged, 0 directories made, 0 removed, 0 failed, 0:00".
[[nodiscard]] std::string sync_text(const CopyReport& report, bool dry);

}  // namespace ftp_host
