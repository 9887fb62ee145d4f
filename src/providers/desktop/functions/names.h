// Names of months and weekdays. The abbreviations of months are the locale's. Pure.
#pragma once

#include <string>

#include "common/locale_info.h"

namespace quarno::desktop {

/// `month` 1 to 12.
std::string month_name(int month, bool abbreviated, const LocaleInfo& locale);
/// `weekday` 1 (Sunday) to 7.
std::string weekday_name(int weekday, bool abbreviated);

}  // namespace quarno::desktop
