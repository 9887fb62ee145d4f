// What stands between two #. Pure text.
#pragma once

#include <optional>
#include <string_view>

#include "common/date.h"

namespace quarno::desktop::jet {

/// Month first ("01/05/2024  14:07:33", any blanks), yyyy-mm-dd, a month's English name ("5 Jan 2024",
/// "January 5, 2024 2 PM"), a time alone. A day above twelve in the month's place is taken for the day.
/// Nothing when it is no date.
std::optional<Date> date_literal(std::string_view inner);

}  // namespace quarno::desktop::jet
