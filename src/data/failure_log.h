// The data error log: one path per host thread, shared by every data-access object of that thread.
#pragma once

#include <string>
#include <string_view>

#include "common/error.h"

namespace quarno::data {

/// Computes the calling thread's path: the folder given, or the library's own when it is empty, +
/// "\QuarnoLog.txt".
void set_failure_log_folder(const std::string& folder);

/// The calling thread's path.
const std::string& failure_log_path();

/// Appends one line for the failure. Nothing is reported when that fails, and the thread's error record is
/// untouched.
void log_failure(std::string_view context, const ErrorRecord& failure);

}  // namespace quarno::data
