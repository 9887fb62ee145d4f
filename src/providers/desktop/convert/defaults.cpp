#include "providers/desktop/convert/defaults.h"

#include <algorithm>
#include <charconv>

#include "common/text.h"
#include "providers/desktop/jet/date_literal.h"
#include "providers/desktop/jet/syntax_error.h"
#include "providers/desktop/jet/tokens.h"

namespace quarno::desktop::convert {
namespace {

using access::ColumnType;

constexpr std::ptrdiff_t kExactDigits = 15;  // what a double surely holds

// In functions and operators that mean the same to the engine alone, so that other programs can add rows too,
// and to a session here, where hex(), "/" and "+" do not. 2415018.5 is day 0 of the dates; the seconds of the
// day are counted apart from it, because such a number of days has no room for them.
constexpr const char* kToday = "(julianday(date('now', 'localtime')) - 2415018.5)";
constexpr const char* kNow =
    "(julianday(date('now', 'localtime')) - 2415018.5 - "
    "(strftime('%s', 'now', 'localtime', 'start of day') - strftime('%s', 'now', 'localtime')) * "
    "1.1574074074074073e-05)";
constexpr const char* kNewGuid =
    "(printf('{%s-%s-4%s-8%s-%s}', substr(printf('%016X', random()), 1, 8), "
    "substr(printf('%016X', random()), 1, 4), substr(printf('%016X', random()), 1, 3), "
    "substr(printf('%016X', random()), 1, 3), substr(printf('%016X', random()), 1, 12)))";

bool is_text(ColumnType type) { return type == ColumnType::text || type == ColumnType::memo; }

bool is_number(ColumnType type) {
  switch (type) {
    case ColumnType::byte:
    case ColumnType::integer:
    case ColumnType::long_integer:
    case ColumnType::currency:
    case ColumnType::single:
    case ColumnType::real:
    case ColumnType::decimal:
    case ColumnType::big_integer: return true;
    default: return false;
  }
}

bool is_date(ColumnType type) { return type == ColumnType::date || type == ColumnType::extended_date; }

bool is_one_of(std::string_view word, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](const char* own) { return text::equal_fold(word, own); });
}

// A number that is written with "." and that a double holds.
std::optional<double> number(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  const auto digits = std::count_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  const bool whole_text = read.ec == std::errc() && read.ptr == text.data() + text.size();
  if (!whole_text || digits == 0 || digits > kExactDigits) return std::nullopt;
  return value;
}

std::string number_text(double value) {
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr};
}

std::optional<std::string> default_of_text(ColumnType type, std::string_view value) {
  if (is_text(type) || type == ColumnType::guid) return jet::quoted_text(value);
  if (is_number(type)) {
    if (const auto read = number(text::trim(value))) return number_text(*read);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> default_text(const access::Column& column) {
  const ColumnType type = column.type;
  std::string_view value = text::trim(column.default_value);
  if (value.starts_with('=')) value = text::trim(value.substr(1));
  if (is_one_of(value, {"GenGUID()"}) && (type == ColumnType::guid || is_text(type))) return kNewGuid;
  if (column.is_autonumber || column.is_calculated) {
    return value.empty() ? std::optional<std::string>("") : std::nullopt;
  }
  // Such a column is never null.
  if (value.empty()) return type == ColumnType::boolean ? "0" : "";
  if (value.find('\0') != std::string_view::npos) return std::nullopt;
  if (is_one_of(value, {"Null"})) return "";

  const bool is_true = is_one_of(value, {"True", "Yes", "On"});
  if (is_true || is_one_of(value, {"False", "No", "Off"})) {
    if (type == ColumnType::boolean || is_number(type)) return is_true ? "-1" : "0";
    return std::nullopt;
  }
  if (is_one_of(value, {"Now()", "Now"}) && is_date(type)) return kNow;
  if (is_one_of(value, {"Date()", "Date"}) && is_date(type)) return kToday;
  if (const auto read = number(value)) {
    if (type == ColumnType::boolean) return *read != 0 ? "-1" : "0";
    if (is_number(type) || is_date(type)) return number_text(*read);
    if (is_text(type)) return jet::quoted_text(value);
    return std::nullopt;
  }
  std::vector<jet::Token> tokens;
  try {
    tokens = jet::tokens_of(value);
  } catch (const jet::SyntaxError&) {
    return std::nullopt;
  }
  if (tokens.size() != 2) return std::nullopt;
  const jet::Token& token = tokens.front();
  switch (token.kind) {
    case jet::Token::Kind::text:
    case jet::Token::Kind::double_quoted: return default_of_text(type, jet::text_value(token.text));
    case jet::Token::Kind::date: {
      const auto date = jet::date_literal(token.text.substr(1, token.text.size() - 2));
      if (!date || !is_date(type)) return std::nullopt;
      return number_text(date->days);
    }
    default: return std::nullopt;
  }
}

}  // namespace quarno::desktop::convert
