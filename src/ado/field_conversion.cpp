#include "ado/field_conversion.h"

#include <algorithm>

#include "ado/ado_error.h"
#include "common/convert.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

template <class T>
Variant as(const Variant& value, T (*convert)(const Variant&, const LocaleInfo&), const LocaleInfo& locale) {
  if (value.get_if<T>() != nullptr) return value;
  return convert(value, locale);
}

// Rounded to the column's decimals; refused when it has more digits before the point than the column.
Decimal fitted(const Decimal& value, const Column& column) {
  if (column.scale > Decimal::kMaxScale || !column.scale_holds) return value;
  const auto rounded = value.rescaled(column.scale);
  if (!rounded) throw multiple_step_error();
  const std::string digits = rounded->text();
  const auto count = std::count_if(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  // A zero before the point is no digit of the number.
  const bool leading_zero = digits.find("0.") <= 1;
  if (count - (leading_zero ? 1 : 0) > column.precision) throw multiple_step_error();
  return *rounded;
}

Variant converted(const Variant& value, const Column& column, const LocaleInfo& locale) {
  switch (layout_of(column.type)) {
    case Layout::boolean: return as<bool>(value, to_bool, locale);
    case Layout::byte: return as<std::uint8_t>(value, to_byte, locale);
    case Layout::int16: return as<std::int16_t>(value, to_int16, locale);
    case Layout::int32: return as<std::int32_t>(value, to_int32, locale);
    case Layout::int64: return as<std::int64_t>(value, to_int64, locale);
    case Layout::single: return as<float>(value, to_single, locale);
    case Layout::real: return as<double>(value, to_double, locale);
    case Layout::currency: return as<Currency>(value, to_currency, locale);
    case Layout::decimal: return fitted(to_decimal(value, locale), column);
    case Layout::date: return as<Date>(value, to_date, locale);
    case Layout::text: return as<std::string>(value, to_text, locale);
    case Layout::bytes:
      if (value.get_if<Variant::Bytes>() == nullptr) throw model_error(Model::data_conversion, "ADODB.Field");
      return value;
    case Layout::any: return value;
  }
  return value;
}

// Types that are laid out wider than they are: a source that is not strict would store another number.
bool is_outside(const Variant& value, DataType type) {
  const auto outside = [&](std::int64_t least, std::int64_t most) {
    const std::int64_t number = to_int64(value, LocaleInfo{});
    return number < least || number > most;
  };
  switch (type) {
    case DataType::tiny_int: return outside(-128, 127);
    case DataType::unsigned_small_int: return outside(0, 65'535);
    case DataType::unsigned_int: return outside(0, 4'294'967'295);
    case DataType::unsigned_big_int: {
      static const Decimal most = *Decimal::parse("18446744073709551615");
      const auto* const number = value.get_if<Decimal>();
      return number != nullptr && (compare(*number, Decimal()) < 0 || compare(*number, most) > 0);
    }
    default: return false;
  }
}

bool is_bounded(const Column& column) {
  return column.defined_size > 0 && !is_long(column.type) && column.type != DataType::guid;
}

// Of the column's own type, and short enough without counting characters: what most values are.
bool is_of_column(const Variant& value, const Column& column) {
  switch (layout_of(column.type)) {
    case Layout::int32: return column.type == DataType::integer && value.get_if<std::int32_t>() != nullptr;
    case Layout::real: return value.get_if<double>() != nullptr;
    case Layout::date: return value.get_if<Date>() != nullptr;
    case Layout::text: {
      const auto* const text = value.get_if<std::string>();
      return text != nullptr &&
             (!is_bounded(column) || text->size() <= static_cast<std::size_t>(column.defined_size));
    }
    default: return false;
  }
}

}  // namespace

void assign_coerced(Variant& to, const Variant& value, const Column& column, const LocaleInfo& locale) {
  if (is_of_column(value, column)) {
    to = value;
  } else {
    to = coerced(value, column, locale);
  }
}

Variant coerced(const Variant& value, const Column& column, const LocaleInfo& locale) {
  if (value.is_null() || value.is_empty()) return Variant::null();
  Variant result;
  try {
    result = converted(value, column, locale);
  } catch (const Error& error) {
    const bool does_not_fit =
        error.number == static_cast<std::int32_t>(RunTime::overflow) || error.number == kMultipleStep;
    if (does_not_fit) throw multiple_step_error();
    throw model_error(Model::data_conversion, "ADODB.Field");
  }
  if (is_outside(result, column.type)) throw multiple_step_error();
  const bool bounded = is_bounded(column);
  const auto limit = static_cast<std::size_t>(column.defined_size);
  if (const auto* text = result.get_if<std::string>()) {
    // Bytes are never fewer than characters: most texts need no counting.
    if (bounded && text->size() > limit && text::length(*text) > limit) throw multiple_step_error();
  } else if (const auto* bytes = result.get_if<Variant::Bytes>()) {
    if (bounded && bytes->size() > limit) throw multiple_step_error();
  }
  return result;
}

}  // namespace quarno::ado
