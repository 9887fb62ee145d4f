#include "common/date_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <vector>

#include "common/text.h"

namespace quarno {
namespace {

void append_padded(std::string& out, int value, int width) {
  const std::string digits = std::to_string(value);
  for (int i = static_cast<int>(digits.size()); i < width; ++i) out.push_back('0');
  out.append(digits);
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::optional<int> parse_int(std::string_view digits) {
  int value = 0;
  const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || digits.size() > 6 || status != std::errc() || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return value;
}

// "14:07", "14:07:33", "14:07:33.25" into the time fields.
bool parse_time(std::string_view text, CivilTime& civil) {
  const auto parts = text::split(text, ":");
  if (parts.size() < 2 || parts.size() > 3) return false;
  const auto hour = parse_int(parts[0]);
  const auto minute = parse_int(parts[1]);
  if (!hour || !minute) return false;
  civil.hour = *hour;
  civil.minute = *minute;
  if (parts.size() == 2) return true;
  const auto point = parts[2].find('.');
  const auto second = parse_int(parts[2].substr(0, point));
  if (!second) return false;
  civil.second = *second;
  if (point == std::string_view::npos) return true;
  std::string fraction(parts[2].substr(point + 1).substr(0, 6));
  if (fraction.empty() || fraction.find_first_not_of("0123456789") != std::string::npos) return false;
  fraction.resize(6, '0');
  civil.microsecond = *parse_int(fraction);
  return true;
}

int full_year(std::string_view digits, int year) {
  if (digits.size() > 2) return year;
  return year < 30 ? 2000 + year : 1900 + year;
}

// Puts the three numbers into the calendar fields in the given order; false when they name no day.
bool set_day(CivilTime& civil, const std::array<std::string_view, 3>& parts, LocaleInfo::DateOrder order) {
  using Order = LocaleInfo::DateOrder;
  const std::size_t year_at = order == Order::year_month_day ? 0 : 2;
  const std::size_t month_at = order == Order::month_day_year ? 0 : 1;
  const std::size_t day_at = 3 - year_at - month_at;
  const auto year = parse_int(parts[year_at]);
  const auto month = parse_int(parts[month_at]);
  const auto day = parse_int(parts[day_at]);
  if (!year || !month || !day) return false;
  CivilTime candidate = civil;
  candidate.year = full_year(parts[year_at], *year);
  candidate.month = *month;
  candidate.day = *day;
  if (!date_from_civil(candidate)) return false;
  civil = candidate;
  return true;
}

bool parse_day(std::string_view text, CivilTime& civil, LocaleInfo::DateOrder locale_order) {
  using Order = LocaleInfo::DateOrder;
  const auto separator = text.find_first_of("/-.");
  if (separator == std::string_view::npos) return false;
  const auto pieces = text::split(text, text.substr(separator, 1));
  if (pieces.size() != 3) return false;
  const std::array<std::string_view, 3> parts = {pieces[0], pieces[1], pieces[2]};
  if (parts[0].size() == 4) return set_day(civil, parts, Order::year_month_day);
  const Order other = locale_order == Order::month_day_year ? Order::day_month_year : Order::month_day_year;
  return set_day(civil, parts, locale_order) || set_day(civil, parts, other);
}

}  // namespace

std::string date_text(Date date, std::string_view pattern, const LocaleInfo& locale) {
  const CivilTime civil = civil_from_date(date);
  std::string result;
  bool after_hour = false;
  for (std::size_t i = 0; i < pattern.size();) {
    const char c = pattern[i];
    std::size_t run = 1;
    while (i + run < pattern.size() && pattern[i + run] == c) ++run;
    const int width = static_cast<int>(run);
    switch (c) {
      case 'd': append_padded(result, civil.day, width); break;
      case 'h': append_padded(result, civil.hour, width); break;
      case 'n': append_padded(result, civil.minute, width); break;
      case 's': append_padded(result, civil.second, width); break;
      case 'y': append_padded(result, run > 2 ? civil.year : civil.year % 100, width); break;
      case 'm':
        if (run > 2) {
          result.append(locale.month_abbreviations[static_cast<std::size_t>(civil.month - 1)]);
        } else {
          append_padded(result, after_hour ? civil.minute : civil.month, width);
        }
        break;
      default: result.append(pattern.substr(i, run)); break;
    }
    if (c == 'h') after_hour = true;
    if (c == 'm' || c == 'd' || c == 'y') after_hour = false;
    i += run;
  }
  return result;
}

std::string general_date_text(Date date, const LocaleInfo& locale) {
  const std::string& sep = locale.date_separator;
  std::string day;
  switch (locale.date_order) {
    case LocaleInfo::DateOrder::month_day_year: day = "mm" + sep + "dd" + sep + "yyyy"; break;
    case LocaleInfo::DateOrder::day_month_year: day = "dd" + sep + "mm" + sep + "yyyy"; break;
    case LocaleInfo::DateOrder::year_month_day: day = "yyyy" + sep + "mm" + sep + "dd"; break;
  }
  const std::string time = "hh" + locale.time_separator + "nn" + locale.time_separator + "ss";
  const bool has_time = date.days != std::trunc(date.days);
  if (std::trunc(date.days) == 0) return date_text(date, time);
  return date_text(date, has_time ? day + " " + time : day);
}

std::optional<Date> parse_date(std::string_view text, const LocaleInfo& locale) {
  text = text::trim(text);
  if (text.empty() || !is_digit(text.front())) return std::nullopt;
  CivilTime civil;
  // "T" joins date and time in the ISO form.
  const auto gap = text.find_first_of(" T");
  const std::string_view first = text.substr(0, gap);
  if (gap == std::string_view::npos) {
    const bool time_only = first.find(':') != std::string_view::npos;
    if (!(time_only ? parse_time(first, civil) : parse_day(first, civil, locale.date_order)))
      return std::nullopt;
    return date_from_civil(civil);
  }
  if (!parse_day(first, civil, locale.date_order)) return std::nullopt;
  if (!parse_time(text::trim(text.substr(gap + 1)), civil)) return std::nullopt;
  return date_from_civil(civil);
}

std::string iso_date_text(const CivilTime& moment, bool with_time) {
  std::string result;
  const auto put = [&](std::string_view sign, int number, int digits) {
    result += sign;
    const std::size_t end = result.size() + static_cast<std::size_t>(digits);
    result.resize(end);
    for (int place = 1; place <= digits; ++place, number /= 10) {
      result[end - static_cast<std::size_t>(place)] = static_cast<char>('0' + number % 10);
    }
  };
  put("", moment.year, 4);
  put("-", moment.month, 2);
  put("-", moment.day, 2);
  if (!with_time) return result;
  put(" ", moment.hour, 2);
  put(":", moment.minute, 2);
  put(":", moment.second, 2);
  if (moment.microsecond != 0) put(".", moment.microsecond, 6);
  return result;
}

std::optional<Date> parse_iso_date(std::string_view text) {
  constexpr std::string_view kPattern = "0000-00-00 00:00:00";
  if (text.size() != 10 && text.size() != kPattern.size()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool fits = kPattern[i] == '0' ? text[i] >= '0' && text[i] <= '9' : text[i] == kPattern[i];
    if (!fits) return std::nullopt;
  }
  const auto two = [&](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  CivilTime t{two(0) * 100 + two(2), two(5), two(8)};
  if (t.year < 1000) return std::nullopt;
  if (text.size() > 10) {
    t.hour = two(11);
    t.minute = two(14);
    t.second = two(17);
  }
  return date_from_civil(t);
}

}  // namespace quarno
