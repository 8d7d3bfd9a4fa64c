#include "host/cli/copy_totals.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/cli/quantity_text.h"
#include "host/names.h"

namespace ftp_host {

Json::Value get_json(const CopyReport& report) {
  Json::Value out;
  out["files"] = Json::UInt64{report.copied};
  out["skipped"] = Json::UInt64{report.unchanged};
  out["failed"] = Json::UInt64{report.failed};
  out["bytes"] = Json::Int64{report.bytes};
  out["resumed_bytes"] = Json::Int64{report.resumed};
  out["seconds"] = report.seconds;
  return out;
}

std::string get_text(const CopyReport& report) {
  const auto bytes = static_cast<double>(report.bytes);
  return fmt::format("{} files, {} in {} ({}/s){}{}", report.copied, byte_text(bytes),
                     duration_text(report.seconds), byte_text(bytes / std::max(report.seconds, 1e-3)),
                     report.unchanged > 0 ? fmt::format(", {} complete already", report.unchanged) : "",
                     report.failed > 0 ? fmt::format(", {} failed", report.failed) : "");
}

Json::Value sync_json(const CopyReport& report, bool dry) {
  Json::Value out;
  out["dry_run"] = dry;
  out["copied"] = Json::UInt64{report.copied};
  out["unchanged"] = Json::UInt64{report.unchanged};
  out["made"] = Json::UInt64{report.made};
  out["removed"] = Json::UInt64{report.removed};
  out["failed"] = Json::UInt64{report.failed};
  out["bytes"] = Json::Int64{report.bytes};
  out["seconds"] = report.seconds;
  out["actions"] = Json::Value{Json::arrayValue};
  for (const CopyAction& action : report.actions) {
    Json::Value item;
    item["action"] = action.what;
    item["path"] = make_valid_utf8(action.path);
    item["type"] = action.directory ? "directory" : "file";
    out["actions"].append(item);
  }
  return out;
}

std::string sync_text(const CopyReport& report, bool dry) {
  return fmt::format("{}{} copied ({}), {} unchanged, {} directories made, {} removed, {} failed, {}",
                     dry ? "dry run: " : "", report.copied, byte_text(static_cast<double>(report.bytes)),
                     report.unchanged, report.made, report.removed, report.failed,
                     duration_text(report.seconds));
}

}  // namespace ftp_host
