#include "data/failure_log.h"

#include "data/failure_text.h"
#include "platform/clock.h"
#include "platform/module_path.h"
#include "util/CSuperLog.h"

namespace quarno::data {
namespace {

std::string& thread_path() {
  thread_local std::string path;
  return path;
}

}  // namespace

void set_failure_log_folder(const std::string& folder) {
  thread_path() = (folder.empty() ? platform::module_folder() : folder) + "\\QuarnoLog.txt";
}

const std::string& failure_log_path() { return thread_path(); }

void log_failure(std::string_view context, const ErrorRecord& failure) {
  // The log writer records its own failures there.
  const ErrorRecord before = current_error();
  CSuperLog log;
  log.set_fileName(failure_log_path());
  log.set_OpenMode(MODE_APPEND);
  if (log.OpenLog()) {
    log.WriteLog(failure_log_line(platform::clock().now(), context, failure));
    log.CloseLog();
  }
  current_error() = before;
}

}  // namespace quarno::data
