#include "util/CSuperLog.h"

#include "automation/member_table.h"
#include "common/error.h"
#include "common/number_text.h"
#include "common/text.h"
#include "platform/code_page.h"
#include "platform/locale.h"

namespace quarno {

CSuperLog::~CSuperLog() = default;

bool CSuperLog::OpenLog() {
  if (is_open()) return failed("Log gia aperto " + std::to_string(file_number_));
  if (file_name_.empty()) return failed("Specificare il nome del File!");
  try {
    quarno::FileNumber number = quarno::FileNumber::take();
    file_number_ = number.value();
    const bool append = open_mode_ == MODE_APPEND;
    file_ =
        platform::files().open(file_name_, append ? platform::OpenFor::append : platform::OpenFor::output);
    number_held_ = std::move(number);
    return true;
  } catch (const Error&) {
    return failed("Errore di apertura del file di LOG " + file_name_);
  }
}

bool CSuperLog::WriteLine() {
  if (!is_open()) return failed("Log non aperto!");
  try {
    // Two line ends, on purpose: after an ended line this leaves two empty ones.
    file_->write("\r\n\r\n");
    return true;
  } catch (const Error&) {
    return failed("Errore durante il tentativo di scrittura!");
  }
}

bool CSuperLog::WriteLog(const std::string& strData, bool bNoCrLf) {
  if (!is_open()) OpenLog();
  if (!is_open()) return failed("Log non aperto!");
  if (strData.empty()) return failed("Nessun dato da scrivere sul file!");
  try {
    // ASCII is the same in every code page.
    if (text::is_ascii(strData)) {
      line_ = strData;
    } else {
      line_ = platform::code_page().to_ansi(strData);
    }
    if (!bNoCrLf) line_.append("\r\n");
    file_->write(line_);
    return true;
  } catch (const Error&) {
    return failed("Errore durante la scrittura!");
  }
}

bool CSuperLog::CloseLog() {
  if (!is_open()) return false;
  const std::unique_ptr<platform::File> file = std::move(file_);
  number_held_.release();
  try {
    file->close();
  } catch (const Error&) {
    failed("Errore nel tentativo di chiusura log.");
  }
  // False on success as well: the result carries no information.
  return false;
}

std::string CSuperLog::version() const { return "1." + general_text(0.1, platform::locale()); }

bool CSuperLog::failed(std::string message) {
  current_error().description = std::move(message);
  return false;
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    property<&CSuperLog::SupressErrors, &CSuperLog::set_SupressErrors>(
        "SupressErrors",
        "A flag kept for the host; failures are recorded whatever it holds. False at first."),
    property<&CSuperLog::OpenMode, &CSuperLog::set_OpenMode>(
        "OpenMode",
        "How OpenLog opens the file: 2 continues it (MODE_APPEND), any other value empties it first. "
        "MODE_OVERWRITE (1) at first."),
    read_only<&CSuperLog::FileNumber>("FileNumber",
                                      "File number of the last open attempt, 1 to 255; 0 before the first."),
    property<&CSuperLog::fileName, &CSuperLog::set_fileName>(
        "fileName", "Path of the log file, used by the next OpenLog. Empty at first."),
    method<&CSuperLog::OpenLog>(
        "OpenLog", "Opens the file. False when it is open already, has no name or cannot be opened."),
    method<&CSuperLog::WriteLine>(
        "WriteLine",
        "Writes two line ends to the open log. False when it is not open or cannot be "
        "written."),
    method<&CSuperLog::WriteLog>(
        "WriteLog", {param("strData"), param("bNoCrLf", false)},
        "Writes a text, opening the log when it is closed, and a line end unless bNoCrLf is "
        "true. False when the log cannot be opened or written, or the text is empty."),
    method<&CSuperLog::CloseLog>("CloseLog", "Closes the file. Always false."),
    method<&CSuperLog::version>("version",
                                "Version of the class: \"1.\" and 0.1 with the locale's decimal sign."),
};

}  // namespace

std::span<const automation::Member> CSuperLog::members() { return kMembers; }

}  // namespace quarno
