// Literals for SQL text that a host builds by hand. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/date.h"

namespace quarno::data {

/// "'" doubled inside, blanks trimmed around when asked, "'" around.
std::string text_literal(std::string_view text, bool trim);

/// The date, and the time when asked, in the syntax of a database kind. The blanks inside are what hosts
/// expect.
std::string date_literal(Date date, bool with_hour, std::int32_t kind);

}  // namespace quarno::data
