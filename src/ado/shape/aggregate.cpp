#include "ado/shape/aggregate.h"

#include <algorithm>
#include <cmath>

#include "ado/cursor/criteria.h"
#include "ado/shape/shape_error.h"
#include "common/convert.h"
#include "common/locale_info.h"

namespace quarno::ado::shape {
namespace {

__extension__ typedef __int128 Wide;
__extension__ typedef unsigned __int128 UnsignedWide;

// An average of exact numbers has at least so many decimals.
constexpr int kLeastDecimals = 6;

const LocaleInfo& invariant() {
  static const LocaleInfo locale;
  return locale;
}

bool is_number(DataType type) {
  switch (layout_of(type)) {
    case Layout::text:
    case Layout::bytes:
    case Layout::date:
    case Layout::any: return false;
    default: return true;
  }
}

bool is_exact(DataType type) {
  const Layout layout = layout_of(type);
  return layout == Layout::decimal || layout == Layout::currency || layout == Layout::int64;
}

bool times_ten_to(Wide& value, int power) {
  for (; power > 0; --power) {
    if (__builtin_mul_overflow(value, Wide{10}, &value)) return false;
  }
  return true;
}

Wide divided(Wide value, Wide by) {
  Wide quotient = value / by;
  const Wide rest = value % by < 0 ? -(value % by) : value % by;
  // Half goes to the even neighbour, as everywhere.
  const bool is_odd = quotient % 2 != 0;
  if (rest * 2 > by || (rest * 2 == by && is_odd)) quotient += value < 0 ? -1 : 1;
  return quotient;
}

std::optional<Decimal> decimal_of(Wide value, int scale) {
  const bool negative = value < 0;
  const UnsignedWide size = negative ? -static_cast<UnsignedWide>(value) : static_cast<UnsignedWide>(value);
  if ((size >> 96) != 0 || scale > Decimal::kMaxScale) return std::nullopt;
  return Decimal(negative, static_cast<std::uint32_t>(size >> 64), static_cast<std::uint64_t>(size),
                 static_cast<std::uint8_t>(scale));
}

}  // namespace

Column result_column(Function function, const Column* of) {
  Column result;
  result.attributes = adFldFixed | adFldIsNullable | adFldMayBeNull;
  result.type = DataType::real;
  result.defined_size = 8;
  if (function == Function::count) {
    result.type = DataType::integer;
    result.defined_size = 4;
    return result;
  }
  if (function == Function::min || function == Function::max || function == Function::any) {
    result.type = of->type;
    result.defined_size = of->defined_size;
    result.precision = of->precision;
    result.scale = of->scale;
    result.attributes = of->attributes & ~(adFldUpdatable | adFldKeyColumn);
    return result;
  }
  if (!is_number(of->type)) {
    throw command_error(std::string(name_of(function)) + " of the column \"" + of->name +
                        "\": its values are no numbers.");
  }
  if (function == Function::stdev || !is_exact(of->type)) return result;
  if (of->type == DataType::currency) {
    result.type = DataType::currency;
    return result;
  }
  result.type = DataType::numeric;
  result.defined_size = 19;
  result.precision = 28;
  result.scale = layout_of(of->type) == Layout::int64 ? 0 : of->scale;
  if (function == Function::avg && result.scale <= Decimal::kMaxScale) {
    result.scale = static_cast<std::uint8_t>(std::max<int>(result.scale, kLeastDecimals));
  }
  return result;
}

void Aggregate::add(const Variant& value) {
  if (value.is_null()) return;
  ++count_;
  switch (function_) {
    case Function::count: return;
    case Function::any:
      if (count_ == 1) chosen_ = value;
      return;
    case Function::min:
    case Function::max: {
      const int order = count_ == 1 ? 0 : compare_values(value, chosen_);
      if (count_ == 1 || (function_ == Function::min ? order < 0 : order > 0)) chosen_ = value;
      return;
    }
    default: break;
  }
  const double number = to_double(value, invariant());
  sum_ += number;
  if (function_ != Function::stdev) {
    if (is_exact_ && result_ != DataType::real) add_exact(to_decimal(value, invariant()));
    return;
  }
  const double distance = number - mean_;
  mean_ += distance / static_cast<double>(count_);
  squares_ += distance * (number - mean_);
}

void Aggregate::add_exact(const Decimal& value) {
  Wide sum = static_cast<Wide>(static_cast<UnsignedWide>(high_) << 64 | low_);
  Wide added = static_cast<Wide>(UnsignedWide{value.high()} << 64 | value.low());
  if (value.negative()) added = -added;
  const int scale = std::max<int>(scale_, value.scale());
  is_exact_ = times_ten_to(sum, scale - scale_) && times_ten_to(added, scale - value.scale()) &&
              !__builtin_add_overflow(sum, added, &sum);
  scale_ = scale;
  low_ = static_cast<std::uint64_t>(sum);
  high_ = static_cast<std::int64_t>(sum >> 64);
}

Variant Aggregate::exact_result() const {
  Wide sum = static_cast<Wide>(static_cast<UnsignedWide>(high_) << 64 | low_);
  int scale = scale_;
  const bool averages = function_ == Function::avg;
  if (averages) {
    const int more = std::max(0, kLeastDecimals - scale);
    if (!times_ten_to(sum, more)) return sum_ / static_cast<double>(count_);
    scale += more;
    sum = divided(sum, count_);
  }
  auto exact = decimal_of(sum, scale);
  if (!exact) return averages ? sum_ / static_cast<double>(count_) : sum_;
  if (result_ != DataType::currency) return *exact;
  const auto money = Currency::from_decimal(*exact);
  return money ? Variant(*money) : Variant(*exact);
}

Variant Aggregate::result() const {
  if (function_ == Function::count) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(count_, INT32_MAX));
  }
  if (function_ == Function::any || function_ == Function::min || function_ == Function::max) return chosen_;
  if (function_ == Function::stdev) {
    return count_ < 2 ? Variant::null() : Variant(std::sqrt(squares_ / static_cast<double>(count_ - 1)));
  }
  if (count_ == 0) return Variant::null();
  if (is_exact_ && result_ != DataType::real) return exact_result();
  return function_ == Function::avg ? sum_ / static_cast<double>(count_) : sum_;
}

}  // namespace quarno::ado::shape
