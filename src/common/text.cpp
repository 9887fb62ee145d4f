#include "common/text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace quarno::text {
namespace {

// Code points of bytes 0x80 to 0x9F; the other bytes are Latin-1.
constexpr std::array<char16_t, 32> kWindows1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Bytes that follow a lead byte, or 0 when it cannot lead a longer sequence.
int continuation_count(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  if (lead >= 0xF0 && lead <= 0xF4) return 3;
  return 0;
}

}  // namespace

// Eight bytes at a time: most texts are columns of a few characters.
bool is_ascii(std::string_view s) {
  constexpr std::uint64_t kHigh = 0x8080808080808080;
  const char* at = s.data();
  std::size_t left = s.size();
  std::uint64_t all = 0;
  for (; left >= sizeof all; left -= sizeof all, at += sizeof all) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, at, sizeof eight);
    all |= eight;
  }
  for (; left > 0; --left, ++at) all |= static_cast<unsigned char>(*at);
  return (all & kHigh) == 0;
}

char32_t next_character(std::string_view utf8, std::size_t& position) {
  const auto lead = static_cast<unsigned char>(utf8[position++]);
  if (lead < 0x80) return lead;
  const int count = continuation_count(lead);
  if (count == 0 || position + static_cast<std::size_t>(count) > utf8.size()) return kInvalid;
  char32_t value = lead & (0x3Fu >> count);
  for (int i = 0; i < count; ++i) {
    const auto byte = static_cast<unsigned char>(utf8[position + static_cast<std::size_t>(i)]);
    if ((byte & 0xC0u) != 0x80u) return kInvalid;
    value = (value << 6) | (byte & 0x3Fu);
  }
  const bool overlong = (count == 2 && value < 0x800) || (count == 3 && value < 0x10000);
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  if (overlong || surrogate || value > 0x10FFFF) return kInvalid;
  position += static_cast<std::size_t>(count);
  return value;
}

void append_character(std::string& utf8, char32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  const auto put = [&utf8](char32_t byte) { utf8.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

std::size_t length(std::string_view utf8) {
  std::size_t count = 0;
  for (std::size_t position = 0; position < utf8.size(); ++count) next_character(utf8, position);
  return count;
}

std::string_view left(std::string_view utf8, std::size_t count) {
  // A text of no more bytes than characters asked for needs no decoding: the usual case of a short value.
  if (utf8.size() <= count) return utf8;
  std::size_t position = 0;
  while (position < utf8.size() && count-- > 0) next_character(utf8, position);
  return utf8.substr(0, position);
}

std::string_view trim_blanks(std::string_view utf8) {
  const auto first = utf8.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return utf8.substr(first, utf8.find_last_not_of(' ') - first + 1);
}

std::string replace_all(std::string_view utf8, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(utf8);
  std::string result;
  std::size_t start = 0;
  for (std::size_t at; (at = utf8.find(from, start)) != std::string_view::npos; start = at + from.size()) {
    result.append(utf8, start, at - start).append(to);
  }
  return result.append(utf8, start);
}

std::vector<std::string_view> split(std::string_view utf8, std::string_view separator) {
  if (utf8.empty()) return {};
  std::vector<std::string_view> pieces;
  std::size_t start = 0;
  if (!separator.empty()) {
    for (std::size_t at; (at = utf8.find(separator, start)) != std::string_view::npos;) {
      pieces.push_back(utf8.substr(start, at - start));
      start = at + separator.size();
    }
  }
  pieces.push_back(utf8.substr(start));
  return pieces;
}

std::string join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string result;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) result.append(separator);
    result.append(pieces[i]);
  }
  return result;
}

bool equal_fold(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return fold(x) == fold(y); });
}

std::string lower_ascii(std::string_view utf8) {
  std::string result(utf8);
  std::transform(result.begin(), result.end(), result.begin(), fold);
  return result;
}

std::size_t hash_fold(std::string_view utf8) {
  // FNV-1a: short names, no attacker chooses them.
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : utf8) hash = (hash ^ static_cast<unsigned char>(fold(c))) * 0x100000001B3u;
  return static_cast<std::size_t>(hash);
}

std::string upper(std::string_view utf8) {
  std::string result;
  result.reserve(utf8.size());
  for (std::size_t position = 0; position < utf8.size();) {
    const std::size_t start = position;
    char32_t c = next_character(utf8, position);
    if (c == kInvalid) {
      result.push_back(utf8[start]);
      continue;
    }
    const bool ascii = c >= 'a' && c <= 'z';
    const bool latin1 = c >= 0xE0 && c <= 0xFE && c != 0xF7;
    // Latin Extended-A pairs capital and small letters side by side; the parity changes after U+0138 and
    // U+0178.
    const bool odd_small = (c >= 0x100 && c <= 0x137 && c != 0x131) || (c >= 0x14A && c <= 0x177);
    const bool even_small = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    if (ascii || latin1) {
      c -= 32;
    } else if (c == 0xFF) {
      c = 0x178;
    } else if ((odd_small && c % 2 == 1) || (even_small && c % 2 == 0)) {
      c -= 1;
    }
    append_character(result, c);
  }
  return result;
}

std::string to_windows_1252(std::string_view utf8) {
  if (is_ascii(utf8)) return std::string(utf8);
  std::string bytes;
  bytes.reserve(utf8.size());
  for (std::size_t position = 0; position < utf8.size();) {
    const char32_t c = next_character(utf8, position);
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
      bytes.push_back(static_cast<char>(c));
      continue;
    }
    const auto* const found = std::find(kWindows1252High.begin(), kWindows1252High.end(), c);
    bytes.push_back(
        found == kWindows1252High.end() ? '?' : static_cast<char>(0x80 + (found - kWindows1252High.begin())));
  }
  return bytes;
}

std::string from_windows_1252(std::string_view bytes) {
  if (is_ascii(bytes)) return std::string(bytes);
  std::string utf8;
  utf8.reserve(bytes.size() + bytes.size() / 4);
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    append_character(utf8, value >= 0x80 && value <= 0x9F ? kWindows1252High[value - 0x80u] : value);
  }
  return utf8;
}

}  // namespace quarno::text
