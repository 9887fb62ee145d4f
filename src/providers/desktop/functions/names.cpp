#include "providers/desktop/functions/names.h"

#include <array>
#include <string_view>

namespace quarno::desktop {
namespace {

constexpr std::array<std::string_view, 12> kMonths = {"January",   "February", "March",    "April",
                                                      "May",       "June",     "July",     "August",
                                                      "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> kWeekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                       "Thursday", "Friday", "Saturday"};

}  // namespace

std::string month_name(int month, bool abbreviated, const LocaleInfo& locale) {
  const auto index = static_cast<std::size_t>(month - 1);
  return abbreviated ? locale.month_abbreviations[index] : std::string(kMonths[index]);
}

std::string weekday_name(int weekday, bool abbreviated) {
  return std::string(kWeekdays[static_cast<std::size_t>(weekday - 1)].substr(0, abbreviated ? 3 : 9));
}

}  // namespace quarno::desktop
