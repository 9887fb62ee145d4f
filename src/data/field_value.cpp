#include "data/field_value.h"

#include <algorithm>

#include "common/convert.h"
#include "common/error.h"
#include "common/number_text.h"
#include "common/text.h"

namespace quarno::data {
namespace {

using ado::DataType;

// The number in a text that may group by "." and have "," as its decimal sign, whatever the user's locale.
std::optional<Variant> number_to_store(const Variant& value, const LocaleInfo& locale) {
  const auto* const given = value.get_if<std::string>();
  // Numbers that are not text have their value already; their text would only lose it.
  if (given == nullptr) return is_numeric(value, locale) ? std::optional(value) : std::nullopt;
  std::string number(text::trim(*given));
  if (number.find(',') != std::string::npos) {
    number = text::replace_all(text::replace_all(number, ".", ""), ",", ".");
  }
  if (const auto plain = invariant_number(number, LocaleInfo{})) {
    if (const auto exact = Decimal::parse(*plain)) return Variant(*exact);
    if (const auto real = parse_number(number, LocaleInfo{})) return Variant(*real);
  }
  // Numeric to the user, yet no number by these rules, as "1,234,567": refused, not lost without a word.
  if (is_numeric(value, locale)) throw run_time_error(RunTime::type_mismatch);
  return std::nullopt;
}

// The leading number of the text. A text that is a whole number exactly needs no detour through a double,
// which holds fewer digits than a 64-bit number.
Variant whole_number_to_store(const Variant& value, const LocaleInfo& locale) {
  const std::string text = to_text(value, locale);
  if (const auto exact = Decimal::parse(text::trim(text))) return *exact;
  return leading_number(text);
}

std::string cut(std::string text, std::int64_t defined_size) {
  const std::string_view kept =
      text::left(text, static_cast<std::size_t>(std::max<std::int64_t>(defined_size, 0)));
  text.resize(kept.size());
  return text;
}

}  // namespace

Variant null_substitute(DataType type, bool init_date) {
  switch (type) {
    case DataType::small_int:
    case DataType::integer:
    case DataType::single:
    case DataType::real:
    case DataType::decimal:
    case DataType::tiny_int:
    case DataType::unsigned_tiny_int:
    case DataType::unsigned_small_int:
    case DataType::unsigned_int:
    case DataType::big_int:
    case DataType::unsigned_big_int:
    case DataType::numeric: return std::int16_t{0};
    case DataType::date:
    case DataType::db_date:
    case DataType::db_time:
    case DataType::db_timestamp: return init_date ? Variant(Date{kFirstDay}) : Variant();
    case DataType::boolean: return false;
    case DataType::char_:
    case DataType::var_char: return std::string();
    default: return {};
  }
}

bool is_stored_as_given(DataType type, std::int64_t defined_size, const Variant& value) {
  switch (type) {
    case DataType::small_int:
    case DataType::integer:
    case DataType::tiny_int:
    case DataType::unsigned_tiny_int:
    case DataType::big_int:
      return value.get_if<std::int32_t>() || value.get_if<std::int16_t>() || value.get_if<std::int64_t>() ||
             value.is_null();
    case DataType::single:
    case DataType::real:
    case DataType::currency:
    case DataType::decimal:
    case DataType::numeric:
      return value.get_if<double>() || value.get_if<Currency>() || value.get_if<Decimal>();
    case DataType::var_char:
    case DataType::long_var_char:
    case DataType::var_wchar:
    case DataType::long_var_wchar: {
      // Bytes are never fewer than characters: most texts need no counting.
      const auto* const text = value.get_if<std::string>();
      return text != nullptr ? static_cast<std::int64_t>(text->size()) <= defined_size : value.is_null();
    }
    case DataType::bstr:
    case DataType::char_:
    case DataType::wchar:
    case DataType::boolean: return false;
    default: return true;
  }
}

std::optional<Variant> value_to_store(DataType type, std::int64_t defined_size, const Variant& value,
                                      const LocaleInfo& locale) {
  if (is_stored_as_given(type, defined_size, value)) return value;
  switch (type) {
    case DataType::small_int:
    case DataType::integer:
    case DataType::tiny_int:
    case DataType::unsigned_tiny_int:
    case DataType::big_int: return whole_number_to_store(value, locale);
    case DataType::single:
    case DataType::real:
    case DataType::currency:
    case DataType::decimal:
    case DataType::numeric: return number_to_store(value, locale);
    case DataType::bstr:
    case DataType::char_:
    case DataType::wchar: {
      if (value.is_null()) return value;
      // Two apostrophes for a double quote: hosts rely on it.
      std::string text = text::replace_all(to_text(value, locale), "\"", "''");
      return Variant(defined_size >= 1 ? cut(std::move(text), defined_size) : std::move(text));
    }
    case DataType::var_char:
    case DataType::long_var_char:
    case DataType::var_wchar:
    case DataType::long_var_wchar: return Variant(cut(to_text(value, locale), defined_size));
    case DataType::boolean: {
      if (const bool* flag = value.get_if<bool>()) return Variant(*flag);
      const double number = is_numeric(value, locale) ? to_double(value, locale) : 0.0;
      return Variant(number == 1.0 || number == -1.0);
    }
    default: return value;
  }
}

}  // namespace quarno::data
