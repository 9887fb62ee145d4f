#include "providers/desktop/access/page_store.h"

#include <algorithm>

#include "providers/desktop/access/rc4.h"

namespace quarno::desktop::access {

PageStore::PageStore(std::unique_ptr<platform::DataFile> file, const Header& header)
    : file_(std::move(file)), jet3_(header.jet3), page_size_(header.page_size()), page_key_(header.page_key) {
  // Row pointers have 24 bits for a page; a part of a page at the end counts for nothing.
  constexpr std::uint64_t kMostPages = 1U << 24;
  page_count_ = static_cast<std::uint32_t>(std::min(file_->size() / page_size_, kMostPages));
}

Bytes PageStore::page(std::uint32_t number) {
  Slot& slot = slots_[number % slots_.size()];
  if (slot.number == number && number != 0) return Bytes(slot.bytes);
  slot.number = 0;
  const Bytes bytes = read(number, slot.bytes);
  slot.number = number;
  return bytes;
}

Bytes PageStore::read(std::uint32_t number, std::string& buffer) {
  if (number == 0 || number >= page_count_) throw Damaged();
  buffer.resize(page_size_);
  if (file_->read_at(std::uint64_t{number} * page_size_, buffer) != page_size_) throw Damaged();
  if (page_key_ != 0) {
    const std::uint32_t key = page_key_ ^ number;
    rc4(buffer, {static_cast<std::uint8_t>(key), static_cast<std::uint8_t>(key >> 8),
                 static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 24)});
  }
  return Bytes(buffer);
}

DataPage::DataPage(Bytes page, bool jet3, std::optional<std::uint32_t> owner)
    : page_(page), table_(jet3 ? 10 : 14) {
  if (page.u8(0) != static_cast<std::uint8_t>(PageType::data)) throw Damaged();
  if (owner && page.u32(4) != *owner) throw Damaged();
  row_count_ = page.u16(table_ - 2);
  if (row_count_ > 256 || !page.holds(table_, 2 * row_count_)) throw Damaged();
}

DataPage::Row DataPage::row(std::size_t number) const {
  const auto offset = [&](std::size_t i) { return little_endian::u16(page_.data() + table_ + 2 * i); };
  const std::uint16_t own = offset(number);
  const std::size_t start = place(own);
  const std::size_t end = number == 0 ? page_.size() : place(offset(number - 1));
  // An erased row may lie anywhere; it is never read.
  if ((own & 0xC000) == 0xC000) return {Kind::erased, {}};
  if (start < table_ + 2 * row_count_ || start > end || end > page_.size()) return {Kind::damaged, {}};
  const Bytes bytes = page_.part(start, end - start);
  if ((own & 0x4000) != 0) return {Kind::forward, bytes};
  return {(own & 0x8000) != 0 ? Kind::moved : Kind::normal, bytes};
}

}  // namespace quarno::desktop::access
