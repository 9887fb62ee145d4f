// The system's ANSI code page, in which text files are written and read, and the code pages that files of
// other programs name.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace quarno::platform {

/// A code page of files. Used by one thread.
class TextCodec {
 public:
  virtual ~TextCodec() = default;
  /// UTF-8 of bytes; a byte that the code page leaves open becomes U+FFFD.
  virtual std::string decode(std::string_view bytes) = 0;
  /// Bytes of a UTF-8 text; nothing when the code page lacks one of its characters.
  virtual std::optional<std::string> encode(std::string_view utf8) = 0;
};

class CodePage {
 public:
  virtual ~CodePage() = default;
  /// Bytes of a UTF-8 text; what the code page lacks becomes "?".
  virtual std::string to_ansi(std::string_view utf8) = 0;
  /// UTF-8 of bytes; never fails.
  virtual std::string from_ansi(std::string_view bytes) = 0;
  /// The code page of a number as Windows counts them (437, 1252, 936, 65001 for UTF-8, 10000 for Mac Roman);
  /// null when the system does not know it.
  virtual std::unique_ptr<TextCodec> codec(int number) = 0;
};

inline CodePage& code_page() { return port<CodePage>(); }

}  // namespace quarno::platform
