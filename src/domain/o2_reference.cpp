#include "domain/o2_reference.h"

#include <cmath>

#include "common/convert.h"
#include "common/error.h"
#include "common/number_text.h"

namespace quarno::domain {
namespace {

constexpr std::size_t kCoal = 305;
constexpr std::size_t kOil = 306;
constexpr std::size_t kGas = 307;

double number_at(const Variant::Array& parameters, std::size_t index) {
  if (index >= parameters.size()) throw run_time_error(RunTime::subscript_out_of_range);
  return leading_number(to_text(parameters[index], LocaleInfo{}));
}

}  // namespace

double o2_reference(const ThermalPowers& powers, const Variant::Array& parameters) {
  const auto& [coal, oil, gas] = powers;
  if (coal == 0 && oil == 0 && gas == 0) return number_at(parameters, kOil);
  const double total = coal + oil + gas;
  if (total == 0) throw run_time_error(RunTime::division_by_zero);
  const double coal_share = coal * 100 / total;
  const double oil_share = oil * 100 / total;
  const double gas_share = gas * 100 / total;
  const double result = (number_at(parameters, kCoal) * coal_share + number_at(parameters, kOil) * oil_share +
                         number_at(parameters, kGas) * gas_share) /
                        100;
  // Of an infinite total every share would be 0, and so would the result.
  if (!std::isfinite(total) || !std::isfinite(result)) throw run_time_error(RunTime::overflow);
  return result;
}

}  // namespace quarno::domain
