// One line of an MLSD reply: `fact=value;fact=value;... name`. A pure function, safe from any thread.
#pragma once

#include <string_view>

#include "boundary/abi/file_record.h"

namespace ftp_plugin {

/// Fills attribute, size, the three time texts and the name of `record` as far as `line` tells them; what it
/// does not tell stays as it was, so hand in an empty record. A line without a blank changes nothing.
/// `line`  without line end and without NUL bytes.
void parse_mlsd_line(std::string_view line, _FS_FILE_V2& record);

}  // namespace ftp_plugin
