#include "util/crypt_text.h"

#include <cmath>

#include "common/number_text.h"

namespace quarno::util {
namespace {

constexpr std::string_view kKey = "dorsin";

int key_code(std::size_t position) { return kKey[position % kKey.size()]; }

void append_hexadecimal(std::string& text, int code, char before_single_digit) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto value = static_cast<std::size_t>(code);
  if (value > 15) {
    text.push_back(kDigits[value / 16]);
  } else if (before_single_digit != '\0') {
    text.push_back(before_single_digit);
  }
  text.push_back(kDigits[value % 16]);
}

int hexadecimal(std::string_view characters) {
  return static_cast<int>(leading_number("&H" + std::string(characters)));
}

}  // namespace

int start_value(float random) {
  // To the nearest whole number, halves to even: the default rounding.
  return static_cast<int>(std::nearbyint(random * 10000.0F)) % 255 + 1;
}

std::string cipher_text(std::string_view clear, int start) {
  std::string cipher;
  cipher.reserve(2 + clear.size() * 2);
  append_hexadecimal(cipher, start, '\0');
  int previous = start;
  for (std::size_t i = 0; i < clear.size(); ++i) {
    previous = (static_cast<unsigned char>(clear[i]) + previous) % 255 ^ key_code(i);
    append_hexadecimal(cipher, previous, ' ');
  }
  return cipher;
}

std::string clear_text(std::string_view cipher) {
  std::string clear;
  clear.reserve(cipher.size() / 2);
  int previous = hexadecimal(cipher.substr(0, 2));
  for (std::size_t i = 2; i < cipher.size(); i += 2) {
    const int code = hexadecimal(cipher.substr(i, 2));
    const int mixed = code ^ key_code(i / 2 - 1);
    clear.push_back(static_cast<char>(mixed <= previous ? 255 + mixed - previous : mixed - previous));
    previous = code;
  }
  return clear;
}

}  // namespace quarno::util
