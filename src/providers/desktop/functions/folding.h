// Letters without their case, and letters without their accents, for Latin, Greek, Cyrillic and Armenian.
// Independent of any locale, because texts are indexed by it. Pure.
#pragma once

#include <string>
#include <string_view>

#include "common/text.h"

#include "common/text.h"

namespace quarno::desktop {

char32_t small_letter(char32_t c);
char32_t capital_letter(char32_t c);

/// The same character for all forms of a letter that differ in case alone.
char32_t folded(char32_t c);

/// A folded Latin, Greek or Cyrillic letter without its accent; any other character is its own.
char32_t base_letter(char32_t folded);

std::string small_letters(std::string_view utf8);
std::string capital_letters(std::string_view utf8);

/// Where the characters that stand for malformed bytes begin: behind all others.
inline constexpr char32_t kMalformed = 0x110000;

/// Decodes the character at `position` and moves behind it. A malformed byte is a character of its own.
inline char32_t next_distinct(std::string_view utf8, std::size_t& position) {
  const auto byte = static_cast<unsigned char>(utf8[position]);
  if (byte < 0x80) return ++position, byte;
  const char32_t c = text::next_character(utf8, position);
  return c == text::kInvalid ? kMalformed + byte : c;
}

/// Appends what next_distinct gave.
void append_distinct(std::string& utf8, char32_t c);

}  // namespace quarno::desktop
