// The bytes of a field as a value. Pure.
#pragma once

#include <optional>
#include <string>

#include "common/decimal.h"
#include "providers/desktop/access/bytes.h"
#include "providers/desktop/access/design.h"

namespace quarno::desktop::access {

/// Bytes a value of the type takes, or 0 where that differs from value to value.
std::size_t size_of(ColumnType type);

/// Days since 30 December 1899, when they name a day of the calendar.
std::optional<double> date_value(double days);
/// The same of "days since 1 January 1:ticks of 100 ns:7".
std::optional<double> extended_date_value(Bytes bytes);

/// The 17 bytes of a decimal; nothing when it is larger than the type allows.
std::optional<Decimal> decimal_value(Bytes bytes, std::uint8_t scale);
/// The same in the form that calculated columns have.
std::optional<Decimal> calculated_decimal(Bytes bytes);

/// "{00112233-4455-6677-8899-AABBCCDDEEFF}" of 16 bytes.
void append_guid(std::string& text, Bytes bytes);

/// What a calculated column's wrapper holds. Raises Damaged.
Bytes unwrapped(Bytes field);

}  // namespace quarno::desktop::access
