// A line of a delimited text, split into columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarno::util {

/// The line last split and where its columns lie. A column costs nothing until it is asked for, and splitting
/// allocates only while lines get longer or have more columns than any before.
class Columns {
 public:
  /// One column more than the greatest index that hosts can name.
  static constexpr std::size_t kMost = 32768;

  /// Takes a line; an empty one has no columns. False, and nothing changed, when it has more than kMost.
  bool split(std::string_view line, char separator);

  std::size_t count() const { return count_; }
  /// The bytes of a column; `index` is below count().
  std::string_view operator[](std::size_t index) const {
    return {line_.data() + borders_[index], borders_[index + 1] - borders_[index] - 1};
  }
  /// The same as a text of its own.
  std::string copy(std::size_t index) const {
    const std::string_view column = (*this)[index];
    return column.size() <= kShort ? short_text(column) : std::string(column);
  }
  std::string_view line() const { return {line_.data(), length_}; }
  /// Whether all bytes are below 128.
  bool is_ascii() const { return is_ascii_; }

 private:
  static constexpr std::size_t kShort = 15;

  // Copies as many bytes as a text holds without allocating, which lie there behind the line too: for a
  // number that the compiler knows it makes no call.
  static std::string short_text(std::string_view column) {
    std::string text(column.data(), kShort);
    text.resize(column.size());
    return text;
  }

  // Longer than what they hold.
  std::vector<char> line_;
  std::vector<std::size_t> borders_;  // where each column begins, and one behind the end of the line
  // For the next line, which may turn out to have too many columns.
  std::vector<char> spare_line_;
  std::vector<std::size_t> spare_borders_;
  std::size_t length_ = 0;
  std::size_t count_ = 0;
  bool is_ascii_ = true;
};

}  // namespace quarno::util
