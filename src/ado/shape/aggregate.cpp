#include "ado/shape/aggregate.h"

#include <algorithm>
#include <cmath>

#include "ado/cursor/criteria.h"
#include "ado/shape/shape_error.h"
#include "common/convert.h"
#include "common/locale_info.h"

namespace quarno::ado::shape {
namespace {

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
  if (function_ == Function::stdev) {
    const double distance = number - mean_;
    mean_ += distance / static_cast<double>(count_);
    squares_ += distance * (number - mean_);
    return;
  }
  add_real(number);
  if (result_ == DataType::real) return;
  const Decimal exact = to_decimal(value, invariant());
  scale_ = std::max<int>(scale_, exact.scale());
  exact_.add(exact);
}

// With the part that an addition loses, which comes back at the end.
void Aggregate::add_real(double number) {
  const double total = sum_ + number;
  lost_ += std::fabs(sum_) >= std::fabs(number) ? (sum_ - total) + number : (number - total) + sum_;
  sum_ = total;
}

double Aggregate::real_result() const {
  const double sum = std::isfinite(lost_) ? sum_ + lost_ : sum_;
  return function_ == Function::avg ? sum / static_cast<double>(count_) : sum;
}

Variant Aggregate::exact_result() const {
  const bool averages = function_ == Function::avg;
  const bool is_money = result_ == DataType::currency;
  // An average is rounded here and nowhere else: to what its type holds.
  const int decimals = is_money ? 4 : std::max(scale_, averages ? kLeastDecimals : 0);
  const auto exact = exact_.result(averages ? static_cast<std::uint64_t>(count_) : 1, decimals);
  if (!exact) return real_result();
  const auto money = is_money ? Currency::from_decimal(*exact) : std::nullopt;
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
  return result_ == DataType::real ? real_result() : exact_result();
}

}  // namespace quarno::ado::shape
