// What the tests of listings share: a list that keeps what is delivered.
#pragma once

#include <string>
#include <vector>

#include "tests/wire/wire_fixture.h"

namespace wire {

class Listing : public Wire {
 protected:
  std::vector<std::string> ids() const {
    std::vector<std::string> ids;
    for (const _FS_FILE_V2& file : list.files()) ids.push_back(file.id);
    return ids;
  }

  fakes::FileList list;
};

}  // namespace wire
