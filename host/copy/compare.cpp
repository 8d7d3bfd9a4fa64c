#include "host/copy/compare.h"

namespace ftp_host {

Verdict compare(const Entry& local, const Entry& remote, bool exact, const CompareRules& rules) {
  const Verdict unknown = !exact ? Verdict::ask : rules.unknown_is_equal ? Verdict::same : Verdict::different;
  if (remote.size < 0 || local.size < 0) {
    if (unknown != Verdict::same) return unknown;
  } else if (local.size != remote.size) {
    return Verdict::different;
  }
  if (!remote.time || !local.time) return unknown;
  const std::int64_t newer = *remote.time - *local.time;
  if (!rules.equal_times) {
    if (!exact) return Verdict::ask;
    return newer + rules.window > 0 ? Verdict::same : Verdict::different;
  }
  if (newer <= rules.window && newer >= -rules.window) return Verdict::same;
  return exact ? Verdict::different : Verdict::ask;
}

}  // namespace ftp_host
