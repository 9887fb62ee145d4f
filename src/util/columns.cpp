#include "util/columns.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace quarno::util {
namespace {

// Columns have few bytes, so that looking at eight bytes at a time costs less than one search for each
// column.
using Eight = std::uint64_t;
constexpr Eight kLow = 0x0101010101010101;
constexpr Eight kHigh = kLow << 7;

Eight load(const char* at) {
  Eight eight = 0;
  std::memcpy(&eight, at, sizeof eight);
  if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
  return eight;
}

// The high bit of each byte that is zero, and no other bit.
Eight zeros(Eight eight) { return ~(((eight & ~kHigh) + ~kHigh) | eight) & kHigh; }

}  // namespace

bool Columns::split(std::string_view line, char separator) {
  // Behind the line lie zeros, so that its last bytes are looked at like all others.
  if (spare_line_.size() < line.size() + kBehind) spare_line_.resize(line.size() + kBehind);
  char* const bytes = spare_line_.data();
  std::memcpy(bytes, line.data(), line.size());
  std::memset(bytes + line.size(), 0, kBehind);
  // Room for what eight bytes can add beyond the most, and for the end.
  const std::size_t room = std::min(line.size(), kMost) + sizeof(Eight) + 2;
  if (spare_borders_.size() < room) spare_borders_.resize(room);

  const Eight wanted = kLow * static_cast<unsigned char>(separator);
  std::size_t* border = spare_borders_.data();
  const std::size_t* const too_many = border + kMost + 1;
  *border++ = 0;
  Eight all = 0;
  for (std::size_t at = 0; at < line.size(); at += sizeof(Eight)) {
    const Eight eight = load(bytes + at);
    all |= eight;
    for (Eight hits = zeros(eight ^ wanted); hits != 0; hits &= hits - 1) {
      *border++ = at + static_cast<std::size_t>(std::countr_zero(hits)) / 8 + 1;
    }
    if (border >= too_many) return false;
  }
  if (!line.empty()) *border++ = line.size() + 1;

  line_.swap(spare_line_);
  borders_.swap(spare_borders_);
  length_ = line.size();
  count_ = static_cast<std::size_t>(border - borders_.data()) - 1;
  is_ascii_ = (all & kHigh) == 0;
  return true;
}

}  // namespace quarno::util
