#include <algorithm>
#include <array>

#include "common/date_text.h"
#include "common/text.h"
#include "providers/desktop/functions/format.h"
#include "providers/desktop/functions/names.h"

namespace quarno::desktop {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

std::string padded(int number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
}

// A run of the same letter, a mark of the half of the day, or what stands for itself.
struct Field {
  char letter = 0;
  std::size_t width = 0;
  std::string literal;
};

struct HalfMark {
  std::string_view sign;
  std::string_view morning;
  std::string_view afternoon;
};
constexpr HalfMark kHalfMarks[] = {
    {"AM/PM", "AM", "PM"}, {"am/pm", "am", "pm"}, {"A/P", "A", "P"}, {"a/p", "a", "p"}, {"AMPM", "AM", "PM"}};

// The mark whose signs stand from `at` on, in any letter case; the table has the usual two.
const HalfMark* mark_at(const std::vector<FormatToken>& tokens, std::size_t at) {
  std::string ahead;
  for (std::size_t i = at; i < tokens.size() && i < at + 5 && tokens[i].sign != 0; ++i)
    ahead.push_back(tokens[i].sign);
  for (const HalfMark& mark : kHalfMarks) {
    if (ahead.starts_with(mark.sign)) return &mark;
  }
  for (const HalfMark& mark : kHalfMarks) {
    if (text::equal_fold(std::string_view(ahead).substr(0, mark.sign.size()), mark.sign)) return &mark;
  }
  return nullptr;
}

std::vector<Field> fields_of(std::string_view pattern, bool afternoon, bool& has_half) {
  const std::vector<FormatToken> tokens = format_tokens(pattern);
  std::vector<Field> fields;
  for (std::size_t i = 0; i < tokens.size();) {
    const char sign = lower(tokens[i].sign);
    if (const HalfMark* mark = sign == 'a' ? mark_at(tokens, i) : nullptr) {
      has_half = true;
      fields.push_back({0, 0, std::string(afternoon ? mark->afternoon : mark->morning)});
      i += mark->sign.size();
      continue;
    }
    if (sign == 0 || std::string_view("dmyhnswqct/:").find(sign) == std::string_view::npos) {
      fields.push_back({0, 0, tokens[i++].literal});
      continue;
    }
    std::size_t width = 1;
    while (i + width < tokens.size() && lower(tokens[i + width].sign) == sign) ++width;
    if (sign == 't' && width != 5) {
      fields.push_back({0, 0, tokens[i++].literal});
      continue;
    }
    const bool alone = sign == '/' || sign == ':' || sign == 'c' || sign == 'q';
    if (alone) width = 1;
    fields.push_back({sign, width, {}});
    i += width;
  }
  return fields;
}

// "m" behind the hours or before the seconds means minutes; only signs that are no fields may stand between.
void find_minutes(std::vector<Field>& fields) {
  const auto is_clock = [](const Field& field) { return field.letter == 0 || field.letter == ':'; };
  const auto neighbour = [&](auto from, auto end) {
    const auto found = std::find_if_not(from, end, is_clock);
    return found == end ? '\0' : found->letter;
  };
  for (auto field = fields.begin(); field != fields.end(); ++field) {
    if (field->letter != 'm' || field->width > 2) continue;
    const char before = neighbour(std::make_reverse_iterator(field), fields.rend());
    if (before == 'h' || neighbour(field + 1, fields.end()) == 's') field->letter = 'n';
  }
}

std::string short_date(const LocaleInfo& locale) {
  switch (locale.date_order) {
    case LocaleInfo::DateOrder::month_day_year: return "mm/dd/yyyy";
    case LocaleInfo::DateOrder::year_month_day: return "yyyy/mm/dd";
    default: return "dd/mm/yyyy";
  }
}

std::string long_date(const LocaleInfo& locale) {
  return locale.date_order == LocaleInfo::DateOrder::month_day_year ? "dddd, mmmm dd, yyyy"
                                                                    : "dddd d mmmm yyyy";
}

class DateWriter {
 public:
  DateWriter(Date date, const WeekRule& rule, const LocaleInfo& locale)
      : date_(date), civil_(whole_seconds(date)), rule_(rule), locale_(locale) {}

  std::string write(std::string_view pattern) const {
    bool has_half = false;
    std::vector<Field> fields = fields_of(pattern, civil_.hour >= 12, has_half);
    find_minutes(fields);
    std::string result;
    for (const Field& field : fields) result += field.letter == 0 ? field.literal : text_of(field, has_half);
    return result;
  }

 private:
  int part(Interval interval) const { return date_part(interval, date_, rule_); }

  std::string text_of(const Field& field, bool has_half) const {
    const std::size_t two = std::min<std::size_t>(field.width, 2);
    switch (field.letter) {
      case 'd': return day(field.width);
      case 'm':
        if (field.width > 2) return month_name(civil_.month, field.width == 3, locale_);
        return padded(civil_.month, field.width);
      case 'y':
        if (field.width == 1) return std::to_string(part(Interval::day_of_year));
        return field.width == 2 ? padded(civil_.year % 100, 2) : padded(civil_.year, 4);
      case 'h': return padded(has_half ? (civil_.hour + 11) % 12 + 1 : civil_.hour, two);
      case 'n': return padded(civil_.minute, two);
      case 's': return padded(civil_.second, two);
      case 'w': return std::to_string(part(field.width == 1 ? Interval::weekday : Interval::week));
      case 'q': return std::to_string(part(Interval::quarter));
      case 'c': return general_date_text(date_, locale_);
      case 't': return write("hh:nn:ss");
      default: return field.letter == '/' ? locale_.date_separator : locale_.time_separator;
    }
  }

  std::string day(std::size_t width) const {
    if (width < 3) return padded(civil_.day, width);
    if (width < 5) {
      WeekRule from_sunday;
      return weekday_name(date_part(Interval::weekday, date_, from_sunday), width == 3);
    }
    return write(width == 5 ? short_date(locale_) : long_date(locale_));
  }

  Date date_;
  CivilTime civil_;
  WeekRule rule_;
  const LocaleInfo& locale_;
};

}  // namespace

std::string format_date(Date date, std::string_view pattern, const WeekRule& rule, const LocaleInfo& locale) {
  return DateWriter(date, rule, locale).write(pattern);
}

}  // namespace quarno::desktop
