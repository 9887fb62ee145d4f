// What a statement is refused with.
#pragma once

#include <cstddef>
#include <string>

#include "common/error.h"

namespace quarno::desktop::jet {

/// Carries no number of its own: whoever runs the statement knows which one its host expects.
class SyntaxError : public Error {
 public:
  explicit SyntaxError(std::string text, std::size_t at = 0) : Error(0, std::move(text)), position(at) {}

  std::size_t position;  ///< in bytes from the start of the statement
};

[[noreturn]] inline void refuse_unsupported(std::string_view what) {
  throw SyntaxError("This is not supported by this engine: " + std::string(what) + ".");
}

}  // namespace quarno::desktop::jet
