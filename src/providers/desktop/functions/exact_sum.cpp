#include "providers/desktop/functions/exact_sum.h"

#include <algorithm>
#include <string>

namespace quarno::desktop {
namespace {

__extension__ typedef unsigned __int128 Wide;
using Limbs = std::array<std::uint64_t, 4>;

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

}  // namespace

void ExactSum::put(const Decimal& value, bool negative) {
  Limbs term = {value.low(), value.high(), 0, 0};
  for (int i = value.scale(); i < Decimal::kMaxScale; ++i) multiply(term, 10);
  if (negative) negate(term);
  Wide carry = 0;
  for (std::size_t i = 0; i < limbs_.size(); ++i) {
    carry += Wide{limbs_[i]} + term[i];
    limbs_[i] = static_cast<std::uint64_t>(carry);
    carry >>= 64;
  }
}

std::optional<Decimal> ExactSum::result(std::uint64_t count) const {
  Limbs rest = limbs_;
  const bool negative = (rest[3] >> 63) != 0;
  if (negative) negate(rest);
  // What falls below the last of 28 decimals goes to the nearer one.
  if (count > 1 && divide(rest, count) >= count - count / 2) {
    for (std::uint64_t& limb : rest) {
      if (++limb != 0) break;
    }
  }
  std::string digits;
  while (!is_zero(rest)) digits.push_back(static_cast<char>('0' + divide(rest, 10)));
  digits.resize(std::max<std::size_t>(digits.size(), Decimal::kMaxScale + 1), '0');
  std::reverse(digits.begin(), digits.end());
  digits.insert(digits.size() - Decimal::kMaxScale, 1, '.');
  while (digits.back() == '0') digits.pop_back();
  if (digits.back() == '.') digits.pop_back();
  return Decimal::parse(negative ? "-" + digits : digits);
}

}  // namespace quarno::desktop
