// The bytes of an open file as lines. Reads in blocks; memory is a block, or the longest line when that is
// longer.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace quarno::util {

class LineSource {
 public:
  explicit LineSource(std::unique_ptr<platform::File> file) : file_(std::move(file)) {}

  /// Whether every byte has been read.
  bool at_end();
  /// The bytes up to the next CR LF or CR, or to the end of the file; the terminator is skipped, and a lone
  /// LF ends no line. Nothing at the end of the file. Valid until the next read.
  std::optional<std::string_view> line_to_cr();
  /// The bytes up to the next LF, or to the end of the file, with the same validity. CR and NUL bytes are in
  /// it.
  std::optional<std::string_view> line_to_lf();

 private:
  // Position of `byte` at or after the read position, reading on as needed; the end of the data when there is
  // none.
  std::size_t find(char byte);
  // Appends a block behind what is not consumed yet; false at the end of the file.
  bool fill();

  std::unique_ptr<platform::File> file_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;  // first byte not consumed
  std::size_t end_ = 0;    // behind the last byte read
  bool file_ended_ = false;
};

}  // namespace quarno::util
