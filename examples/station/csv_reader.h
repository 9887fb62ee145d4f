// Lines of a comma-separated file through the class CFileReader. The file itself is looked over first,
// because the reader has to be told how its lines end, and because it skips NUL bytes without a word:
// "1<NUL>5" would read as 15.
#pragma once

#include <cstdint>
#include <optional>
#include <quarnofwk/quarnofwk.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace station {

/// How a text file's lines end, and which of them hold NUL bytes, counted from 1.
struct TextFile {
  bool lines_end_with_lf = false;  // LF, or CR LF in some lines; else CR LF or CR in all of them
  std::vector<std::uint64_t> nul_lines;
};

/// Raises std::runtime_error when the file cannot be read, is empty, mixes lone CR with other line ends, or
/// is damaged beyond a thousand lines.
TextFile scanned_file(const std::string& path);

/// The number written in a text: sign, digits, "." or "," and exponent. Nothing for any other text or when it
/// is out of a double's range. The class Corvex is not asked: it reads 0 where there is no number and depends
/// on the locale.
std::optional<double> parsed_number(std::string_view text);

class CsvReader {
 public:
  enum class Line {
    row,
    blank,    // nothing in it
    damaged,  // damage() tells how; it has no cells
    end,      // of the file
  };

  /// Raises std::runtime_error with what is wrong with the file.
  explicit CsvReader(const std::string& path);

  Line next();
  /// Number of the line that was read last, from 1.
  std::uint64_t line() const { return line_; }
  const char* damage() const { return damage_; }
  int cells() const { return cells_; }
  /// Without the blanks around it.
  std::string cell(int index) const;

 private:
  TextFile file_;
  quarnofwk::Object reader_ = quarnofwk::create("CFileReader");
  quarnofwk::Member read_line_, is_eof_, column_count_, column_value_;
  std::vector<std::uint64_t>::const_iterator next_nul_line_;
  std::uint64_t line_ = 0;
  const char* damage_ = "";
  int cells_ = 0;
};

}  // namespace station
