// A field's value as text of each output format. Pure.
#pragma once

#include <string>
#include <string_view>

#include "quarnofwk/quarnofwk.hpp"

namespace tool {

/// Numbers with "." and all their digits, dates as ISO 8601 by the column's type (a date, a time or both),
/// booleans as true and false, bytes as hex digits. Empty for null.
std::string plain_text(const quarnofwk::Value& value, int column_type);
bool is_null(const quarnofwk::Value& value);
bool is_number(const quarnofwk::Value& value);

/// One cell of RFC 4180; null is nothing between the commas, an empty text is "".
std::string csv_cell(const quarnofwk::Value& value, int column_type);
std::string csv_text(std::string_view text);

/// One value of JSON; numbers keep their digits, a number that JSON has none for is null.
std::string json_value(const quarnofwk::Value& value, int column_type);
std::string json_text(std::string_view text);

/// One line, whatever is in the text.
std::string table_cell(std::string_view text);

}  // namespace tool
