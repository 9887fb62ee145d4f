// The values in a record's fields as their text forms, read and written. Pure, and the same in every locale.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace quarno::desktop::dbase {

/// A C field without its padding. A text ends at its first NUL: what stands behind one is left over from an
/// earlier use of a buffer.
std::string_view read_text(std::string_view field);

/// Nothing for blanks, for the asterisks that stand for an overflow, and for what is no number.
std::optional<double> read_number(std::string_view field);

/// Days since 30 December 1899; nothing for blanks and for what is no day of the calendar.
std::optional<double> read_date(std::string_view field);

std::optional<bool> read_logical(std::string_view field);

/// The block number in an M field; 0 for none.
std::uint64_t read_block_number(std::string_view field);

// Writers fill the whole field and return false, with the field as it was, when the value does not fit.
bool write_text(std::span<char> field, std::string_view bytes);
bool write_number(std::span<char> field, double value, int decimals);
bool write_number(std::span<char> field, std::int64_t value, int decimals);
bool write_date(std::span<char> field, double days);
bool write_block_number(std::span<char> field, std::uint64_t number);

}  // namespace quarno::desktop::dbase
