#include "providers/desktop/access/values.h"

#include <charconv>
#include <cmath>

#include "common/date.h"

namespace quarno::desktop::access {

std::size_t size_of(ColumnType type) {
  switch (type) {
    case ColumnType::byte: return 1;
    case ColumnType::integer: return 2;
    case ColumnType::long_integer:
    case ColumnType::single:
    case ColumnType::complex: return 4;
    case ColumnType::currency:
    case ColumnType::real:
    case ColumnType::date:
    case ColumnType::big_integer: return 8;
    case ColumnType::guid: return 16;
    case ColumnType::decimal: return 17;
    case ColumnType::extended_date: return 42;
    default: return 0;
  }
}

std::optional<double> date_value(double days) {
  if (!std::isfinite(days) || days < kFirstDay || days >= kLastDay) return std::nullopt;
  return days;
}

std::optional<double> extended_date_value(Bytes bytes) {
  constexpr std::size_t kDigits = 19;
  constexpr std::int64_t kZeroDay = 693593;  // 30 December 1899, counted from 1 January 1
  constexpr double kTicks = 864e9;           // of a day
  const std::string_view text = bytes.text();
  std::int64_t days = 0;
  std::int64_t ticks = 0;
  if (text.size() < 2 * kDigits + 1 || text[kDigits] != ':') return std::nullopt;
  const auto read = [&](std::size_t at, std::int64_t& value) {
    const char* const end = text.data() + at + kDigits;
    const auto result = std::from_chars(text.data() + at, end, value);
    return result.ec == std::errc() && result.ptr == end;
  };
  if (!read(0, days) || !read(kDigits + 1, ticks)) return std::nullopt;
  if (days < 0 || days > kZeroDay + static_cast<std::int64_t>(kLastDay) || ticks < 0) return std::nullopt;
  const double fraction = static_cast<double>(ticks) / kTicks;
  if (fraction >= 1) return std::nullopt;
  const auto whole = static_cast<double>(days - kZeroDay);
  return date_value(whole < 0 ? whole - fraction : whole + fraction);
}

std::optional<Decimal> decimal_value(Bytes bytes, std::uint8_t scale) {
  if (bytes.size() < 17 || scale > Decimal::kMaxScale) return std::nullopt;
  // The words go from the most significant one down, each of them little-endian.
  const auto word = [&](std::size_t i) { return little_endian::u32(bytes.data() + 1 + 4 * i); };
  if (word(0) != 0) return std::nullopt;
  return Decimal((little_endian::u8(bytes.data()) & 0x80) != 0, word(1),
                 std::uint64_t{word(2)} << 32 | word(3), scale);
}

std::optional<Decimal> calculated_decimal(Bytes bytes) {
  if (bytes.size() < 16) return std::nullopt;
  const std::uint8_t scale = little_endian::u8(bytes.data() + 2);
  if (scale > Decimal::kMaxScale) return std::nullopt;
  return Decimal((little_endian::u8(bytes.data() + 3) & 0x80) != 0, little_endian::u32(bytes.data() + 4),
                 little_endian::u64(bytes.data() + 8), scale);
}

void append_guid(std::string& text, Bytes bytes) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  constexpr std::size_t kOrder[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  text += '{';
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    const std::uint8_t byte = bytes.u8(kOrder[i]);
    text += kHex[byte >> 4];
    text += kHex[byte & 0xF];
  }
  text += '}';
}

Bytes unwrapped(Bytes field) { return field.part(20, field.u32(16)); }

}  // namespace quarno::desktop::access
