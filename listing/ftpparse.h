// One line of an FTP LIST reply, in whatever layout the server speaks: EPLF, UNIX `ls -l` with its NetWare
// and NetPresenz relatives, MultiNet/VMS, MS-DOS/Windows. A function of the line's bytes and, where the
// listing leaves the year out, of the clock. Allocates nothing and keeps no line; the one error is "not
// understood". Safe from any thread.
#pragma once

#include <cstdint>

#include "listing/ftpparse_time.h"

namespace ftp_plugin {

/// What a line says. Name and identifier point into the caller's line, which must outlive their use.
struct ftpparse {
  const char* name;  ///< not NUL-terminated; null when the line was not understood
  std::int32_t namelen;
  std::int32_t flagtrycwd;   ///< 1: may be a directory, changing into it is worth trying
  std::int32_t flagtryretr;  ///< 1: may be a file, fetching it is worth trying
  std::int32_t sizetype;     ///< 0 unknown, 1 octets
  std::int64_t size;
  std::int32_t mtimetype;  ///< 0 unknown, 1 exact, 2 known to the minute (remote zone), 3 known to the day
  std::int64_t mtime;      ///< seconds since 1970-01-01, the listed wall-clock time read as UTC
  std::int32_t idtype;     ///< 0 unknown, 1 full unique identifier
  const char* id;          ///< not NUL-terminated
  std::int32_t idlen;
};

// The record and its reader share one name on purpose; write `struct ftpparse` for the record.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
#endif
/// Reads `len` bytes at `buf` into `*fp`, every field of which is overwritten.
/// `clock`  decides years that the line leaves out; null means the machine's clock, asked when needed.
/// Returns  1 when the line was understood; 0 when not, with fp->name null. The other fields of a line that
///          was not understood mean nothing.
[[nodiscard]] int ftpparse(struct ftpparse* fp, const char* buf, int len,
                           const list_clock* clock = nullptr) noexcept;
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

}  // namespace ftp_plugin
