#include "csv_reader.h"

#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace station {
namespace {

constexpr std::size_t kDamagedLines = 1000;
constexpr std::int32_t kOverflow = 6;  // raised by the reader for more columns than it can count

std::string trimmed(std::string_view text) {
  // CR too: it stays at the end of a line that was read up to its LF.
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin));
}

}  // namespace

TextFile scanned_file(const std::string& path) {
  if (!std::filesystem::exists(path)) throw std::runtime_error(path + ": no such file");
  if (!std::filesystem::is_regular_file(path)) throw std::runtime_error(path + ": is no file");
  if (std::filesystem::file_size(path) == 0) throw std::runtime_error(path + ": is empty");
  std::ifstream file(path, std::ios::binary);
  TextFile result;
  std::uint64_t lf = 0, cr_lf = 0, cr = 0;
  char previous = 0;
  std::array<char, 65536> block;
  while (file.read(block.data(), block.size()), file.gcount() > 0) {
    for (const char c : std::string_view(block.data(), static_cast<std::size_t>(file.gcount()))) {
      if (c == '\r') {
        ++cr;
      } else if (c == '\n' && previous == '\r') {
        --cr;
        ++cr_lf;
      } else if (c == '\n') {
        ++lf;
      } else if (c == '\0') {
        const std::uint64_t line = lf + cr_lf + cr + 1;
        if (result.nul_lines.empty() || result.nul_lines.back() != line) result.nul_lines.push_back(line);
        if (result.nul_lines.size() > kDamagedLines) {
          throw std::runtime_error(path + ": NUL bytes in more than " + std::to_string(kDamagedLines) +
                                   " lines");
        }
      }
      previous = c;
    }
  }
  if (!file.eof()) throw std::runtime_error(path + ": cannot be read");
  // Rows are hours by their order: where lines cannot be told apart for certain, every later hour would be
  // wrong.
  if (cr > 0 && lf + cr_lf > 0) throw std::runtime_error(path + ": lone CR and LF line ends in one file");
  result.lines_end_with_lf = lf > 0 || cr_lf + cr == 0;
  return result;
}

std::optional<double> parsed_number(std::string_view text) {
  std::array<char, 64> buffer;
  if (text.starts_with('+') || text.starts_with('-')) {
    buffer[0] = text.front() == '-' ? '-' : '0';
    text.remove_prefix(1);
  } else {
    buffer[0] = '0';
  }
  if (text.empty() || text.size() >= buffer.size()) return std::nullopt;
  // Not "inf" or "nan", nor a second sign, nor an exponent of nothing.
  const std::string_view start = text.substr(text.starts_with('.') || text.starts_with(',') ? 1 : 0, 1);
  if (start.find_first_of("0123456789") != 0) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) buffer[i + 1] = text[i] == ',' ? '.' : text[i];
  const char* const end = buffer.data() + text.size() + 1;
  double number = 0;
  const auto [stop, fault] = std::from_chars(buffer.data(), end, number);
  if (fault != std::errc() || stop != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

CsvReader::CsvReader(const std::string& path)
    : file_(scanned_file(path)),
      read_line_(reader_.find(file_.lines_end_with_lf ? "ReadUnixLine" : "ReadLine")),
      is_eof_(reader_.find("IsEof")),
      column_count_(reader_.find("ColumnCount")),
      column_value_(reader_.find("GetColumnValue")),
      next_nul_line_(file_.nul_lines.begin()) {
  reader_.call("SetDataMode", reader_.get("ComaDelimited"));
  if (!reader_.call(file_.lines_end_with_lf ? "OpenUnixFile" : "OpenFile", path).boolean()) {
    throw std::runtime_error(path + ": cannot be opened");
  }
}

CsvReader::Line CsvReader::next() {
  if (reader_.call(is_eof_).boolean()) return Line::end;
  ++line_;
  cells_ = 0;
  bool was_read = false;
  damage_ = "";
  try {
    // False at an empty line of an LF file, which is not the end of it.
    was_read = reader_.call(read_line_).boolean();
  } catch (const quarnofwk::Error& error) {
    if (error.number != kOverflow) throw;
    damage_ = "has too many columns";
    return Line::damaged;
  }
  if (next_nul_line_ != file_.nul_lines.end() && *next_nul_line_ == line_) {
    ++next_nul_line_;
    damage_ = "holds NUL bytes";
    return Line::damaged;
  }
  if (was_read) cells_ = reader_.call(column_count_).integer() + 1;
  return cells_ == 0 || (cells_ == 1 && cell(0).empty()) ? Line::blank : Line::row;
}

std::string CsvReader::cell(int index) const {
  const quarnofwk::Value text = reader_.call(column_value_, index);
  return trimmed(text.text());
}

}  // namespace station
