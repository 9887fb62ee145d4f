// The cipher of CCrypt, as pure text. A cipher text is a start value in hexadecimal, then two characters for
// each character of the clear text. Stored cipher texts depend on its quirks: a start value below 16 is
// written as one digit but read as two characters; and code 0 comes back as 255, code 255 behind a group of
// 255 as 0.
#pragma once

#include <string>
#include <string_view>

namespace quarno::util {

/// The start value, 1 to 255, that belongs to a random number from 0 up to 1.
int start_value(float random);

/// The cipher text, in ASCII, of a text in bytes of the code page.
std::string cipher_text(std::string_view clear, int start);

/// The text, in bytes of the code page, of a cipher text with one byte for each character. Of two characters
/// the hexadecimal digits up to the first other character count, blanks left out; none are 0.
std::string clear_text(std::string_view cipher);

}  // namespace quarno::util
