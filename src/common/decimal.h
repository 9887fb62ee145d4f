// Exact numbers: Currency (64 bits, four decimals) and Decimal (96 bits, 0 to 28 decimals).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quarno {

/// A sign, a 96-bit whole number and a power of ten: value = (negative ? -1 : 1) * mantissa / 10^scale.
class Decimal {
 public:
  static constexpr int kMaxScale = 28;

  Decimal() = default;
  Decimal(std::int64_t whole);
  /// `high` holds bits 64 to 95, `low` the rest; `scale` 0 to 28.
  Decimal(bool negative, std::uint32_t high, std::uint64_t low, std::uint8_t scale)
      : low_(low), high_(high), scale_(scale), negative_(negative) {}

  /// Reads an optional sign, digits with at most one ".", and an optional exponent. Decimals beyond what 96
  /// bits and 28 places can hold are rounded half to even; nothing when the text is no such number or too
  /// large.
  static std::optional<Decimal> parse(std::string_view text);
  /// The shortest decimal number that reads back as `value`; nothing when it is not finite or too large.
  static std::optional<Decimal> from_double(double value);

  /// All digits with "." as the decimal sign; as many decimals as scale().
  std::string text() const;
  double to_double() const;
  /// The same value with exactly `scale` decimals, rounded half to even; nothing when it no longer fits.
  std::optional<Decimal> rescaled(int scale) const;

  bool negative() const { return negative_; }
  std::uint32_t high() const { return high_; }
  std::uint64_t low() const { return low_; }
  std::uint8_t scale() const { return scale_; }
  /// Same value, whatever the scales: 1.5 equals 1.50.
  friend bool operator==(const Decimal& a, const Decimal& b) { return compare(a, b) == 0; }
  /// Negative, 0 or positive, by value.
  friend int compare(const Decimal& a, const Decimal& b);

 private:
  std::uint64_t low_ = 0;
  std::uint32_t high_ = 0;
  std::uint8_t scale_ = 0;
  bool negative_ = false;
};

/// A number of ten-thousandths: about ±922 337 203 685 477.5807.
struct Currency {
  std::int64_t scaled = 0;  // value * 10000

  static std::optional<Currency> from_decimal(const Decimal& value);
  /// The amount whose nearest double this is, of up to 15 digits; nothing where that is not sure.
  static std::optional<Currency> exactly(double value);
  Decimal to_decimal() const;
  /// Without trailing zeros: "12.5", "-3".
  std::string text() const;
  friend auto operator<=>(const Currency&, const Currency&) = default;
};

}  // namespace quarno
