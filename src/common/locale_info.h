// What the library takes from the user's locale. A plain value: the default is the invariant form, and
// platform/locale.h tells the user's own.
#pragma once

#include <array>
#include <string>

namespace quarno {

struct LocaleInfo {
  enum class DateOrder { month_day_year, day_month_year, year_month_day };

  std::string decimal = ".";
  std::string group = ",";  // skipped when a number is read; never empty, never equal to `decimal`
  std::string date_separator = "/";
  std::string time_separator = ":";
  DateOrder date_order = DateOrder::day_month_year;  // how a text like 1/2/2024 is read and written
  std::array<std::string, 12> month_abbreviations = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
};

}  // namespace quarno
