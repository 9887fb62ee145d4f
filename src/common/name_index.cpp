#include "common/name_index.h"

#include <bit>

#include "common/text.h"

namespace quarno {

NameIndex::NameIndex(std::vector<std::string> names)
    : names_(std::move(names)), slots_(std::bit_ceil(names_.size() * 2 + 1), kUnknown) {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (find(names_[i]) != kUnknown) continue;
    std::size_t at = text::hash_fold(names_[i]) & (slots_.size() - 1);
    while (slots_[at] != kUnknown) at = (at + 1) & (slots_.size() - 1);
    slots_[at] = static_cast<std::int32_t>(i);
  }
}

std::int32_t NameIndex::find(std::string_view name) const {
  if (slots_.empty()) return kUnknown;
  std::size_t at = text::hash_fold(name) & (slots_.size() - 1);
  for (; slots_[at] != kUnknown; at = (at + 1) & (slots_.size() - 1)) {
    const std::string& known = names_[static_cast<std::size_t>(slots_[at])];
    if (known == name || text::equal_fold(known, name)) return slots_[at];
  }
  return kUnknown;
}

}  // namespace quarno
