// What the tests of uploads share: a record with a size, and what a failure leaves behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "tests/wire/changes_fixture.h"

namespace wire {

/// What one call of the cache brings at the most.
inline constexpr std::size_t kBlock = 65536;

class Upload : public Changes {
 protected:
  static _FS_FILE_V2 sized(std::string name, std::size_t size) {
    _FS_FILE_V2 file = named(std::move(name), 0);
    file.size = static_cast<std::int64_t>(size);
    return file;
  }
  AERROR upload(const char* path, ICacheIO& cache) {
    return protocol->Upload(path, handle, &cache, &file, UPLOAD_FLAG{}, nullptr);
  }
  /// Uploads `bytes` as "new.bin" to /docs.
  AERROR upload(const std::string& bytes) {
    fakes::CacheSource cache{bytes};
    file = sized("new.bin", bytes.size());
    return upload("/docs", cache);
  }
  /// The upload failed with this result of libcurl; nothing was read back.
  void expect_failure(int code) {
    EXPECT_THAT(log.operations(), testing::ElementsAre("1 [PROTOCOL  ] Upload id [/docs], name [new.bin]",
                                                       "8 [PROTOCOL  ] Upload id: [new.bin] , exec error: [" +
                                                           std::to_string(code) + "]"));
    EXPECT_EQ(file.id, "");
    EXPECT_EQ(file.modify_time, "");
    EXPECT_EQ(file.attr, 0u);
  }

  const std::shared_ptr<_FS_HANDLE> handle = fakes::make_handle();
  _FS_FILE_V2 file;
};

}  // namespace wire
