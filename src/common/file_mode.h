// How a log file is opened.
#pragma once

#include <cstdint>

namespace quarno {

enum FILE_MODE : std::int32_t {
  MODE_OVERWRITE = 1,  // created, or emptied when it exists
  MODE_APPEND = 2,     // created, or continued at its end
};

}  // namespace quarno
