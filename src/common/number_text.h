// Numbers written and read as text. Only what takes a LocaleInfo depends on the user's locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/locale_info.h"

namespace quarno {

/// The shortest text that reads back as the same value, with the locale's decimal sign, a leading zero and no
/// group signs. Exponent form ("1E+16", "1.5E-20") from 1E+15 up, and for small numbers that would need more
/// than 15 decimals and lie below 0.00001.
std::string general_text(double value, const LocaleInfo& locale = {});
std::string general_text(float value, const LocaleInfo& locale = {});

/// As general_text with "." and without the zero before it: ".5", "-.25", "12".
std::string invariant_text(double value);

/// Reads a whole text as a number: blanks around it, a sign, the locale's group signs (skipped before the
/// decimal sign) and decimal sign, an exponent (E or D), or &H and &O forms. Nothing when any of it is
/// something else.
std::optional<double> parse_number(std::string_view text, const LocaleInfo& locale);

/// The locale's number as sign, digits, "." and exponent, for exact readers; nothing when the text is no
/// number.
std::optional<std::string> invariant_number(std::string_view text, const LocaleInfo& locale);

/// Reads the leading numeric characters with "." as the decimal sign, whatever the locale; blanks are
/// skipped, also between digits. 0 when the text does not begin with a number; raises 6 for one too large.
double leading_number(std::string_view text);

}  // namespace quarno
