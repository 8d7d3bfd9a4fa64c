// Finds out what a remote path names. The plug-in has one code for a missing file and for a failure, so a
// name counts as missing only when the listing of its directory came and does not hold it.
#pragma once

#include <optional>

#include "host/remote/session.h"

namespace ftp_host {

/// What `id` names; none when it does not exist. Throws a Failure when that cannot be found out.
[[nodiscard]] std::optional<Entry> look_up(Session& session, const std::string& id);

/// As look_up, but a missing name is a Failure (not found).
[[nodiscard]] Entry must_look_up(Session& session, const std::string& id);

/// Size and time of the file `entry`, as the server tells them for this one file. (A listing may round the
/// time, and tells the size of a link instead of that of its file.) Throws a Failure.
[[nodiscard]] Entry exact_file(Session& session, const Entry& entry);

/// As exact_file, for a file that is going to be read. When its time is the present second, the question is
/// repeated in the next one: another change in the same second would not show in the time. This helps as far
/// as the clocks of both sides agree.
[[nodiscard]] Entry settled_file(Session& session, const Entry& entry);

}  // namespace ftp_host
