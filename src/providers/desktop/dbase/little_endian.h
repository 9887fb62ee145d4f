// Numbers as the files have them, lowest byte first.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarno::desktop::dbase {

/// The number in `bytes` at `offset`; bytes behind the end count as 0.
template <class Number>
Number number_at(std::string_view bytes, std::size_t offset) {
  Number value = 0;
  for (std::size_t i = sizeof(Number); i-- > 0;) {
    const bool inside = offset + i < bytes.size();
    value = static_cast<Number>((value << 8) | (inside ? static_cast<unsigned char>(bytes[offset + i]) : 0u));
  }
  return value;
}

template <>
inline std::uint8_t number_at(std::string_view bytes, std::size_t offset) {
  return offset < bytes.size() ? static_cast<std::uint8_t>(bytes[offset]) : std::uint8_t{0};
}

template <class Number>
void append_number(std::string& bytes, Number value) {
  for (std::size_t i = 0; i < sizeof(Number); ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
}

}  // namespace quarno::desktop::dbase
