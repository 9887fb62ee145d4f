#include "common/decimal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace quarno {
namespace {

__extension__ typedef unsigned __int128 Wide;

constexpr Wide kMaxMantissa = (Wide{0xFFFFFFFFu} << 64) | Wide{std::numeric_limits<std::uint64_t>::max()};

Wide mantissa(const Decimal& d) { return (Wide{d.high()} << 64) | d.low(); }

Decimal build(bool negative, Wide value, int scale) {
  return {negative && value != 0, static_cast<std::uint32_t>(value >> 64), static_cast<std::uint64_t>(value),
          static_cast<std::uint8_t>(scale)};
}

std::string digits_of(Wide value) {
  std::string digits;
  do {
    digits.push_back(static_cast<char>('0' + static_cast<int>(value % 10)));
    value /= 10;
  } while (value != 0);
  std::reverse(digits.begin(), digits.end());
  return digits;
}

// Whether a decimal number "kept.dropped" rounds up: half goes to the even neighbour.
bool rounds_up(bool last_kept_is_odd, std::string_view dropped) {
  if (dropped.empty() || dropped.front() < '5') return false;
  if (dropped.front() > '5' || dropped.find_first_not_of('0', 1) != std::string_view::npos) return true;
  return last_kept_is_odd;
}

// `digits` without sign or point, `scale` of them decimals (negative: zeros follow). Rounds to what fits.
std::optional<Decimal> from_digits(bool negative, std::string digits, int scale) {
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.empty()) return build(false, 0, std::clamp(scale, 0, Decimal::kMaxScale));
  if (scale < 0) {
    if (scale < -Decimal::kMaxScale - 1) return std::nullopt;
    digits.append(static_cast<std::size_t>(-scale), '0');
    scale = 0;
  }
  for (int keep = std::min(scale, Decimal::kMaxScale); keep >= 0; --keep) {
    const auto dropped_count = static_cast<std::size_t>(scale - keep);
    const std::size_t kept_count = digits.size() > dropped_count ? digits.size() - dropped_count : 0;
    if (kept_count > 29) continue;
    Wide value = 0;
    for (std::size_t i = 0; i < kept_count; ++i) value = value * 10 + static_cast<unsigned>(digits[i] - '0');
    // Digits above the point that are all dropped stand behind implied zeros.
    const std::string dropped =
        std::string(dropped_count > digits.size() ? dropped_count - digits.size() : 0, '0') +
        digits.substr(kept_count);
    if (rounds_up(value % 2 == 1, dropped)) ++value;
    if (value <= kMaxMantissa) return build(negative, value, keep);
  }
  return std::nullopt;
}

}  // namespace

Decimal::Decimal(std::int64_t whole)
    : low_(whole < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(whole)
                     : static_cast<std::uint64_t>(whole)),
      negative_(whole < 0) {}

std::optional<Decimal> Decimal::parse(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  std::string digits;
  int scale = 0;
  bool after_point = false;
  std::size_t i = 0;
  for (; i < text.size() && text[i] != 'e' && text[i] != 'E'; ++i) {
    if (text[i] == '.' && !after_point) {
      after_point = true;
    } else if (text[i] >= '0' && text[i] <= '9') {
      digits.push_back(text[i]);
      if (after_point) ++scale;
    } else {
      return std::nullopt;
    }
  }
  // More digits than any Decimal holds cannot matter beyond rounding, and would make this loop quadratic.
  if (digits.empty() || digits.size() > 400) return std::nullopt;
  if (i < text.size()) {
    std::string_view exponent_text = text.substr(i + 1);
    // from_chars knows "-" alone, and "+-5" is no exponent.
    if (exponent_text.starts_with('+') && !exponent_text.starts_with("+-")) exponent_text.remove_prefix(1);
    int exponent = 0;
    const char* const end = exponent_text.data() + exponent_text.size();
    const auto result = std::from_chars(exponent_text.data(), end, exponent);
    if (result.ec != std::errc() || result.ptr != end || exponent < -400 || exponent > 400)
      return std::nullopt;
    scale -= exponent;
  }
  return from_digits(negative, std::move(digits), scale);
}

std::optional<Decimal> Decimal::from_double(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  std::array<char, 40> buffer;
  const auto end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::scientific);
  return parse({buffer.data(), static_cast<std::size_t>(end.ptr - buffer.data())});
}

std::string Decimal::text() const {
  std::string digits = digits_of(mantissa(*this));
  if (scale_ > 0) {
    if (digits.size() <= scale_) digits.insert(0, scale_ + 1u - digits.size(), '0');
    digits.insert(digits.size() - scale_, ".");
  }
  return negative_ ? "-" + digits : digits;
}

double Decimal::to_double() const {
  // Through the digits, because the two roundings of mantissa / 10^scale can miss the nearest double.
  const std::string digits = text();
  double value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

std::optional<Decimal> Decimal::rescaled(int scale) const {
  Wide value = mantissa(*this);
  if (scale >= scale_) {
    for (int i = scale_; i < scale; ++i) {
      if (value > kMaxMantissa / 10) return std::nullopt;
      value *= 10;
    }
    return build(negative_, value, scale);
  }
  Wide power = 1;
  for (int i = scale; i < scale_; ++i) power *= 10;
  const Wide rest = value % power;
  value /= power;
  if (rest * 2 > power || (rest * 2 == power && value % 2 == 1)) ++value;
  return build(negative_, value, scale);
}

int compare(const Decimal& a, const Decimal& b) {
  const int scale = std::max<int>(a.scale_, b.scale_);
  const auto left = a.rescaled(scale);
  const auto right = b.rescaled(scale);
  // One that cannot take the other's scale is far larger in magnitude than anything that has it.
  if (!left || !right) return a.to_double() < b.to_double() ? -1 : 1;
  if (left->negative_ != right->negative_) return left->negative_ ? -1 : 1;
  const Wide x = mantissa(*left);
  const Wide y = mantissa(*right);
  const int magnitude = x < y ? -1 : (x > y ? 1 : 0);
  return left->negative_ ? -magnitude : magnitude;
}

std::optional<Currency> Currency::exactly(double value) {
  const double scaled = std::nearbyint(value * 10000);
  if (!(std::fabs(scaled) < 1e15) || scaled / 10000 != value) return std::nullopt;
  return Currency{static_cast<std::int64_t>(scaled)};
}

std::optional<Currency> Currency::from_decimal(const Decimal& value) {
  const auto fixed = value.rescaled(4);
  if (!fixed) return std::nullopt;
  const Wide magnitude = mantissa(*fixed);
  constexpr Wide kLimit = Wide{1} << 63;
  if (magnitude > kLimit || (magnitude == kLimit && !fixed->negative())) return std::nullopt;
  const auto bits = static_cast<std::uint64_t>(magnitude);
  return Currency{static_cast<std::int64_t>(fixed->negative() ? std::uint64_t{0} - bits : bits)};
}

Decimal Currency::to_decimal() const {
  const Decimal whole(scaled);
  return {whole.negative(), 0, whole.low(), 4};
}

std::string Currency::text() const {
  std::string digits = to_decimal().text();
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return digits;
}

}  // namespace quarno
