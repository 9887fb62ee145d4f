// How a failure reads in the data error log and in a message box. Pure.
#pragma once

#include <string>
#include <string_view>

#include "common/date.h"
#include "common/error.h"

namespace quarno::data {

/// One line of the data error log, without its end: time, context, source, number and description, between
/// tabs.
std::string failure_log_line(Date time, std::string_view context, const ErrorRecord& failure);

/// The record as a message box shows it, behind the member's prefix.
std::string failure_box_text(std::string_view prefix, const ErrorRecord& failure);

/// Gives the error its fixed text when it says that a key is there already.
void name_duplicate_key(Error& error);

}  // namespace quarno::data
