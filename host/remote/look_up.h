// Finds out what a remote path names. The plug-in has one code for a missing file and for a failure, so a
// name counts as missing only when the listing of its directory came and does not hold it.
#pragma once

#include <optional>

#include "host/remote/session.h"

namespace ftp_host {

/// What `id` names; none when it does not exist. Throws a Failure when the server does not let us find out.
[[nodiscard]] std::optional<Entry> look_up(Session& session, const std::string& id);

/// As look_up, but a missing name is a Failure (not found).
[[nodiscard]] Entry must_look_up(Session& session, const std::string& id);

/// Size and time of the file `entry`, from the server and not from a listing: a listing rounds times, and
/// tells a link's own size. Throws a Failure.
[[nodiscard]] Entry exact_file(Session& session, const Entry& entry);

/// As exact_file, to be read now: a file that changed in this very second is looked at in the next one, since
/// its time would not tell another change. (As far as the clocks of both sides agree.)
[[nodiscard]] Entry settled_file(Session& session, const Entry& entry);

}  // namespace ftp_host
