// Operators the engine lacks or gives another meaning, and functions whose names its grammar keeps. A null
// operand gives null; so does a division by zero (see functions.h).
#include <cmath>

#include "common/convert.h"
#include "common/exact_sum.h"
#include "common/text.h"
#include "platform/locale.h"
#include "providers/desktop/functions/call.h"

namespace quarno::desktop {
namespace {

Variant joined(const Arguments& args) {
  if (args.is_null(0) && args.is_null(1)) return Variant::null();
  std::string result = args.is_null(0) ? std::string() : args.text(0);
  if (!args.is_null(1)) result += args.text(1);
  return result;
}

Variant exact_sum(const Variant& a, const Variant& b) {
  const LocaleInfo& locale = platform::locale();
  ExactSum sum;
  sum.add(to_decimal(a, locale));
  sum.add(to_decimal(b, locale));
  const auto result = sum.result();
  if (!result) throw run_time_error(RunTime::overflow);
  return *result;
}

Variant added(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  if (args.is_text(0) && args.is_text(1)) return joined(args);
  const Variant a = args.value(0);
  const Variant b = args.value(1);
  if (a.get_if<Decimal>() != nullptr || b.get_if<Decimal>() != nullptr) return exact_sum(a, b);
  const auto* x = a.get_if<std::int64_t>();
  const auto* y = b.get_if<std::int64_t>();
  std::int64_t whole = 0;
  if (x != nullptr && y != nullptr && !__builtin_add_overflow(*x, *y, &whole)) return whole;
  return args.number(0) + args.number(1);
}

Variant divided(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const double divisor = args.number(1);
  const double dividend = args.number(0);
  return divisor == 0 ? Variant::null() : Variant(dividend / divisor);
}

template <class Divide>
Variant whole_division(const Arguments& args, Divide&& divide) {
  if (args.any_null()) return Variant::null();
  const LocaleInfo& locale = platform::locale();
  const std::int64_t dividend = to_int64(args.value(0), locale);
  const std::int64_t divisor = to_int64(args.value(1), locale);
  return divisor == 0 ? Variant::null() : Variant(divide(dividend, divisor));
}

Variant int_divided(const Arguments& args) {
  return whole_division(args, [](std::int64_t a, std::int64_t b) {
    if (a == INT64_MIN && b == -1) throw run_time_error(RunTime::overflow);
    return a / b;
  });
}

Variant remainder(const Arguments& args) {
  // The processor would stop at the smallest number and -1.
  return whole_division(args, [](std::int64_t a, std::int64_t b) { return b == -1 ? 0 : a % b; });
}

Variant power(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const double base = args.number(0);
  const double exponent = args.number(1);
  const bool has_none = (base < 0 && std::trunc(exponent) != exponent) || (base == 0 && exponent < 0);
  if (has_none) refuse();
  return std::pow(base, exponent);
}

std::size_t length_argument(const Arguments& args) {
  const std::int32_t count = args.whole(1);
  if (count < 0) refuse();
  return static_cast<std::size_t>(count);
}

Variant left(const Arguments& args) {
  const std::size_t count = length_argument(args);
  if (args.is_null(0)) return Variant::null();
  return text::left(args.text(0), count);
}

Variant right(const Arguments& args) {
  const std::size_t count = length_argument(args);
  if (args.is_null(0)) return Variant::null();
  const std::string whole = args.text(0);
  const std::size_t length = text::length(whole);
  if (length <= count) return whole;
  return whole.substr(text::left(whole, length - count).size());
}

constexpr Function kFunctions[] = {
    {"jet_cat", 2, 2, entry<joined>},    {"jet_add", 2, 2, entry<added>},
    {"jet_div", 2, 2, entry<divided>},   {"jet_int_div", 2, 2, entry<int_divided>},
    {"jet_mod", 2, 2, entry<remainder>}, {"jet_power", 2, 2, entry<power>},
    {"jet_left", 2, 2, entry<left>},     {"jet_right", 2, 2, entry<right>},
};

}  // namespace

std::span<const Function> operator_functions() { return kFunctions; }

}  // namespace quarno::desktop
