#include "common/date.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "common/error.h"

namespace quarno {
namespace {

constexpr std::int64_t kMicrosecondsPerDay = 86'400'000'000;
// Days from 1 March of year 0 (proleptic Gregorian) to 30 December 1899.
constexpr std::int64_t kEpochShift = 693'899;

// Calendar days counted from 1 March of year 0; Gregorian rule applied in 400-year eras.
std::int64_t day_number(int year, int month, int day) {
  const std::int64_t y = month <= 2 ? year - 1 : year;
  const std::int64_t era = y / 400;
  const std::int64_t year_of_era = y - era * 400;
  const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146'097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
}

int days_in_month(int year, int month) {
  if (month == 2) return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

void set_calendar_day(CivilTime& civil, std::int64_t number) {
  const std::int64_t era = number / 146'097;
  const std::int64_t day_of_era = number - era * 146'097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36'524 - day_of_era / 146'096) / 365;
  const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t shifted_month = (5 * day_of_year + 2) / 153;
  civil.day = static_cast<int>(day_of_year - (153 * shifted_month + 2) / 5 + 1);
  civil.month = static_cast<int>(shifted_month < 10 ? shifted_month + 3 : shifted_month - 9);
  civil.year = static_cast<int>(year_of_era + era * 400 + (civil.month <= 2 ? 1 : 0));
}

std::int64_t rounded(double value, std::int64_t unit) {
  return static_cast<std::int64_t>(std::llround(value / static_cast<double>(unit))) * unit;
}

}  // namespace

std::optional<Date> date_from_civil(const CivilTime& c) {
  const bool in_range = c.year >= 100 && c.year <= 9999 && c.month >= 1 && c.month <= 12 && c.day >= 1 &&
                        c.day <= days_in_month(c.year, c.month) && c.hour >= 0 && c.hour <= 23 &&
                        c.minute >= 0 && c.minute <= 59 && c.second >= 0 && c.second <= 59 &&
                        c.microsecond >= 0 && c.microsecond <= 999'999;
  if (!in_range) return std::nullopt;
  const auto day = static_cast<double>(day_number(c.year, c.month, c.day) - kEpochShift);
  const std::int64_t seconds = (c.hour * 60 + c.minute) * 60 + c.second;
  const double fraction =
      static_cast<double>(seconds * 1'000'000 + c.microsecond) / static_cast<double>(kMicrosecondsPerDay);
  // The last microseconds of the last day would be rounded to the day behind it.
  return Date{std::min(day < 0 ? day - fraction : day + fraction, std::nextafter(kLastDay, 0.0))};
}

CivilTime civil_from_date(Date date) {
  if (!(date.days > kFirstDay - 1 && date.days < kLastDay)) throw run_time_error(RunTime::overflow);
  double whole = std::trunc(date.days);
  const double microseconds = std::fabs(date.days - whole) * static_cast<double>(kMicrosecondsPerDay);
  // What one unit in the last place of the day number amounts to, in microseconds.
  const double blur = (std::nextafter(std::fabs(date.days), kLastDay) - std::fabs(date.days)) *
                      static_cast<double>(kMicrosecondsPerDay);
  std::int64_t time = rounded(microseconds, 1);
  for (const std::int64_t unit : {std::int64_t{1'000'000}, std::int64_t{1000}}) {
    const std::int64_t round = rounded(microseconds, unit);
    if (std::fabs(static_cast<double>(round) - microseconds) <= blur) {
      time = round;
      break;
    }
  }
  if (time >= kMicrosecondsPerDay) {
    time -= kMicrosecondsPerDay;
    whole += 1;
    if (whole >= kLastDay) throw run_time_error(RunTime::overflow);
  }
  CivilTime civil;
  set_calendar_day(civil, static_cast<std::int64_t>(whole) + kEpochShift);
  civil.microsecond = static_cast<int>(time % 1'000'000);
  time /= 1'000'000;
  civil.second = static_cast<int>(time % 60);
  civil.minute = static_cast<int>(time / 60 % 60);
  civil.hour = static_cast<int>(time / 3600);
  return civil;
}

}  // namespace quarno
