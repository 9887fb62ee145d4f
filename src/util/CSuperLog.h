// CSuperLog: the host's own plain-text log. It remembers a file name and an open mode, opens on demand,
// writes what the host passes, line by line, and adds nothing to it. Nothing is raised: a member that fails
// returns false and sets the description of the thread's current error record. Used on the thread that
// created it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "automation/automation.h"
#include "common/file_mode.h"
#include "common/file_numbers.h"
#include "platform/files.h"

namespace quarno {

class CSuperLog : public automation::Automation<CSuperLog> {
 public:
  static constexpr std::string_view kClassName = "CSuperLog";
  static std::span<const automation::Member> members();

  ~CSuperLog() override;

  bool SupressErrors() const { return suppress_errors_; }
  void set_SupressErrors(bool value) { suppress_errors_ = value; }
  std::int32_t OpenMode() const { return open_mode_; }
  void set_OpenMode(std::int32_t value) { open_mode_ = value; }
  std::int16_t FileNumber() const { return file_number_; }
  std::string fileName() const { return file_name_; }
  void set_fileName(const std::string& value) { file_name_ = value; }

  bool OpenLog();
  bool WriteLine();
  bool WriteLog(const std::string& strData, bool bNoCrLf = false);
  bool CloseLog();
  std::string version() const;

 private:
  bool is_open() const { return file_ != nullptr; }
  // The one place where a failure is recorded: the description alone changes.
  static bool failed(std::string message);

  std::unique_ptr<platform::File> file_;
  std::string file_name_;
  quarno::FileNumber number_held_;  // while the file is open
  std::int16_t file_number_ = 0;    // of the last open attempt
  std::int32_t open_mode_ = MODE_OVERWRITE;
  bool suppress_errors_ = false;  // stored for the host; failures are recorded all the same
  std::string line_;              // reused for every line, so that writing allocates nothing
};

}  // namespace quarno
