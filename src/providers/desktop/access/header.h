// What the first page of an Access file says of the whole. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarno::desktop::access {

enum class HeaderState {
  good,
  foreign,    // no such file, or cut off within the header
  too_new,    // a version that came after this reader
  encrypted,  // real encryption, which takes the password to read anything
};

struct Header {
  HeaderState state = HeaderState::foreign;
  bool jet3 = false;           // the old layout: 2 KB pages, text in a code page
  std::uint8_t version = 0;    // 0 Jet 3, 1 Jet 4, 2 to 6 the .accdb versions
  std::uint32_t page_key = 0;  // of encoded pages; 0: plain
  int code_page = 0;           // of Jet 3 text
  std::string password;        // UTF-8; of Jet 3 the bytes as they are

  std::size_t page_size() const { return jet3 ? 2048 : 4096; }
};

/// Bytes of the file's beginning that header() looks at.
inline constexpr std::size_t kHeaderBytes = 1024;

Header header(std::string_view first_bytes);

}  // namespace quarno::desktop::access
