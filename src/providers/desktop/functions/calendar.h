// Reckoning with dates: intervals, weeks, and days that a calendar does not have ("month 14"). Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "common/date.h"

namespace quarno::desktop {

/// A date in parts that add: before day 0 the number of days goes down while the time still counts forward.
struct Moment {
  std::int64_t day = 0;           // since 30 December 1899
  std::int64_t microseconds = 0;  // of that day
};

Moment moment_of(Date date);
/// Raises 5 for a day outside the years 100 to 9999; `microseconds` may be any number.
Date date_of(const Moment& moment);

/// The civil time rounded to a whole second, as it is written.
CivilTime whole_seconds(Date date);

enum class Interval { year, quarter, month, day_of_year, day, weekday, week, hour, minute, second };

/// "yyyy", "q", "m", "y", "d", "w", "ww", "h", "n", "s" in any letter case.
std::optional<Interval> interval_of(std::string_view name);

/// How weeks are counted: the weekday they begin with (1 Sunday to 7), and which is a year's first (1 the one
/// with 1 January, 2 the first with four days, 3 the first full one).
struct WeekRule {
  int first_day = 1;
  int first_week = 1;
};

/// 1 for the rule's first day to 7.
int weekday(std::int64_t day, int first_day = 1);
int week_of_year(std::int64_t day, const WeekRule& rule);

Date date_add(Interval interval, double number, Date date);
std::int64_t date_diff(Interval interval, Date from, Date to, int first_day);
int date_part(Interval interval, Date date, const WeekRule& rule);

/// Months and days may be any number: month 14 is February of the next year, day 0 the last of the month
/// before.
Date date_serial(std::int64_t year, std::int64_t month, std::int64_t day);

}  // namespace quarno::desktop
