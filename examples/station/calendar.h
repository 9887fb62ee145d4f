// Days, months and hours as the command line writes them and as the measurement table keeps them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace station {

using Day = std::chrono::sys_days;
using Minute = std::chrono::sys_time<std::chrono::minutes>;

/// A day written "2015-01-05" or "20150105"; nothing when it is no day of the years 1900 to 9000.
std::optional<Day> parsed_day(std::string_view text);
/// A month written "2015-01" or "201501", as "201501": the leading part of the text of its days.
std::optional<std::string> parsed_month(std::string_view text);
/// An hour from "0" to "23" as DT_HOUR keeps it.
std::optional<std::string> parsed_hour(std::string_view text);

/// The minute that DT_DATE and DT_HOUR name, by the plant's clock; nothing when they name none.
std::optional<Minute> parsed_minute(std::string_view day, std::string_view hour);

/// "20150105", as DT_DATE keeps it.
std::string day_text(Day day);
/// "05.00", as DT_HOUR keeps it.
std::string hour_text(int hour);
/// "05/01/2015", as the regional file has it.
std::string regional_day_text(Day day);
/// "2015-01-05 05.00".
std::string minute_text(Minute minute);

}  // namespace station
