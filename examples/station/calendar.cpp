#include "calendar.h"

#include <cstdio>

namespace station {
namespace {

using std::chrono::year_month_day;

// The number in a text of digits only; nothing else is one.
std::optional<int> digits(std::string_view text) {
  if (text.empty() || text.size() > 4) return std::nullopt;
  int number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

// "yyyy-mm-dd" or "yyyymmdd", the dashes all there or all missing.
std::optional<year_month_day> parsed_date(std::string_view text) {
  const bool dashes = text.size() == 10 && text[4] == '-' && text[7] == '-';
  if (!dashes && text.size() != 8) return std::nullopt;
  const auto year = digits(text.substr(0, 4));
  const auto month = digits(text.substr(dashes ? 5 : 4, 2));
  const auto day = digits(text.substr(dashes ? 8 : 6, 2));
  if (!year || !month || !day || *year < 1900 || *year > 9000) return std::nullopt;
  const year_month_day date(std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(*month)),
                            std::chrono::day(static_cast<unsigned>(*day)));
  return date.ok() ? std::optional(date) : std::nullopt;
}

std::string formatted(const char* pattern, auto... parts) {
  char text[32];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, pattern, parts...))};
}

}  // namespace

std::optional<Day> parsed_day(std::string_view text) {
  const auto date = parsed_date(text);
  return date ? std::optional(Day(*date)) : std::nullopt;
}

std::optional<std::string> parsed_month(std::string_view text) {
  const auto first = parsed_date(std::string(text) + (text.size() == 7 ? "-01" : "01"));
  return first ? std::optional(day_text(*first).substr(0, 6)) : std::nullopt;
}

std::optional<std::string> parsed_hour(std::string_view text) {
  const auto hour = digits(text);
  return hour && *hour < 24 ? std::optional(hour_text(*hour)) : std::nullopt;
}

std::optional<Minute> parsed_minute(std::string_view day, std::string_view hour) {
  if (hour.size() != 5 || hour[2] != '.') return std::nullopt;
  const auto date = parsed_day(day);
  const auto hours = digits(hour.substr(0, 2));
  const auto minutes = digits(hour.substr(3));
  if (!date || !hours || !minutes || *hours > 23 || *minutes > 59) return std::nullopt;
  return *date + std::chrono::hours(*hours) + std::chrono::minutes(*minutes);
}

std::string day_text(Day day) {
  const year_month_day date(day);
  return formatted("%04d%02u%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                   static_cast<unsigned>(date.day()));
}

std::string hour_text(int hour) { return formatted("%02d.00", hour); }

std::string regional_day_text(Day day) {
  const year_month_day date(day);
  return formatted("%02u/%02u/%04d", static_cast<unsigned>(date.day()), static_cast<unsigned>(date.month()),
                   static_cast<int>(date.year()));
}

std::string minute_text(Minute minute) {
  const Day day = std::chrono::floor<std::chrono::days>(minute);
  const year_month_day date(day);
  const auto minutes = (minute - day).count();
  return formatted("%04d-%02u-%02u %02d.%02d", static_cast<int>(date.year()),
                   static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                   static_cast<int>(minutes / 60), static_cast<int>(minutes % 60));
}

}  // namespace station
