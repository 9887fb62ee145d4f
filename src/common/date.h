// Dates as days since 30 December 1899, the time of day as the fraction. Before that day the whole part is
// negative and the fraction still counts forward from midnight: -1.25 is 29 December 1899, 06:00.
#pragma once

#include <compare>
#include <optional>

namespace quarno {

struct Date {
  double days = 0;
  friend auto operator<=>(const Date&, const Date&) = default;
};

/// A date and time of the Gregorian calendar, without a time zone.
struct CivilTime {
  int year = 1899;  // 100 to 9999
  int month = 12;   // 1 to 12
  int day = 30;     // 1 to 31
  int hour = 0;     // 0 to 23
  int minute = 0;   // 0 to 59
  int second = 0;   // 0 to 59
  int microsecond = 0;
  friend bool operator==(const CivilTime&, const CivilTime&) = default;
};

inline constexpr double kFirstDay = -657434.0;  // 1 January 100
inline constexpr double kLastDay = 2958466.0;   // first day that is too late: 1 January 10000

/// Nothing when the values name no day or time within the years 100 to 9999.
std::optional<Date> date_from_civil(const CivilTime& civil);

/// The roundest time the number cannot be told apart from: a whole second where the double's precision allows
/// it, else a millisecond, else a microsecond. Raises error 6 for a day outside the years 100 to 9999.
CivilTime civil_from_date(Date date);

}  // namespace quarno
