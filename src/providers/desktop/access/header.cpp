#include "providers/desktop/access/header.h"

#include <array>
#include <cmath>
#include <string>

#include "common/text.h"
#include "providers/desktop/access/bytes.h"
#include "providers/desktop/access/rc4.h"
#include "providers/desktop/access/text_reader.h"

namespace quarno::desktop::access {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kJetSign = "\0\1\0\0Standard Jet DB\0"sv;
constexpr std::string_view kAceSign = "\0\1\0\0Standard ACE DB\0"sv;
constexpr std::array<std::uint8_t, 4> kHeaderKey = {0xC7, 0xDA, 0x39, 0x6B};
constexpr std::uint8_t kLastVersion = 6;
constexpr std::size_t kEncodedFrom = 0x18;
constexpr std::size_t kEncryptionLength = 0x299;  // of the descriptor that stands there in encrypted files

// The creation date masks it; without a password the mask itself is what stands there.
std::string jet4_password(Bytes header) {
  const double created = little_endian::f64(header.part(0x72, 8).data());
  const bool is_usable = std::isfinite(created) && std::fabs(created) < 2147483648.0;
  const auto mask = is_usable ? static_cast<std::uint32_t>(static_cast<std::int32_t>(created)) : 0U;
  std::string masked(header.part(0x42, 40).text());
  for (std::size_t i = 0; i < masked.size(); ++i) {
    masked[i] = static_cast<char>(static_cast<std::uint8_t>(masked[i]) ^ (mask >> (i % 4 * 8) & 0xFF));
  }
  std::string password;
  append_utf16(password, Bytes(masked));
  return password.substr(0, password.find('\0'));
}

}  // namespace

Header header(std::string_view first_bytes) {
  Header result;
  const bool jet = first_bytes.starts_with(kJetSign);
  const bool ace = first_bytes.starts_with(kAceSign);
  if (first_bytes.size() < kHeaderBytes || (!jet && !ace)) return result;
  std::string copy(first_bytes.substr(0, kHeaderBytes));
  result.version = static_cast<std::uint8_t>(copy[0x14]);
  result.jet3 = result.version == 0;
  if (result.version > kLastVersion) {
    result.state = HeaderState::too_new;
    return result;
  }
  rc4(std::span(copy).subspan(kEncodedFrom, result.jet3 ? 126 : 128), kHeaderKey);
  const Bytes bytes(copy);
  result.page_key = bytes.u32(0x3E);
  if (ace && result.page_key != 0 && bytes.u16(kEncryptionLength) != 0) {
    result.state = HeaderState::encrypted;
    return result;
  }
  result.code_page = bytes.u16(0x3C);
  if (result.jet3) {
    const std::string_view stored = bytes.part(0x42, 20).text();
    result.password = stored.substr(0, stored.find('\0'));
  } else {
    result.password = jet4_password(bytes);
  }
  result.state = HeaderState::good;
  return result;
}

}  // namespace quarno::desktop::access
