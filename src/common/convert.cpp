#include "common/convert.h"

#include <cmath>
#include <limits>

#include "common/date_text.h"
#include "common/error.h"
#include "common/number_text.h"
#include "common/text.h"

namespace quarno {
namespace {

template <class... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

[[noreturn]] void type_mismatch() { throw run_time_error(RunTime::type_mismatch); }

template <class T>
constexpr bool kIsNumber = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

// Double to a whole number: half to even, as std::nearbyint does in the default rounding mode.
template <class Int>
Int rounded_to(double value) {
  const double whole = std::nearbyint(value);
  // Both limits are exact as doubles: the upper one is one above the largest value.
  constexpr double kLow = static_cast<double>(std::numeric_limits<Int>::min());
  const double high = std::ldexp(1.0, std::numeric_limits<Int>::digits);
  if (!(whole >= kLow && whole < high)) throw run_time_error(RunTime::overflow);
  return static_cast<Int>(whole);
}

template <class Int>
Int narrowed(std::int64_t value) {
  if (value < std::int64_t{std::numeric_limits<Int>::min()} ||
      value > std::int64_t{std::numeric_limits<Int>::max()}) {
    throw run_time_error(RunTime::overflow);
  }
  return static_cast<Int>(value);
}

// An exact decimal that holds a whole number after rounding half to even.
std::int64_t whole_of(const Decimal& value) {
  const auto whole = value.rescaled(0);
  if (!whole || whole->high() != 0) throw run_time_error(RunTime::overflow);
  const std::uint64_t magnitude = whole->low();
  const std::uint64_t limit = std::uint64_t{1} << 63;
  if (magnitude > limit || (magnitude == limit && !whole->negative()))
    throw run_time_error(RunTime::overflow);
  return static_cast<std::int64_t>(whole->negative() ? std::uint64_t{0} - magnitude : magnitude);
}

double number_of_text(const std::string& value, const LocaleInfo& locale) {
  const auto number = parse_number(value, locale);
  if (!number) type_mismatch();
  return *number;
}

// What every conversion shares: empty, null and the kinds that hold no single value.
template <class Result, class Visitor>
Result converted(const Variant& value, Visitor&& visitor) {
  return std::visit(Overloaded{[](std::monostate) { return Result{}; },
                               [](Variant::Null) -> Result { throw run_time_error(RunTime::invalid_null); },
                               [](Variant::Missing) -> Result { type_mismatch(); },
                               [](const Variant::Bytes&) -> Result { type_mismatch(); },
                               [](const Variant::Array&) -> Result { type_mismatch(); },
                               [](const Variant::Object&) -> Result { type_mismatch(); },
                               [&visitor](const auto& v) { return static_cast<Result>(visitor(v)); }},
                    value.storage());
}

template <class Int>
Int to_whole(const Variant& value, const LocaleInfo& locale) {
  return converted<Int>(value, Overloaded{[](bool v) { return static_cast<Int>(v ? kTrue : 0); },
                                          [](Currency v) { return narrowed<Int>(whole_of(v.to_decimal())); },
                                          [](const Decimal& v) { return narrowed<Int>(whole_of(v)); },
                                          [](Date v) { return rounded_to<Int>(v.days); },
                                          [&](const std::string& v) {
                                            // 64-bit numbers in text go past what a double holds.
                                            if (const auto plain = invariant_number(v, locale)) {
                                              if (const auto exact = Decimal::parse(*plain))
                                                return narrowed<Int>(whole_of(*exact));
                                            }
                                            return rounded_to<Int>(number_of_text(v, locale));
                                          },
                                          [](auto v) {
                                            if constexpr (std::is_floating_point_v<decltype(v)>) {
                                              return rounded_to<Int>(v);
                                            } else {
                                              return narrowed<Int>(v);
                                            }
                                          }});
}

}  // namespace

std::string to_text(const Variant& value, const LocaleInfo& locale) {
  const auto localized = [&locale](const std::string& digits) {
    return locale.decimal == "." ? digits : text::replace_all(digits, ".", locale.decimal);
  };
  return converted<std::string>(value, Overloaded{[](bool v) { return std::string(v ? "True" : "False"); },
                                                  [&](Currency v) { return localized(v.text()); },
                                                  [&](const Decimal& v) { return localized(v.text()); },
                                                  [&](Date v) { return general_date_text(v, locale); },
                                                  [](const std::string& v) { return v; },
                                                  [&](auto v) {
                                                    if constexpr (std::is_floating_point_v<decltype(v)>) {
                                                      return general_text(v, locale);
                                                    } else {
                                                      return std::to_string(v);
                                                    }
                                                  }});
}

bool to_bool(const Variant& value, const LocaleInfo& locale) {
  return converted<bool>(value, Overloaded{[](bool v) { return v; }, [](Currency v) { return v.scaled != 0; },
                                           [](const Decimal& v) { return !(v == Decimal(0)); },
                                           [](Date v) { return v.days != 0; },
                                           [&](const std::string& v) {
                                             const std::string_view word = text::trim(v);
                                             if (text::equal_fold(word, "true")) return true;
                                             if (text::equal_fold(word, "false")) return false;
                                             return number_of_text(v, locale) != 0;
                                           },
                                           [](auto v) { return v != 0; }});
}

std::uint8_t to_byte(const Variant& value, const LocaleInfo& locale) {
  // True is 255 as a byte: all bits set.
  if (const bool* flag = value.get_if<bool>()) return *flag ? 255 : 0;
  return narrowed<std::uint8_t>(to_whole<std::int64_t>(value, locale));
}
std::int16_t to_int16(const Variant& value, const LocaleInfo& locale) {
  return to_whole<std::int16_t>(value, locale);
}
std::int32_t to_int32(const Variant& value, const LocaleInfo& locale) {
  return to_whole<std::int32_t>(value, locale);
}
std::int64_t to_int64(const Variant& value, const LocaleInfo& locale) {
  return to_whole<std::int64_t>(value, locale);
}

double to_double(const Variant& value, const LocaleInfo& locale) {
  return converted<double>(
      value, Overloaded{[](bool v) { return v ? double{kTrue} : 0.0; },
                        [](Currency v) { return v.to_decimal().to_double(); },
                        [](const Decimal& v) { return v.to_double(); }, [](Date v) { return v.days; },
                        [&](const std::string& v) { return number_of_text(v, locale); },
                        [](auto v) { return static_cast<double>(v); }});
}

float to_single(const Variant& value, const LocaleInfo& locale) {
  const double number = to_double(value, locale);
  if (std::isfinite(number) && std::fabs(number) > double{std::numeric_limits<float>::max()}) {
    throw run_time_error(RunTime::overflow);
  }
  return static_cast<float>(number);
}

Decimal to_decimal(const Variant& value, const LocaleInfo& locale) {
  return converted<Decimal>(
      value, Overloaded{[](bool v) { return Decimal(v ? kTrue : 0); },
                        [](Currency v) { return v.to_decimal(); }, [](const Decimal& v) { return v; },
                        [](Date v) {
                          const auto exact = Decimal::from_double(v.days);
                          if (!exact) throw run_time_error(RunTime::overflow);
                          return *exact;
                        },
                        [&](const std::string& v) {
                          const auto plain = invariant_number(v, locale);
                          if (!plain) return Decimal(static_cast<std::int64_t>(number_of_text(v, locale)));
                          const auto exact = Decimal::parse(*plain);
                          if (!exact) throw run_time_error(RunTime::overflow);
                          return *exact;
                        },
                        [](auto v) {
                          if constexpr (std::is_floating_point_v<decltype(v)>) {
                            const auto exact = Decimal::from_double(double{v});
                            if (!exact) throw run_time_error(RunTime::overflow);
                            return *exact;
                          } else {
                            return Decimal(std::int64_t{v});
                          }
                        }});
}

Currency to_currency(const Variant& value, const LocaleInfo& locale) {
  if (const auto* exact = value.get_if<Currency>()) return *exact;
  const auto result = Currency::from_decimal(to_decimal(value, locale));
  if (!result) throw run_time_error(RunTime::overflow);
  return *result;
}

Date to_date(const Variant& value, const LocaleInfo& locale) {
  if (const auto* date = value.get_if<Date>()) return *date;
  if (const auto* v = value.get_if<std::string>()) {
    if (const auto date = parse_date(*v, locale)) return *date;
  }
  const Date date{to_double(value, locale)};
  if (date.days > kFirstDay - 1 && date.days < kLastDay) return date;
  // A text such as "31.02.2024" is no day, even where its points make it a number.
  throw run_time_error(value.is_text() ? RunTime::type_mismatch : RunTime::overflow);
}

bool is_numeric(const Variant& value, const LocaleInfo& locale) {
  switch (value.type()) {
    case VariantType::null:
    case VariantType::missing:
    case VariantType::date:
    case VariantType::object:
    case VariantType::array:
    case VariantType::bytes: return false;
    case VariantType::text: return parse_number(*value.get_if<std::string>(), locale).has_value();
    default: return true;
  }
}

}  // namespace quarno
