#include "common/exact_sum.h"

#include <algorithm>
#include <string>

namespace quarno {
namespace {

__extension__ typedef unsigned __int128 Wide;
using Limbs = std::array<std::uint64_t, 4>;

// As many digits as a limb takes at once.
constexpr int kMostDigits = 19;
constexpr auto kPowersOfTen = [] {
  std::array<std::uint64_t, kMostDigits + 1> result{1};
  for (std::size_t i = 1; i < result.size(); ++i) result[i] = result[i - 1] * 10;
  return result;
}();

void multiply(Limbs& limbs, std::uint64_t factor) {
  Wide carry = 0;
  for (std::uint64_t& limb : limbs) {
    carry += Wide{limb} * factor;
    limb = static_cast<std::uint64_t>(carry);
    carry >>= 64;
  }
}

// Divides in place; the remainder.
std::uint64_t divide(Limbs& limbs, std::uint64_t divisor) {
  Wide rest = 0;
  for (std::size_t i = limbs.size(); i-- > 0;) {
    rest = (rest << 64) | limbs[i];
    limbs[i] = static_cast<std::uint64_t>(rest / divisor);
    rest %= divisor;
  }
  return static_cast<std::uint64_t>(rest);
}

void negate(Limbs& limbs) {
  bool carry = true;
  for (std::uint64_t& limb : limbs) {
    limb = ~limb + (carry ? 1 : 0);
    carry = carry && limb == 0;
  }
}

bool is_zero(const Limbs& limbs) { return limbs == Limbs{}; }

// A digit for all that a division left: rounding asks only whether it is nothing, less than half, half or
// more.
char digit_for(std::uint64_t rest, std::uint64_t divisor) {
  if (rest == 0) return '0';
  const std::uint64_t missing = divisor - rest;
  return rest < missing ? '1' : (rest == missing ? '5' : '9');
}

}  // namespace

void ExactSum::put(const Decimal& value, bool negative) {
  Limbs term = {value.low(), value.high(), 0, 0};
  for (int more = Decimal::kMaxScale - value.scale(); more > 0; more -= kMostDigits) {
    multiply(term, kPowersOfTen[static_cast<std::size_t>(std::min(more, kMostDigits))]);
  }
  if (negative) negate(term);
  Wide carry = 0;
  for (std::size_t i = 0; i < limbs_.size(); ++i) {
    carry += Wide{limbs_[i]} + term[i];
    limbs_[i] = static_cast<std::uint64_t>(carry);
    carry >>= 64;
  }
}

std::optional<Decimal> ExactSum::result(std::uint64_t count, std::optional<int> decimals) const {
  Limbs rest = limbs_;
  const bool negative = (rest[3] >> 63) != 0;
  if (negative) negate(rest);
  std::string digits(1, digit_for(divide(rest, count), count));
  while (!is_zero(rest)) digits.push_back(static_cast<char>('0' + divide(rest, 10)));
  if (negative) digits.push_back('-');
  std::reverse(digits.begin(), digits.end());
  int scale = Decimal::kMaxScale + 1;
  for (; !decimals && scale > 0 && digits.back() == '0'; --scale) {
    if (digits.size() > 1) digits.pop_back();
  }
  // Shifted so far to the right, a Decimal's last place is the last one wanted.
  const int shift = Decimal::kMaxScale - decimals.value_or(Decimal::kMaxScale);
  const auto shifted = Decimal::parse(digits + "e-" + std::to_string(scale + shift));
  if (!shifted || shifted->scale() < shift) return std::nullopt;
  return Decimal(shifted->negative(), shifted->high(), shifted->low(),
                 static_cast<std::uint8_t>(shifted->scale() - shift));
}

}  // namespace quarno
