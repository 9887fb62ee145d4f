#include "providers/desktop/dbase/values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "common/date.h"
#include "common/error.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::array<double, 19> kPowersOfTen = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
                                                 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};
constexpr std::uint64_t kExact = std::uint64_t{1} << 53;  // whole numbers up to here are doubles

bool is_padding(char c) { return c == ' ' || c == '\0'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Everything but digits and a point within a double's exact range.
std::optional<double> read_any_number(std::string_view digits) {
  if (digits.starts_with('+')) digits.remove_prefix(1);
  double value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) return std::nullopt;
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

// Days of the proleptic Gregorian calendar; the year begins in March, so that the leap day comes last.
int days_from_civil(int year, int month, int day) {
  const int from_march = month > 2 ? month - 3 : month + 9;
  if (month <= 2) --year;
  const int era = year / 400;
  const int year_of_era = year - era * 400;
  const int day_of_year = (153 * from_march + 2) / 5 + day - 1;
  const int day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  constexpr int kDayZero = 693899;  // 30 December 1899, counted from 1 March 0
  return era * 146097 + day_of_era - kDayZero;
}

int days_in(int month, int year) {
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

bool write_right(std::span<char> field, std::string_view digits) {
  // A zero before the point is given up when its place is needed.
  std::array<char, 512> shorter;
  if (digits.size() == field.size() + 1) {
    const std::size_t zero = digits.starts_with('-') ? 1 : 0;
    if (digits.substr(zero).starts_with("0.") && digits.size() <= shorter.size()) {
      std::copy(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(zero), shorter.begin());
      std::copy(digits.begin() + static_cast<std::ptrdiff_t>(zero) + 1, digits.end(),
                shorter.begin() + static_cast<std::ptrdiff_t>(zero));
      digits = {shorter.data(), digits.size() - 1};
    }
  }
  if (digits.size() > field.size()) return false;
  const std::size_t blanks = field.size() - digits.size();
  std::fill_n(field.begin(), blanks, ' ');
  std::copy(digits.begin(), digits.end(), field.begin() + static_cast<std::ptrdiff_t>(blanks));
  return true;
}

}  // namespace

std::string_view read_text(std::string_view field) {
  if (const void* end = field.empty() ? nullptr : std::memchr(field.data(), '\0', field.size())) {
    field = field.substr(0, static_cast<std::size_t>(static_cast<const char*>(end) - field.data()));
  }
  std::size_t size = field.size();
  constexpr std::uint64_t kBlanks = 0x2020202020202020u;
  for (std::uint64_t word = 0; size >= 8; size -= 8) {
    std::memcpy(&word, field.data() + size - 8, 8);
    if (word != kBlanks) break;
  }
  while (size > 0 && field[size - 1] == ' ') --size;
  return field.substr(0, size);
}

std::optional<double> read_number(std::string_view field) {
  const char* at = field.data();
  const char* end = at + field.size();
  while (at != end && is_padding(*at)) ++at;
  while (at != end && is_padding(end[-1])) --end;
  if (at == end) return std::nullopt;
  const std::string_view whole(at, static_cast<std::size_t>(end - at));
  const bool negative = *at == '-';
  if (negative) ++at;
  std::uint64_t mantissa = 0;
  std::size_t digits = 0;
  std::size_t decimals = 0;
  bool point = false;
  for (; at != end; ++at) {
    if (is_digit(*at)) {
      mantissa = mantissa * 10 + static_cast<std::uint64_t>(*at - '0');
      ++digits;
      decimals += point ? 1 : 0;
    } else if (*at == '.' && !point) {
      point = true;
    } else {
      return read_any_number(whole);
    }
  }
  if (digits == 0) return std::nullopt;
  if (digits > 18 || mantissa > kExact) return read_any_number(whole);
  // Both are exact, so their quotient is the nearest double.
  const double value = static_cast<double>(mantissa) / kPowersOfTen[decimals];
  return negative ? -value : value;
}

std::optional<double> read_date(std::string_view field) {
  if (field.size() < 8) return std::nullopt;
  std::array<int, 8> digits{};
  for (std::size_t i = 0; i < 8; ++i) {
    if (!is_digit(field[i])) return std::nullopt;
    digits[i] = field[i] - '0';
  }
  const int year = digits[0] * 1000 + digits[1] * 100 + digits[2] * 10 + digits[3];
  const int month = digits[4] * 10 + digits[5];
  const int day = digits[6] * 10 + digits[7];
  if (year < 100 || month < 1 || month > 12 || day < 1 || day > days_in(month, year)) return std::nullopt;
  return days_from_civil(year, month, day);
}

std::optional<bool> read_logical(std::string_view field) {
  if (field.empty()) return std::nullopt;
  switch (field.front()) {
    case 'T':
    case 't':
    case 'Y':
    case 'y': return true;
    case 'F':
    case 'f':
    case 'N':
    case 'n': return false;
    default: return std::nullopt;
  }
}

std::uint64_t read_block_number(std::string_view field) {
  std::uint64_t number = 0;
  for (const char c : field) {
    if (is_padding(c)) continue;
    if (!is_digit(c) || number > UINT32_MAX) return 0;
    number = number * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return number;
}

bool write_text(std::span<char> field, std::string_view bytes) {
  // Blanks at the end are padding, so they need no room of their own.
  while (bytes.size() > field.size() && bytes.back() == ' ') bytes.remove_suffix(1);
  if (bytes.size() > field.size()) return false;
  std::fill(std::copy(bytes.begin(), bytes.end(), field.begin()), field.end(), ' ');
  return true;
}

bool write_number(std::span<char> field, double value, int decimals) {
  std::array<char, 512> text;  // the largest double has 309 digits before the point
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
  if (!std::isfinite(value) || result.ec != std::errc()) return false;
  std::string_view digits(text.data(), static_cast<std::size_t>(result.ptr - text.data()));
  const bool is_zero = digits.find_first_not_of("-0.") == std::string_view::npos;
  if (is_zero && digits.starts_with('-')) digits.remove_prefix(1);
  return write_right(field, digits);
}

bool write_number(std::span<char> field, std::int64_t value, int decimals) {
  std::array<char, 300> text;
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  char* end = result.ptr;
  if (decimals > 0) {
    *end++ = '.';
    end = std::fill_n(end, decimals, '0');
  }
  return write_right(field, {text.data(), static_cast<std::size_t>(end - text.data())});
}

bool write_date(std::span<char> field, double days) {
  // Day -1.25 is a moment of day -1: the whole part names the day on both sides of day 0.
  const double day = std::trunc(days);
  if (!(day >= kFirstDay && day < kLastDay) || field.size() < 8) return false;
  const CivilTime civil = civil_from_date(Date{day});
  int number = civil.year * 10000 + civil.month * 100 + civil.day;
  std::fill(field.begin(), field.end(), ' ');
  for (std::size_t i = 8; i-- > 0; number /= 10) field[i] = static_cast<char>('0' + number % 10);
  return true;
}

bool write_block_number(std::span<char> field, std::uint64_t number) {
  std::array<char, 20> text;
  const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
  return write_right(field, {text.data(), static_cast<std::size_t>(result.ptr - text.data())});
}

}  // namespace quarno::desktop::dbase
