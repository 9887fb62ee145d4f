// Sums of exact numbers, without a rounding: 256 bits hold every Decimal with 28 decimals, and the sum of
// more of them than there are rows. Plain data, all zero bits are a sum of nothing. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "common/decimal.h"

namespace quarno {

class ExactSum {
 public:
  void add(const Decimal& value) { put(value, value.negative()); }
  void subtract(const Decimal& value) { put(value, !value.negative()); }
  /// The sum divided by `count`, rounded half to even and only once: to that many decimals, 0 to 28, or to
  /// fewer where a Decimal has no room for them. Without a number of decimals it has those that say
  /// something. Nothing when it is too large.
  std::optional<Decimal> result(std::uint64_t count = 1, std::optional<int> decimals = {}) const;

 private:
  using Limbs = std::array<std::uint64_t, 4>;  // lowest first, two's complement, in units of 10^-28
  void put(const Decimal& value, bool negative);

  Limbs limbs_{};
};

}  // namespace quarno
