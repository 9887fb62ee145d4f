#include "common/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "common/error.h"
#include "common/text.h"

namespace quarno {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

template <class T>
std::string shortest_text(T value, std::string_view decimal) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
  if (value == 0) return "0";
  std::array<char, 48> buffer;
  const auto end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::scientific);
  const std::string_view written(buffer.data(), static_cast<std::size_t>(end.ptr - buffer.data()));

  const auto e_at = written.find('e');
  const bool negative = written.front() == '-';
  std::string digits;
  for (const char c : written.substr(0, e_at)) {
    if (is_digit(c)) digits.push_back(c);
  }
  std::string_view exponent_text = written.substr(e_at + 1);
  if (exponent_text.front() == '+') exponent_text.remove_prefix(1);
  int exponent = 0;
  std::from_chars(exponent_text.data(), exponent_text.data() + exponent_text.size(), exponent);

  std::string result = negative ? "-" : "";
  const int count = static_cast<int>(digits.size());
  const bool fits_fifteen_decimals = count - 1 - exponent <= 15;
  if (exponent >= 15 || (exponent < -5 && !fits_fifteen_decimals)) {
    result.append(digits, 0, 1);
    if (count > 1) result.append(decimal).append(digits, 1);
    const int magnitude = std::abs(exponent);
    result.append(exponent < 0 ? "E-" : "E+")
        .append(magnitude < 10 ? "0" : "")
        .append(std::to_string(magnitude));
  } else if (exponent < 0) {
    result.append("0").append(decimal).append(static_cast<std::size_t>(-exponent) - 1, '0').append(digits);
  } else {
    const auto whole = static_cast<std::size_t>(exponent) + 1;
    if (digits.size() < whole) digits.append(whole - digits.size(), '0');
    result.append(digits, 0, whole);
    if (digits.size() > whole) result.append(decimal).append(digits, whole);
  }
  return result;
}

// &H1F and &O17, as 16-bit signed numbers when they fit and do not end with "&", else as 32-bit ones; nothing
// when it is no such text. What follows the digits is refused, unless only the beginning counts.
std::optional<double> parse_radix(std::string_view text, bool beginning_only = false) {
  if (text.size() < 3 || text[0] != '&') return std::nullopt;
  const char kind = text[1];
  const int base = kind == 'H' || kind == 'h' ? 16 : kind == 'O' || kind == 'o' ? 8 : 0;
  if (base == 0) return std::nullopt;
  text.remove_prefix(2);
  std::uint32_t value = 0;
  const char* const limit = text.data() + text.size();
  const auto [end, status] = std::from_chars(text.data(), limit, value, base);
  if (status != std::errc()) return std::nullopt;
  const bool wide = end != limit && *end == '&';
  if (!beginning_only && end + (wide ? 1 : 0) != limit) return std::nullopt;
  if (!wide && value <= 0xFFFF) return static_cast<double>(static_cast<std::int16_t>(value));
  return static_cast<double>(static_cast<std::int32_t>(value));
}

}  // namespace

std::string general_text(double value, const LocaleInfo& locale) {
  return shortest_text(value, locale.decimal);
}
std::string general_text(float value, const LocaleInfo& locale) {
  return shortest_text(value, locale.decimal);
}

std::string invariant_text(double value) {
  std::string result = shortest_text(value, ".");
  const std::size_t sign = result.front() == '-' ? 1 : 0;
  if (result.compare(sign, 2, "0.") == 0) result.erase(sign, 1);
  return result;
}

std::optional<std::string> invariant_number(std::string_view text, const LocaleInfo& locale) {
  text = text::trim(text);
  std::string result;
  std::size_t i = 0;
  const auto starts = [&](std::string_view sign) {
    return !sign.empty() && text.substr(i, sign.size()) == sign;
  };
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    if (text[i] == '-') result.push_back('-');
    ++i;
  }
  bool any_digit = false;
  bool after_decimal = false;
  while (i < text.size()) {
    if (is_digit(text[i])) {
      any_digit = true;
      result.push_back(text[i++]);
    } else if (!after_decimal && starts(locale.decimal)) {
      after_decimal = true;
      result.push_back('.');
      i += locale.decimal.size();
    } else if (!after_decimal && starts(locale.group)) {
      i += locale.group.size();
    } else {
      break;
    }
  }
  if (!any_digit) return std::nullopt;
  if (i == text.size()) return result;
  if (std::string_view("eEdD").find(text[i]) == std::string_view::npos) return std::nullopt;
  result.push_back('e');
  if (++i < text.size() && (text[i] == '-' || text[i] == '+')) result.push_back(text[i++]);
  const std::string_view exponent = text.substr(i);
  if (exponent.empty() || exponent.find_first_not_of("0123456789") != std::string_view::npos)
    return std::nullopt;
  return result.append(exponent);
}

std::optional<double> parse_number(std::string_view text, const LocaleInfo& locale) {
  if (const auto radix = parse_radix(text::trim(text))) return radix;
  const auto plain = invariant_number(text, locale);
  if (!plain) return std::nullopt;
  double value = 0;
  const auto [end, status] = std::from_chars(plain->data(), plain->data() + plain->size(), value);
  // A number too small for a double is zero; one too large is no number.
  if (status == std::errc::result_out_of_range && plain->find("e-") != std::string::npos) return 0.0;
  if (status != std::errc() || end != plain->data() + plain->size()) return std::nullopt;
  return value;
}

double leading_number(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\n') continue;
    plain.push_back(c);
    if (plain.size() > 400) break;
  }
  if (const auto radix = parse_radix(plain, true)) return *radix;
  std::replace_if(
      plain.begin(), plain.end(), [](char c) { return c == 'd' || c == 'D'; }, 'e');
  const std::size_t start = !plain.empty() && plain.front() == '+' ? 1 : 0;
  const std::size_t first = plain.starts_with('-') ? 1 : start;
  // from_chars would also take "inf" and "nan".
  if (first >= plain.size() || !(is_digit(plain[first]) || plain[first] == '.')) return 0;
  double value = 0;
  const auto result = std::from_chars(plain.data() + start, plain.data() + plain.size(), value);
  const bool too_large = result.ec == std::errc::result_out_of_range && plain.find("e-") == std::string::npos;
  if (too_large) throw run_time_error(RunTime::overflow);
  return result.ec == std::errc() ? value : 0;
}

}  // namespace quarno
