#include "providers/desktop/functions/calendar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "common/error.h"
#include "common/text.h"

namespace quarno::desktop {
namespace {

constexpr std::int64_t kSecond = 1'000'000;
constexpr std::int64_t kDay = 86'400 * kSecond;

[[noreturn]] void refuse() { throw run_time_error(RunTime::invalid_call); }

std::int64_t floor_div(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

std::int64_t day_of(const CivilTime& civil) {
  const auto date = date_from_civil({civil.year, civil.month, civil.day, 0, 0, 0, 0});
  return static_cast<std::int64_t>(date.value().days);
}

// The first of a month counted from January of the year 0.
CivilTime first_of_month(std::int64_t months) {
  const std::int64_t year = floor_div(months, 12);
  if (year < 100 || year > 9999) refuse();
  return {static_cast<int>(year), static_cast<int>(months - year * 12) + 1, 1, 0, 0, 0, 0};
}

std::int64_t month_count(const CivilTime& civil) { return civil.year * std::int64_t{12} + civil.month - 1; }

Date add_months(Date date, std::int64_t count) {
  const CivilTime civil = civil_from_date(date);
  CivilTime target = first_of_month(month_count(civil) + count);
  const std::int64_t first = day_of(target);
  // The last day where the month is too short.
  target.day = civil.day;
  while (!date_from_civil(target)) --target.day;
  return date_of({first + target.day - 1, moment_of(date).microseconds});
}

std::int64_t week_start(std::int64_t day, int first_day) { return day - weekday(day, first_day) + 1; }

// The day on which the first week of a year begins.
std::int64_t first_week_start(int year, const WeekRule& rule) {
  const std::int64_t new_year = day_of({year, 1, 1, 0, 0, 0, 0});
  const std::int64_t start = week_start(new_year, rule.first_day);
  const std::int64_t days_in_it = 7 - (new_year - start);
  const int needed = rule.first_week == 2 ? 4 : rule.first_week == 3 ? 7 : 1;
  return days_in_it >= needed ? start : start + 7;
}

std::int64_t count_of(const Moment& moment, std::int64_t unit) {
  return floor_div(moment.day * kDay + moment.microseconds, unit);
}

}  // namespace

Moment moment_of(Date date) {
  const CivilTime civil = civil_from_date(date);
  const std::int64_t seconds = (civil.hour * 60 + civil.minute) * 60 + civil.second;
  return {day_of(civil), seconds * kSecond + civil.microsecond};
}

Date date_of(const Moment& moment) {
  const std::int64_t day = moment.day + floor_div(moment.microseconds, kDay);
  const auto whole = static_cast<double>(day);
  if (whole < kFirstDay || whole >= kLastDay) refuse();
  const std::int64_t rest = moment.microseconds - floor_div(moment.microseconds, kDay) * kDay;
  const double fraction = static_cast<double>(rest) / static_cast<double>(kDay);
  return {std::min(day < 0 ? whole - fraction : whole + fraction, std::nextafter(kLastDay, 0.0))};
}

CivilTime whole_seconds(Date date) {
  const CivilTime civil = civil_from_date(date);
  if (civil.microsecond == 0) return civil;
  const Moment moment = moment_of(date);
  const Moment rounded{moment.day, floor_div(moment.microseconds + kSecond / 2, kSecond) * kSecond};
  // The last half second of the year 9999 has none to round to.
  const bool is_last = static_cast<double>(rounded.day) + 1 >= kLastDay && rounded.microseconds >= kDay;
  CivilTime result = is_last ? civil : civil_from_date(date_of(rounded));
  result.microsecond = 0;
  return result;
}

std::optional<Interval> interval_of(std::string_view name) {
  static constexpr std::pair<std::string_view, Interval> kNames[] = {
      {"yyyy", Interval::year},     {"q", Interval::quarter}, {"m", Interval::month},
      {"y", Interval::day_of_year}, {"d", Interval::day},     {"w", Interval::weekday},
      {"ww", Interval::week},       {"h", Interval::hour},    {"n", Interval::minute},
      {"s", Interval::second}};
  for (const auto& [known, interval] : kNames) {
    if (text::equal_fold(known, name)) return interval;
  }
  return std::nullopt;
}

int weekday(std::int64_t day, int first_day) {
  // Day 0 was a Saturday.
  const std::int64_t from_sunday = day + 6 - floor_div(day + 6, 7) * 7;
  return static_cast<int>((from_sunday - (first_day - 1) + 7) % 7) + 1;
}

int week_of_year(std::int64_t day, const WeekRule& rule) {
  const CivilTime civil = civil_from_date(Date{static_cast<double>(day)});
  std::int64_t start = first_week_start(civil.year, rule);
  if (day < start) {
    if (civil.year == 100) return 1;
    start = first_week_start(civil.year - 1, rule);
  } else if (rule.first_week != 1 && civil.year < 9999 && day >= first_week_start(civil.year + 1, rule)) {
    return 1;  // the last days may lie in the next year's first week
  }
  return static_cast<int>((day - start) / 7) + 1;
}

Date date_add(Interval interval, double number, Date date) {
  const double whole = std::nearbyint(number);
  if (!(std::fabs(whole) <= 2'147'483'648.0)) throw run_time_error(RunTime::overflow);
  const auto count = static_cast<std::int64_t>(whole);
  const Moment moment = moment_of(date);
  const auto add_seconds = [&](std::int64_t unit) {
    const std::int64_t seconds = count * unit;
    return date_of({moment.day + seconds / 86'400, moment.microseconds + seconds % 86'400 * kSecond});
  };
  switch (interval) {
    case Interval::year: return add_months(date, count * 12);
    case Interval::quarter: return add_months(date, count * 3);
    case Interval::month: return add_months(date, count);
    case Interval::week: return date_of({moment.day + count * 7, moment.microseconds});
    case Interval::hour: return add_seconds(3600);
    case Interval::minute: return add_seconds(60);
    case Interval::second: return add_seconds(1);
    default: return date_of({moment.day + count, moment.microseconds});
  }
}

std::int64_t date_diff(Interval interval, Date from, Date to, int first_day) {
  const CivilTime a = civil_from_date(from);
  const CivilTime b = civil_from_date(to);
  const Moment x = moment_of(from);
  const Moment y = moment_of(to);
  switch (interval) {
    case Interval::year: return b.year - a.year;
    case Interval::quarter: return month_count(b) / 3 - month_count(a) / 3;
    case Interval::month: return month_count(b) - month_count(a);
    case Interval::weekday: return (y.day - x.day) / 7;
    case Interval::week: return (week_start(y.day, first_day) - week_start(x.day, first_day)) / 7;
    case Interval::hour: return count_of(y, 3600 * kSecond) - count_of(x, 3600 * kSecond);
    case Interval::minute: return count_of(y, 60 * kSecond) - count_of(x, 60 * kSecond);
    case Interval::second: return count_of(y, kSecond) - count_of(x, kSecond);
    default: return y.day - x.day;
  }
}

int date_part(Interval interval, Date date, const WeekRule& rule) {
  const CivilTime civil = whole_seconds(date);
  const std::int64_t day = day_of(civil);
  switch (interval) {
    case Interval::year: return civil.year;
    case Interval::quarter: return (civil.month - 1) / 3 + 1;
    case Interval::month: return civil.month;
    case Interval::day_of_year: return static_cast<int>(day - day_of({civil.year, 1, 1, 0, 0, 0, 0})) + 1;
    case Interval::day: return civil.day;
    case Interval::weekday: return weekday(day, rule.first_day);
    case Interval::week: return week_of_year(day, rule);
    case Interval::hour: return civil.hour;
    case Interval::minute: return civil.minute;
    default: return civil.second;
  }
}

Date date_serial(std::int64_t year, std::int64_t month, std::int64_t day) {
  if (year >= 0 && year < 100) year += year < 30 ? 2000 : 1900;
  return date_of({day_of(first_of_month(year * 12 + month - 1)) + day - 1, 0});
}

}  // namespace quarno::desktop
