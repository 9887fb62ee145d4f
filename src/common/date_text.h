// Dates written and read as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/date.h"
#include "common/locale_info.h"

namespace quarno {

/// Writes a date by a pattern of two- or four-digit fields: `dd`, `mm` (minutes when it follows `hh`, else
/// the month), `mmm` (the locale's month abbreviation), `yy`, `yyyy`, `hh` (24-hour), `nn` (minutes), `ss`.
/// Every other character is copied as it stands: "/" and ":" are not replaced by the locale's separators.
std::string date_text(Date date, std::string_view pattern, const LocaleInfo& locale = {});

/// How a date reads when it becomes text by conversion: the locale's short date, then the time unless it is
/// midnight; on day 0 the time alone.
std::string general_date_text(Date date, const LocaleInfo& locale);

/// Reads "yyyy-mm-dd", "hh:mm", both, or a date in the locale's order with "/", "-" or "." between the
/// numbers (another order is tried when the locale's makes no date); seconds may have a fraction. Two-digit
/// years below 30 are 20xx, others 19xx. Nothing when the text is no date.
std::optional<Date> parse_date(std::string_view text, const LocaleInfo& locale);

/// "2015-01-05 23:59:59" as most programs write a moment, with a fraction ".250000" when there is one; the
/// day alone without the time.
std::string iso_date_text(const CivilTime& moment, bool with_time);

/// Reads a day or a whole second from the year 1000 on, just as it is written by the above; nothing for any
/// other text. Much faster than the reading of all forms.
std::optional<Date> parse_iso_date(std::string_view text);

}  // namespace quarno
