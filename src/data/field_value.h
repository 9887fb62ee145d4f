// Values on their way between a host and a field. Pure.
#pragma once

#include <cstdint>
#include <optional>

#include "ado/enums.h"
#include "common/locale_info.h"
#include "common/variant.h"

namespace quarno::data {

/// What a host reads for null: 0 for numbers, "" for narrow text, false for booleans, empty for everything
/// else (currency and wide text too). A null date reads 1 January 100 when `init_date` is set, else empty.
Variant null_substitute(ado::DataType type, bool init_date);

/// What is stored for a value the host sets, or nothing when the field stays as it is: a number field ignores
/// what is not numeric, and raises 13 for one that only the locale reads as a number ("1,234,567"). A "," in
/// a number's text makes every "." a group sign. Texts are cut to `defined_size` characters. Null stays null
/// in text and whole-number fields.
std::optional<Variant> value_to_store(ado::DataType type, std::int64_t defined_size, const Variant& value,
                                      const LocaleInfo& locale);
/// True when that is sure to be the value itself, which then need not be copied.
bool is_stored_as_given(ado::DataType type, std::int64_t defined_size, const Variant& value);

}  // namespace quarno::data
