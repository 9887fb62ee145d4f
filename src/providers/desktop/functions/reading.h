// Texts read as dates in all the forms the language knows. Pure.
#pragma once

#include <optional>
#include <string_view>

#include "common/date.h"
#include "common/locale_info.h"
#include "common/variant.h"

namespace quarno::desktop {

/// What parse_date reads, and also month names ("5 January 2015", "Jan 5, 2015") and AM or PM after a time.
std::optional<Date> date_of_text(std::string_view text, const LocaleInfo& locale);

/// A value as a date: a number is days; 13 for a text that is none, 6 for a number out of range, 94 for null.
Date read_date(const Variant& value, const LocaleInfo& locale);

}  // namespace quarno::desktop
