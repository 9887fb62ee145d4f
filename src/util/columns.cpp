#include "util/columns.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "util/byte_hits.h"

namespace quarno::util {

bool Columns::split(std::string_view line, char separator) {
  // Behind the line lie zeros, so that its last bytes are looked at like all others.
  static_assert(kHitBytes >= kShort);
  if (spare_line_.size() < line.size() + kHitBytes) spare_line_.resize(line.size() + kHitBytes);
  char* const bytes = spare_line_.data();
  std::memcpy(bytes, line.data(), line.size());
  std::memset(bytes + line.size(), 0, kHitBytes);
  // Room for what one step can add beyond the most, and for the end.
  const std::size_t room = std::min(line.size(), kMost) + kHitBytes + 2;
  if (spare_borders_.size() < room) spare_borders_.resize(room);

  std::size_t* border = spare_borders_.data();
  const std::size_t* const too_many = border + kMost + 1;
  *border++ = 0;
  bool is_ascii = true;
  for (std::size_t at = 0; at < line.size(); at += kHitBytes) {
    auto [bits, step_is_ascii] = hits(bytes + at, separator);
    is_ascii = is_ascii && step_is_ascii;
    for (; bits != 0; bits &= bits - 1) *border++ = at + static_cast<std::size_t>(std::countr_zero(bits)) + 1;
    if (border >= too_many) return false;
  }
  if (!line.empty()) *border++ = line.size() + 1;

  line_.swap(spare_line_);
  borders_.swap(spare_borders_);
  length_ = line.size();
  count_ = static_cast<std::size_t>(border - borders_.data()) - 1;
  is_ascii_ = is_ascii;
  return true;
}

}  // namespace quarno::util
