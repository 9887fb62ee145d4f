#include "providers/desktop/functions/reading.h"

#include <algorithm>
#include <string>
#include <vector>

#include "common/convert.h"
#include "common/date_text.h"
#include "common/error.h"
#include "common/text.h"
#include "providers/desktop/functions/names.h"

namespace quarno::desktop {
namespace {

std::vector<std::string> words_of(std::string_view text) {
  std::vector<std::string> words;
  bool in_word = false;
  for (const char c : text) {
    const bool gap = c == ' ' || c == ',';
    if (!gap && !in_word) words.emplace_back();
    if (!gap) words.back().push_back(c);
    in_word = !gap;
  }
  return words;
}

int month_of(std::string_view word, const LocaleInfo& locale) {
  for (int month = 1; month <= 12; ++month) {
    const std::string full = month_name(month, false, locale);
    if (text::equal_fold(word, full) || text::equal_fold(word, full.substr(0, 3)) ||
        text::equal_fold(word, month_name(month, true, locale)))
      return month;
  }
  return 0;
}

bool is_number(std::string_view word) {
  return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

// "5 January 2015", "January 5, 2015" and "5-Jan-2015" as "5/1/2015"; false, and nothing done, without a
// name.
bool name_to_number(std::vector<std::string>& words, const LocaleInfo& locale) {
  if (std::count(words[0].begin(), words[0].end(), '-') == 2) {
    std::string dashed = words[0];
    std::replace(dashed.begin(), dashed.end(), '-', ' ');
    const std::vector<std::string> parts = words_of(dashed);
    words.erase(words.begin());
    words.insert(words.begin(), parts.begin(), parts.end());
  }
  if (words.size() < 3) return false;
  const std::size_t name_at = is_number(words[0]) ? 1 : 0;
  const std::size_t day_at = 1 - name_at;
  const int month = month_of(words[name_at], locale);
  if (month == 0 || !is_number(words[day_at]) || !is_number(words[2])) return false;
  words[0] = words[day_at] + "/" + std::to_string(month) + "/" + words[2];
  words.erase(words.begin() + 1, words.begin() + 3);
  return true;
}

// Takes AM or PM from the end; whether it was PM, nothing without either.
std::optional<bool> take_half_of_day(std::vector<std::string>& words) {
  std::string& last = words.back();
  const std::size_t at = last.size() < 2 ? 0 : last.size() - 2;
  const std::string_view end = std::string_view(last).substr(at);
  const bool afternoon = text::equal_fold(end, "pm");
  if (!afternoon && !text::equal_fold(end, "am")) return std::nullopt;
  last.erase(at);
  if (last.empty()) words.pop_back();
  if (words.empty()) return std::nullopt;
  if (is_number(words.back())) words.back() += ":00";
  return afternoon;
}

}  // namespace

std::optional<Date> date_of_text(std::string_view text, const LocaleInfo& locale) {
  if (text.size() > 100) return std::nullopt;
  if (const auto date = parse_date(text, locale)) return date;
  std::vector<std::string> words = words_of(text);
  if (words.empty()) return std::nullopt;
  const auto afternoon = take_half_of_day(words);
  if (words.empty()) return std::nullopt;
  LocaleInfo order = locale;
  if (name_to_number(words, locale)) {
    order.date_order = LocaleInfo::DateOrder::day_month_year;
  } else if (!afternoon) {
    return std::nullopt;
  }
  const auto date = parse_date(text::join(words, " "), order);
  if (!date || !afternoon) return date;
  CivilTime civil = civil_from_date(*date);
  if (civil.hour < 1 || civil.hour > 12) return std::nullopt;
  civil.hour = civil.hour % 12 + (*afternoon ? 12 : 0);
  return date_from_civil(civil);
}

Date read_date(const Variant& value, const LocaleInfo& locale) {
  if (const auto* text = value.get_if<std::string>()) {
    if (const auto date = date_of_text(*text, locale)) return *date;
  }
  return to_date(value, locale);
}

}  // namespace quarno::desktop
