// Texts of a table in its code page. Bytes above 127 of a one-byte code page are looked up in a table made
// once, so that a scan neither calls the system nor allocates.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/code_page.h"

namespace quarno::desktop::dbase {

/// The code page that a header's language driver byte names; nothing for 0 and for unknown ones.
std::optional<int> code_page_of_driver(std::uint8_t language_driver);

/// The byte to write for a code page; 0 when there is none.
std::uint8_t driver_of_code_page(int code_page);

/// The code page that the text of a .cpg file names: "1252", "CP1251", "UTF-8", "ISO 88591".
std::optional<int> code_page_of_text(std::string_view text);

class TextForm {
 public:
  explicit TextForm(int code_page);

  int code_page() const { return code_page_; }
  /// A view into `bytes`, or into `buffer` when a byte had to be translated.
  std::string_view decode(std::string_view bytes, std::string& buffer);
  /// Nothing when the code page lacks a character.
  std::optional<std::string> encode(std::string_view utf8);

 private:
  struct Letter {
    unsigned char size = 0;
    std::array<char, 4> bytes{};
  };

  int code_page_;
  bool one_byte_ = true;
  bool can_encode_ = true;
  std::unique_ptr<platform::TextCodec> codec_;
  std::array<Letter, 128> upper_{};
};

}  // namespace quarno::desktop::dbase
