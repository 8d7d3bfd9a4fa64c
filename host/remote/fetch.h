// Reads a range of a remote file completely: goes on where a transfer broke off, and notices a file that
// changes meanwhile.
#pragma once

#include "host/remote/session.h"

namespace ftp_host {

/// Hands the bytes [offset, offset + length) of `entry` to `writer`, in order. A `length` below zero means up
/// to the end; where the size is unknown as well, the end is found by asking. Returns the number of bytes
/// that the writer took, which is less than asked for when the writer said no. Throws a Failure.
[[nodiscard]] std::int64_t fetch(Session& session, const Entry& entry, std::int64_t offset,
                                 std::int64_t length, const BlockWriter& writer);

}  // namespace ftp_host
