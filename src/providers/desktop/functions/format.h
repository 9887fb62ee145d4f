// Values written by a pattern of the user's, as Format does. Pure.
//
// A pattern is a name ("Fixed", "Long Date", ...) or made of signs: for numbers 0 # . , % E+ in up to four
// sections divided by ";" (positive, negative, zero, null), for dates d m y h n s w q c t and AM/PM, for
// texts @ & < > !. The first sign tells which. "\x" and "text" in quotes stand for themselves, as does every
// other character.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/date.h"
#include "common/locale_info.h"
#include "common/variant.h"
#include "providers/desktop/functions/calendar.h"

namespace quarno::desktop {

/// A number in any of the library's kinds, a text, or null, which gives the fourth section or "". A text that
/// says no number or date where the pattern wants one stays as it is.
std::string formatted(const Variant& value, std::string_view pattern, const WeekRule& rule,
                      const LocaleInfo& locale);

// The parts of it, in files of their own.

/// One sign of a pattern with its literals resolved.
struct FormatToken {
  char sign = 0;        // the character when it may have a meaning, 0 for what stands for itself
  std::string literal;  // all of the character, or of the quoted text
};
std::vector<FormatToken> format_tokens(std::string_view pattern);

/// `value` is a number.
std::string format_number(const Variant& value, std::string_view pattern, const LocaleInfo& locale);
std::string format_date(Date date, std::string_view pattern, const WeekRule& rule, const LocaleInfo& locale);

/// The sections between ";" that are not literal.
std::vector<std::string_view> format_sections(std::string_view pattern);

}  // namespace quarno::desktop
