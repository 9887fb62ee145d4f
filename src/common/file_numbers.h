// The process-wide table of file numbers: text files are opened through small numbers from 1 to 255, the
// lowest free one at each open. Safe from several threads.
#pragma once

#include <cstdint>

namespace quarno {

/// Holds one number of the table from take() until release() or destruction. Movable, not copyable.
class FileNumber {
 public:
  FileNumber() = default;
  /// Takes the lowest free number. Raises error 67 "Too many files" when all 255 are in use.
  static FileNumber take();
  FileNumber(FileNumber&& other) noexcept;
  FileNumber& operator=(FileNumber&& other) noexcept;
  ~FileNumber();

  void release() noexcept;
  /// 1 to 255, or 0 when no number is held.
  std::int16_t value() const { return value_; }

 private:
  std::int16_t value_ = 0;
};

}  // namespace quarno
