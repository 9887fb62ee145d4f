// One value type to another, by the automation rules: whole numbers round half to even, a number that does
// not fit raises 6, a value that cannot be converted raises 13, null raises 94 wherever a value is required.
// Empty counts as 0, "" or false. Texts are read and written by the locale given.
#pragma once

#include <cstdint>
#include <string>

#include "common/locale_info.h"
#include "common/variant.h"

namespace quarno {

std::string to_text(const Variant& value, const LocaleInfo& locale);
bool to_bool(const Variant& value, const LocaleInfo& locale);
std::uint8_t to_byte(const Variant& value, const LocaleInfo& locale);
std::int16_t to_int16(const Variant& value, const LocaleInfo& locale);
std::int32_t to_int32(const Variant& value, const LocaleInfo& locale);
std::int64_t to_int64(const Variant& value, const LocaleInfo& locale);
float to_single(const Variant& value, const LocaleInfo& locale);
double to_double(const Variant& value, const LocaleInfo& locale);
Currency to_currency(const Variant& value, const LocaleInfo& locale);
Decimal to_decimal(const Variant& value, const LocaleInfo& locale);
Date to_date(const Variant& value, const LocaleInfo& locale);

/// Whether the value is a number, a boolean, empty, or a text that reads as a number; dates, null, arrays and
/// objects are not.
bool is_numeric(const Variant& value, const LocaleInfo& locale);

}  // namespace quarno
