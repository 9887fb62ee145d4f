#include "providers/desktop/access/long_value.h"

namespace quarno::desktop::access {
namespace {

constexpr std::size_t kHead = 12;
constexpr std::uint32_t kInline = 0x80000000;
constexpr std::uint32_t kOneRow = 0x40000000;
constexpr std::uint64_t kLinkCost = 64;  // of finding a row, whatever it brings

void take_off(std::uint64_t& budget, std::uint64_t cost) {
  if (cost > budget) throw Damaged();
  budget -= cost;
}

Bytes long_value_row(PageStore& pages, RowPointer pointer) {
  const DataPage page(pages.page(pointer.page), pages.jet3(), DataPage::kLongValues);
  if (pointer.row >= page.row_count()) throw Damaged();
  const DataPage::Row row = page.row(pointer.row);
  if (row.kind != DataPage::Kind::normal) throw Damaged();
  return row.bytes;
}

}  // namespace

void append_long_value(PageStore& pages, Bytes field, std::uint64_t& budget, std::string& result) {
  const std::uint32_t stored = field.u32(0);
  const std::size_t length = stored & 0x3FFFFFFF;
  if ((stored & kInline) != 0) {
    if (field.rest(kHead).size() != length) throw Damaged();
    result += field.rest(kHead).text();
    return;
  }
  if (length > pages.size()) throw Damaged();
  take_off(budget, length + kLinkCost);
  std::uint32_t next = field.u32(4);
  if ((stored & kOneRow) != 0) {
    const Bytes row = long_value_row(pages, row_pointer(next));
    if (row.size() != length) throw Damaged();
    result += row.text();
    return;
  }
  std::size_t missing = length;
  // Every link brings a byte at least and lies on a page of its own, so that the walk ends.
  for (std::uint32_t links = 0; missing > 0; ++links) {
    if (next == 0 || links == pages.page_count()) throw Damaged();
    take_off(budget, kLinkCost);
    const Bytes row = long_value_row(pages, row_pointer(next));
    const Bytes piece = row.rest(4);
    if (piece.empty() || piece.size() > missing) throw Damaged();
    result += piece.text();
    missing -= piece.size();
    next = row.u32(0);
  }
}

}  // namespace quarno::desktop::access
