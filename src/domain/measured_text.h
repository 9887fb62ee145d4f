// A measured value held as text becomes a number, whichever of "." and "," it uses as decimal sign.
#pragma once

#include <string_view>

#include "common/locale_info.h"

namespace quarno::domain {

/// 0 for an empty text and for one that cannot be converted. Blanks around the text do not matter.
double measured_number(std::string_view text, const LocaleInfo& locale);

}  // namespace quarno::domain
