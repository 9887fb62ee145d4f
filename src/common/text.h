// Text as the library sees it: UTF-8 in std::string, with lengths, cuts and positions in characters (code
// points). A byte that is not part of well-formed UTF-8 counts as one character and passes through cuts
// unchanged. Everything here is pure and may be called from any thread.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace quarno::text {

/// Stands for a malformed byte when a character is decoded.
inline constexpr char32_t kInvalid = 0xFFFFFFFF;

/// Decodes the character at `position` and moves `position` behind it. `position` must be inside `utf8`.
char32_t next_character(std::string_view utf8, std::size_t& position);

/// Appends one character as UTF-8; a value that is no Unicode scalar becomes U+FFFD.
void append_character(std::string& utf8, char32_t character);

/// Number of characters.
std::size_t length(std::string_view utf8);

/// The first `count` characters, or the whole text when it is shorter. A view into the argument.
std::string_view left(std::string_view utf8, std::size_t count);

/// The text without leading and trailing blanks (character 32 only). A view into the argument.
std::string_view trim_blanks(std::string_view utf8);
inline std::string_view trim(std::string_view utf8) {
  return !utf8.empty() && utf8.front() != ' ' && utf8.back() != ' ' ? utf8 : trim_blanks(utf8);
}

/// Every `from` replaced by `to`; an empty `from` leaves the text as it is.
std::string replace_all(std::string_view utf8, std::string_view from, std::string_view to);

/// The pieces between separators: "" gives no piece, an empty separator one piece. Views into the argument.
std::vector<std::string_view> split(std::string_view utf8, std::string_view separator);

/// The pieces with `separator` between them.
std::string join(const std::vector<std::string>& pieces, std::string_view separator);

/// Whether two short texts are the same bytes, without a call: it costs more than the comparison.
inline bool same_bytes(std::string_view a, std::string_view b) {
  const std::size_t size = a.size();
  if (size != b.size()) return false;
  if (size >= 8) {
    for (std::size_t i = 0; i + 8 < size; i += 8) {
      if (std::memcmp(a.data() + i, b.data() + i, 8) != 0) return false;
    }
    return std::memcmp(a.data() + size - 8, b.data() + size - 8, 8) == 0;
  }
  if (size >= 4) {
    return std::memcmp(a.data(), b.data(), 4) == 0 &&
           std::memcmp(a.data() + size - 4, b.data() + size - 4, 4) == 0;
  }
  for (std::size_t i = 0; i < size; ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

/// ASCII letters folded; other characters are compared as they are. Names of members and fields use this.
bool equal_fold(std::string_view a, std::string_view b);
std::string lower_ascii(std::string_view utf8);

/// Hash that agrees with equal_fold.
std::size_t hash_fold(std::string_view utf8);

/// Capital letters of ASCII, Latin-1 and Latin Extended-A; other characters stay.
std::string upper(std::string_view utf8);

/// Whether all bytes are below 128.
bool is_ascii(std::string_view bytes);

/// Windows-1252 bytes of a UTF-8 text. A character the code page lacks, or a malformed byte, becomes "?".
std::string to_windows_1252(std::string_view utf8);

/// UTF-8 of Windows-1252 bytes. The five bytes the code page leaves open become the C1 controls of the same
/// number, so that every byte comes back unchanged.
std::string from_windows_1252(std::string_view bytes);

}  // namespace quarno::text
