#include "util/CFileReader.h"

#include "automation/member_table.h"
#include "common/error.h"
#include "platform/code_page.h"
#include "platform/dialogs.h"

namespace quarno {
namespace {

// Runs a member's work; a failure goes to the caller with the member's name as its source.
template <class Work>
auto with_source(const char* source, Work&& work) {
  try {
    return work();
  } catch (Error& error) {
    error.source = source;
    throw;
  }
}

constexpr char kSeparators[] = {'\t', ',', ';'};

}  // namespace

// The readers take the mode's own separator, whatever is given here.
void CFileReader::SetDataMode(std::int16_t mode, const std::string& /*Delimiter*/) { data_mode_ = mode; }

bool CFileReader::OpenFile(const std::string& fileName) { return open(fileName, "OpenFile"); }
bool CFileReader::OpenUnixFile(const std::string& fileName) { return open(fileName, "OpenUnixFile"); }

bool CFileReader::open(const std::string& file_name, const char* member) {
  return with_source(member, [&] {
    platform::Files& files = platform::files();
    if (file_name.empty() || files.find(file_name).empty() || files.size(file_name) == 0) return false;
    auto opened = std::make_unique<OpenedFile>(
        OpenedFile{FileNumber::take(), util::LineSource(files.open(file_name, platform::OpenFor::input))});
    if (file_ != nullptr) abandoned_.push_back(std::move(file_));
    file_ = std::move(opened);
    return true;
  });
}

void CFileReader::CloseFile() { file_.reset(); }

CFileReader::OpenedFile& CFileReader::opened() {
  if (file_ == nullptr) throw run_time_error(RunTime::bad_file_number);
  return *file_;
}

bool CFileReader::ReadLine() {
  if (!mode_reads()) return false;
  return with_source("ReadLine", [&] {
    line_is_current_ = false;
    const auto line = opened().lines.line_to_cr();
    if (!line) return false;
    split(*line);
    return true;
  });
}

bool CFileReader::ReadUnixLine() {
  if (!mode_reads()) return false;
  // Its failures name ReadLine as well.
  return with_source("ReadLine", [&] {
    line_is_current_ = false;
    auto line = opened().lines.line_to_lf();
    if (!line) return false;
    platform::Dialogs& dialogs = platform::dialogs();
    const bool has_events = dialogs.has_event_loop();
    const bool has_nul = line->find('\0') != std::string_view::npos;
    std::string own;
    if (has_events || has_nul) {
      // A copy also because the host's interface may read on or close the file, which ends the view.
      own.assign(*line);
      // It gets its turn after every byte, the line end included.
      for (std::size_t i = 0; has_events && i <= line->size(); ++i) dialogs.process_pending_events();
      std::erase(own, '\0');
      line = own;
    }
    if (line->empty()) return false;
    split(*line);
    return true;
  });
}

void CFileReader::split(std::string_view line) {
  if (!columns_.split(line, kSeparators[data_mode_])) throw run_time_error(RunTime::overflow);
  ColumnCount = static_cast<std::int16_t>(static_cast<int>(columns_.count()) - 1);
  has_columns_ = true;
  line_is_current_ = true;
}

bool CFileReader::IsEof() {
  try {
    return file_ == nullptr || file_->lines.at_end();
  } catch (const Error&) {
    return true;
  }
}

std::string CFileReader::GetColumnValue(std::int16_t ColNumber) {
  const auto index = static_cast<std::size_t>(ColNumber);
  if (ColNumber >= 0 && index < columns_.count()) {
    // ASCII is the same in every code page.
    return columns_.is_ascii() ? columns_.copy(index) : platform::code_page().from_ansi(columns_[index]);
  }
  if (has_columns_) return {};
  return with_source("GetColumnValue",
                     []() -> std::string { throw run_time_error(RunTime::subscript_out_of_range); });
}

std::string CFileReader::GetLine() const {
  return line_is_current_ ? platform::code_page().from_ansi(columns_.line()) : std::string();
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    property<&CFileReader::ColumnCount>(
        "ColumnCount",
        "Highest column index of the last line read: number of columns minus one, -1 for an empty line. "
        "0 at first; the host may overwrite it."),
    constant("TabDelimited", std::int16_t{0}, "Data mode: columns are separated by a tab."),
    constant("ComaDelimited", std::int16_t{1}, "Data mode: columns are separated by \",\"."),
    constant("SemicolonDelimited", std::int16_t{2}, "Data mode: columns are separated by \";\"."),
    constant("FreeDelimited", std::int16_t{3}, "Data mode in which the readers read nothing."),
    property<&CFileReader::RecordLenght, &CFileReader::set_RecordLenght>(
        "RecordLenght", "A number kept for the host; it has no effect. 0 at first."),
    method<&CFileReader::SetDataMode>(
        "SetDataMode", {param("mode"), param("Delimiter", "")},
        "Chooses the data mode. Delimiter is kept but never used: the mode's own "
        "separator takes its place."),
    method<&CFileReader::OpenFile>(
        "OpenFile", {param("fileName")},
        "Opens a file whose lines end with CR LF or CR. False when it is missing or empty; "
        "raises 52, 67, 70, 75 when it cannot be opened."),
    method<&CFileReader::OpenUnixFile>("OpenUnixFile", {param("fileName")},
                                       "Opens a file whose lines end with LF. Fails as OpenFile does."),
    method<&CFileReader::CloseFile>("CloseFile", "Closes the file; failures are ignored."),
    method<&CFileReader::ReadLine>(
        "ReadLine",
        "Reads and splits the next line of a file opened by OpenFile. False at the end of "
        "the file; raises 52 when none is open, 6 above 32768 columns."),
    method<&CFileReader::ReadUnixLine>(
        "ReadUnixLine",
        "Reads and splits the next line of a file opened by OpenUnixFile; NUL bytes are "
        "skipped, CR stays. False at the end of the file and at an empty line."),
    method<&CFileReader::IsEof>("IsEof", "Whether the file is at its end; true when none is open."),
    method<&CFileReader::GetColumnValue>(
        "GetColumnValue", {param("ColNumber")},
        "Text of the column with that index, from 0; \"\" when there is no such "
        "column. Raises 9 before any line was read."),
    method<&CFileReader::GetLine>(
        "GetLine", "The line as read, without its end; \"\" after a read that returned false."),
};

}  // namespace

std::span<const automation::Member> CFileReader::members() { return kMembers; }

}  // namespace quarno
