#include "providers/desktop/functions/format.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>

#include "common/convert.h"
#include "common/text.h"
#include "platform/locale.h"
#include "providers/desktop/functions/call.h"
#include "providers/desktop/functions/folding.h"
#include "providers/desktop/functions/reading.h"

namespace quarno::desktop {
namespace {

struct Named {
  std::string_view name;
  std::string_view pattern;
};

// The locale says no sign of a currency, so an amount is written without one.
constexpr Named kNumberFormats[] = {
    {"Currency", "#,##0.00"},
    {"Fixed", "0.00"},
    {"Standard", "#,##0.00"},
    {"Percent", "0.00%"},
    {"Scientific", "0.00E+00"},
    {"Yes/No", "\"Yes\";\"Yes\";\"No\""},
    {"True/False", "\"True\";\"True\";\"False\""},
    {"On/Off", "\"On\";\"On\";\"Off\""},
};
constexpr Named kDateFormats[] = {
    {"General Date", "c"},   {"Long Date", "dddddd"}, {"Medium Date", "dd-mmm-yy"},
    {"Short Date", "ddddd"}, {"Long Time", "ttttt"},  {"Medium Time", "hh:nn AM/PM"},
    {"Short Time", "hh:nn"},
};

std::optional<std::string_view> pattern_of(std::span<const Named> formats, std::string_view name) {
  for (const Named& row : formats) {
    if (text::equal_fold(row.name, name)) return row.pattern;
  }
  return std::nullopt;
}

enum class Kind { number, date, text, literal };

Kind kind_of(std::string_view pattern) {
  for (const FormatToken& token : format_tokens(pattern)) {
    if (token.sign == 0) continue;
    const char sign =
        token.sign >= 'A' && token.sign <= 'Z' ? static_cast<char>(token.sign + 32) : token.sign;
    if (std::string_view("0#%").find(sign) != std::string_view::npos) return Kind::number;
    if (std::string_view("dmyhnswqct").find(sign) != std::string_view::npos) return Kind::date;
    if (std::string_view("@&<>!").find(sign) != std::string_view::npos) return Kind::text;
  }
  return Kind::literal;
}

std::optional<double> number_in(const Variant& value, const LocaleInfo& locale) {
  if (is_numeric(value, locale)) return to_double(value, locale);
  if (const auto* text = value.get_if<std::string>()) {
    if (const auto date = date_of_text(*text, locale)) return date->days;
  }
  return std::nullopt;
}

std::optional<Date> date_in(const Variant& value, const LocaleInfo& locale) {
  if (const auto* text = value.get_if<std::string>()) {
    if (const auto date = date_of_text(*text, locale)) return date;
  }
  const auto number = number_in(value, locale);
  if (!number) return std::nullopt;
  if (!(*number > kFirstDay - 1 && *number < kLastDay)) {
    if (value.is_text()) return std::nullopt;
    throw run_time_error(RunTime::overflow);
  }
  return Date{*number};
}

// "@" takes a character or a blank, "&" a character or nothing, from the right unless there is a "!". What is
// left over goes before the first of them.
std::string format_text(std::string_view value, std::string_view pattern) {
  const auto sections = format_sections(pattern);
  const std::string_view section = value.empty() && sections.size() > 1 ? sections[1] : sections[0];
  const std::vector<FormatToken> tokens = format_tokens(section);
  const auto is_place = [](const FormatToken& token) { return token.sign == '@' || token.sign == '&'; };
  const auto has = [&tokens](char sign) {
    return std::any_of(tokens.begin(), tokens.end(),
                       [sign](const auto& token) { return token.sign == sign; });
  };
  std::string cased(value);
  if (has('<')) cased = small_letters(cased);
  if (has('>')) cased = capital_letters(cased);
  const auto places = static_cast<std::size_t>(std::count_if(tokens.begin(), tokens.end(), is_place));
  const std::size_t length = text::length(cased);
  const std::size_t empty_places = places > length ? places - length : 0;
  std::string_view rest = cased;
  const auto take = [&rest](std::size_t count) {
    const std::string_view taken = text::left(rest, count);
    rest.remove_prefix(taken.size());
    return taken;
  };
  std::string result;
  std::size_t place = 0;
  const bool from_left = has('!');
  for (const FormatToken& token : tokens) {
    if (is_place(token)) {
      if (place == 0 && length > places && !from_left) result += take(length - places);
      const bool is_empty = from_left ? place >= length : place < empty_places;
      if (is_empty) {
        if (token.sign == '@') result.push_back(' ');
      } else {
        result += take(1);
      }
      if (++place == places) result += rest;
    } else if (std::string_view("<>!").find(token.sign) == std::string_view::npos || token.sign == 0) {
      result += token.literal;
    }
  }
  return places == 0 ? result + cased : result;
}

std::string null_text(std::string_view pattern) {
  const auto sections = format_sections(pattern);
  const bool has_own = sections.size() > 3 || (kind_of(pattern) == Kind::text && sections.size() > 1);
  if (!has_own) return {};
  std::string result;
  for (const FormatToken& token : format_tokens(sections.back())) result += token.literal;
  return result;
}

Variant format(const Arguments& args) {
  const std::string pattern = args.count() > 1 && !args.is_null(1) ? args.text(1) : std::string();
  const std::int32_t first_day = args.whole_or(2, 1);
  const std::int32_t first_week = args.whole_or(3, 1);
  if (first_day < 0 || first_day > 7 || first_week < 0 || first_week > 3) refuse();
  const WeekRule rule{std::max(first_day, 1), std::max(first_week, 1)};
  return formatted(args.value(0), pattern, rule, platform::locale());
}

constexpr Function kFunctions[] = {{"Format", 1, 4, entry<format>}};

}  // namespace

std::vector<FormatToken> format_tokens(std::string_view pattern) {
  std::vector<FormatToken> tokens;
  for (std::size_t at = 0; at < pattern.size();) {
    if (pattern[at] == '"') {
      const std::size_t close = std::min(pattern.find('"', at + 1), pattern.size());
      tokens.push_back({0, std::string(pattern.substr(at + 1, close - at - 1))});
      at = close + 1;
      continue;
    }
    const bool escaped = pattern[at] == '\\';
    if (escaped && ++at == pattern.size()) break;
    const std::size_t start = at;
    next_distinct(pattern, at);
    const std::string_view character = pattern.substr(start, at - start);
    tokens.push_back({escaped || character.size() > 1 ? '\0' : character[0], std::string(character)});
  }
  return tokens;
}

std::vector<std::string_view> format_sections(std::string_view pattern) {
  std::vector<std::string_view> sections;
  std::size_t start = 0;
  bool quoted = false;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] == '"') quoted = !quoted;
    if (quoted) continue;
    if (pattern[at] == '\\')
      ++at;
    else if (pattern[at] == ';') {
      sections.push_back(pattern.substr(start, at - start));
      start = at + 1;
    }
  }
  sections.push_back(pattern.substr(start));
  return sections;
}

std::string formatted(const Variant& value, std::string_view pattern, const WeekRule& rule,
                      const LocaleInfo& locale) {
  if (value.is_null()) return null_text(pattern);
  const bool plain = pattern.empty() || text::equal_fold(pattern, "General Number");
  if (plain) return to_text(value, locale);
  Kind kind = kind_of(pattern);
  if (const auto named = pattern_of(kNumberFormats, pattern)) {
    pattern = *named;
    kind = Kind::number;
  } else if (const auto named_date = pattern_of(kDateFormats, pattern)) {
    pattern = *named_date;
    kind = Kind::date;
  }
  switch (kind) {
    case Kind::number:
    case Kind::literal: {
      const auto number = number_in(value, locale);
      if (!number) {
        if (kind == Kind::number || !value.is_text()) return to_text(value, locale);
        return format_text(*value.get_if<std::string>(), pattern);
      }
      return format_number(value.is_text() ? Variant(*number) : value, pattern, locale);
    }
    case Kind::date: {
      const auto date = date_in(value, locale);
      return date ? format_date(*date, pattern, rule, locale) : to_text(value, locale);
    }
    default: return format_text(to_text(value, locale), pattern);
  }
}

std::span<const Function> format_functions() { return kFunctions; }

}  // namespace quarno::desktop
