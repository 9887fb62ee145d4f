// The values of a snapshot as text, both ways. Nothing here depends on a locale.
#pragma once

#include <string>
#include <string_view>

#include "ado/persist/byte_stream.h"
#include "ado/provider.h"
#include "common/variant.h"

namespace quarno::ado::persist {

/// Appends what the text says to the column's data; false, and nothing is appended, when that is no value of
/// its type. A text that is longer than the column is cut.
bool append_value(ColumnData& to, const Column& column, std::string_view text);

/// Why a value cannot be written; empty when it was.
using Refusal = std::string_view;

/// Writes a value that is not null.
Refusal write_value(Output& to, const Column& column, const Variant& value);
/// A text between quotes.
Refusal write_text(Output& to, std::string_view utf8);
/// Bytes in hexadecimal digits.
void write_bytes(Output& to, std::string_view bytes);
/// Bytes of hexadecimal digits with anything between them; false when one digit has no partner.
bool read_bytes(std::string_view text, Variant::Bytes& bytes);

}  // namespace quarno::ado::persist
