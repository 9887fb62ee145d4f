// What types do in expressions. Pure.
#pragma once

#include <string>
#include <string_view>

namespace quarno::desktop::jet {

enum class Family : std::uint8_t {
  unknown,
  text,
  memo,
  whole,
  real,
  currency,
  decimal,
  date,
  boolean,
  binary
};

/// What kind of values a declared type keeps.
Family family(std::string_view declared);
inline bool is_text(Family kind) { return kind == Family::text || kind == Family::memo; }

/// The declared type of a sum, difference or product; empty when it cannot be known.
std::string combined(char sign, std::string_view left, std::string_view right);
/// The declared type of a value that is one or the other.
std::string either(std::string_view left, std::string_view right);
/// The type a function always gives; empty when it depends on what it is given, or is not known.
std::string_view function_type(std::string_view lower_name);
/// Functions that read what they are given as text.
bool reads_text(std::string_view lower_name);
bool is_aggregate(std::string_view lower_name);

/// A type of CREATE TABLE or CAST as this engine declares it; what is not known stays as it is.
std::string declaration(std::string_view name, std::string_view sizes);
/// COUNTER, AUTOINCREMENT, IDENTITY.
bool is_counter(std::string_view type_name);

}  // namespace quarno::desktop::jet
