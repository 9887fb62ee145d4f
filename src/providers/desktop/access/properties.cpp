#include "providers/desktop/access/properties.h"

#include <vector>

namespace quarno::desktop::access {
namespace {

using namespace std::string_view_literals;

constexpr std::uint16_t kObject = 0x00;
constexpr std::uint16_t kColumn = 0x01;
constexpr std::uint16_t kNames = 0x80;
constexpr std::size_t kChunkHead = 6;

void read_names(Bytes chunk, TextReader& texts, std::vector<std::string>& names) {
  for (std::size_t at = 0; at < chunk.size();) {
    const std::size_t size = chunk.u16(at);
    names.push_back(texts.name(chunk.part(at + 2, size)));
    at += 2 + size;
  }
}

void read_values(Bytes chunk, TextReader& texts, const std::vector<std::string>& names,
                 const std::function<void(const Property&)>& take) {
  constexpr std::size_t kItemHead = 8;
  const std::size_t head = chunk.u32(0);
  const std::string owner = texts.name(chunk.part(6, chunk.u16(4)));
  if (head < 6) throw Damaged();
  for (std::size_t at = head; at < chunk.size();) {
    const Bytes item = chunk.part(at, chunk.u16(at));
    if (item.size() < kItemHead || item.u16(4) >= names.size()) throw Damaged();
    take({owner, names[item.u16(4)], item.u8(3), item.part(kItemHead, item.u16(6))});
    at += item.size();
  }
}

}  // namespace

bool read_properties(Bytes value, TextReader& texts, const std::function<void(const Property&)>& take) try {
  if (value.empty()) return true;
  const std::string_view sign = value.part(0, 4).text();
  if (sign != "KKD\0"sv && sign != "MR2\0"sv) return false;
  std::vector<std::string> names;
  for (std::size_t at = 4; at < value.size();) {
    const Bytes chunk = value.part(at, value.u32(at));
    const std::uint16_t type = chunk.u16(4);
    const Bytes content = chunk.rest(kChunkHead);
    if (type == kNames) {
      names.clear();
      read_names(content, texts, names);
    } else if (type == kObject || type == kColumn) {
      read_values(content, texts, names, take);
    }
    at += chunk.size();
  }
  return true;
} catch (const Damaged&) {
  return false;
}

}  // namespace quarno::desktop::access
