#include "host/cli/show.h"

#include <fmt/format.h>

#include "host/names.h"
#include "host/time_text.h"

namespace ftp_host {

std::string long_prefix(const Entry& entry) {
  const std::string size = entry.directory ? "-" : entry.size < 0 ? "?" : std::to_string(entry.size);
  const std::string time = entry.time ? local_time_text(*entry.time) : "?";
  return fmt::format("{} {:>14}  {:<19}  ", entry.directory ? 'd' : '-', size, time);
}

Json::Value entry_json(const Entry& entry) {
  Json::Value value{Json::objectValue};
  value["name"] = make_valid_utf8(entry.name);
  value["path"] = make_valid_utf8(entry.id);
  value["type"] = entry.directory ? "directory" : "file";
  if (!entry.directory) value["size"] = entry.size < 0 ? Json::Value{} : Json::Value{Json::Int64{entry.size}};
  value["modified"] = entry.time ? Json::Value{record_time(*entry.time)} : Json::Value{};
  return value;
}

}  // namespace ftp_host
