// CFileReader: reads a delimited text file line by line and splits each line into columns. Lines end with CR
// LF or CR (OpenFile, ReadLine), or with LF (OpenUnixFile, ReadUnixLine). Files are in the system's ANSI code
// page. A platform failure is raised with the member's name as its source. Used on the thread that created
// it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "automation/automation.h"
#include "common/file_numbers.h"
#include "util/columns.h"
#include "util/line_source.h"

namespace quarno {

class CFileReader : public automation::Automation<CFileReader> {
 public:
  static constexpr std::string_view kClassName = "CFileReader";
  static std::span<const automation::Member> members();

  std::int16_t ColumnCount = 0;  ///< highest column index of the last line read, -1 for an empty line

  std::int16_t RecordLenght() const { return record_length_; }
  void set_RecordLenght(std::int16_t value) { record_length_ = value; }

  void SetDataMode(std::int16_t mode, const std::string& Delimiter = {});
  bool OpenFile(const std::string& fileName);
  bool OpenUnixFile(const std::string& fileName);
  void CloseFile();
  bool ReadLine();
  bool ReadUnixLine();
  bool IsEof();
  std::string GetColumnValue(std::int16_t ColNumber);
  std::string GetLine() const;

 private:
  struct OpenedFile {
    FileNumber number;
    util::LineSource lines;
  };

  bool open(const std::string& file_name, const char* member);
  bool mode_reads() const { return data_mode_ >= 0 && data_mode_ <= 2; }
  OpenedFile& opened();
  // Takes the line as the one just read; one with too many columns changes nothing.
  void split(std::string_view line);

  std::unique_ptr<OpenedFile> file_;
  std::vector<std::unique_ptr<OpenedFile>> abandoned_;  // opened over without CloseFile: they stay open
  std::int32_t data_mode_ = 0;
  std::int16_t record_length_ = 0;  // stored for the host, used by no member
  util::Columns columns_;           // of the last line that was read
  bool line_is_current_ = false;    // false after a read that failed: GetLine is empty, the columns stay
  bool has_columns_ = false;        // a line has been read
};

}  // namespace quarno
