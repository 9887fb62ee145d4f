// The system's ANSI code page, in which text files are written and read.
#pragma once

#include <string>
#include <string_view>

#include "platform/registry.h"

namespace quarno::platform {

class CodePage {
 public:
  virtual ~CodePage() = default;
  /// Bytes of a UTF-8 text; what the code page lacks becomes "?".
  virtual std::string to_ansi(std::string_view utf8) = 0;
  /// UTF-8 of bytes; never fails.
  virtual std::string from_ansi(std::string_view bytes) = 0;
};

inline CodePage& code_page() { return port<CodePage>(); }

}  // namespace quarno::platform
