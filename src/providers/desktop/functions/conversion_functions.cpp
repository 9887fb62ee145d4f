// Conversions to a type, and questions about a value. A conversion refuses null (error 94), a question
// answers it.
#include "common/convert.h"
#include "platform/locale.h"
#include "providers/desktop/functions/call.h"
#include "providers/desktop/functions/reading.h"

namespace quarno::desktop {
namespace {

enum class As { plain, date, boolean, currency, single };

Variant typed(const Variant& value, As type) {
  const LocaleInfo& locale = platform::locale();
  switch (type) {
    case As::date: return read_date(value, locale);
    case As::boolean: return to_bool(value, locale);
    case As::currency: return to_currency(value, locale);
    case As::single: return to_single(value, locale);
    default: return value;
  }
}

template <As kType>
Variant text_of(const Arguments& args) {
  return to_text(typed(args.value(0), kType), platform::locale());
}

template <As kType>
Variant text_or_null(const Arguments& args) {
  return args.is_null(0) ? Variant::null() : text_of<kType>(args);
}

template <As kType>
Variant converted(const Arguments& args) {
  return typed(args.value(0), kType);
}

Variant to_date_or_null(const Arguments& args) {
  return args.is_null(0) ? Variant::null() : Variant(args.date(0));
}

template <class Whole, Whole (*convert)(const Variant&, const LocaleInfo&)>
Variant whole(const Arguments& args) {
  return std::int64_t{convert(args.value(0), platform::locale())};
}

Variant to_single(const Arguments& args) { return double{*typed(args.value(0), As::single).get_if<float>()}; }
Variant to_double(const Arguments& args) { return args.number(0); }
Variant to_exact(const Arguments& args) { return to_decimal(args.value(0), platform::locale()); }
Variant same(const Arguments& args) { return args.value(0); }

Variant is_null(const Arguments& args) { return args.is_null(0); }
Variant is_number(const Arguments& args) { return is_numeric(args.value(0), platform::locale()); }
// A value of a row is never unset, nor an error: the statement would have ended.
Variant never(const Arguments&) { return false; }

constexpr Function kFunctions[] = {
    {"CStr", 1, 1, entry<text_of<As::plain>>},
    {"jet_cstr_date", 1, 1, entry<text_of<As::date>>},
    {"jet_cstr_bool", 1, 1, entry<text_of<As::boolean>>},
    {"jet_cstr_currency", 1, 1, entry<text_of<As::currency>>},
    {"jet_cstr_single", 1, 1, entry<text_of<As::single>>},
    {"jet_text", 1, 1, entry<text_or_null<As::plain>>},
    {"jet_text_date", 1, 1, entry<text_or_null<As::date>>},
    {"jet_text_bool", 1, 1, entry<text_or_null<As::boolean>>},
    {"jet_text_currency", 1, 1, entry<text_or_null<As::currency>>},
    {"jet_text_single", 1, 1, entry<text_or_null<As::single>>},
    {"CByte", 1, 1, entry<whole<std::uint8_t, to_byte>>},
    {"CInt", 1, 1, entry<whole<std::int16_t, to_int16>>},
    {"CLng", 1, 1, entry<whole<std::int32_t, to_int32>>},
    {"CSng", 1, 1, entry<to_single>},
    {"CDbl", 1, 1, entry<to_double>},
    {"CCur", 1, 1, entry<converted<As::currency>>},
    {"CDec", 1, 1, entry<to_exact>},
    {"CBool", 1, 1, entry<converted<As::boolean>>},
    {"CDate", 1, 1, entry<converted<As::date>>},
    {"CVDate", 1, 1, entry<to_date_or_null>},
    {"CVar", 1, 1, entry<same>},
    {"jet_isnull", 1, 1, entry<is_null>},
    {"IsNumeric", 1, 1, entry<is_number>},
    {"IsEmpty", 1, 1, entry<never>},
    {"IsError", 1, 1, entry<never>},
};

}  // namespace

std::span<const Function> conversion_functions() { return kFunctions; }

}  // namespace quarno::desktop
