#include "providers/desktop/access/table_definition.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>

#include "common/text.h"

namespace quarno::desktop::access {
namespace {

constexpr std::size_t kMostPages = 64;  // of one definition
constexpr std::size_t kMostColumns = 255;
constexpr std::size_t kMostIndexes = 512;
constexpr std::size_t kIndexColumns = 10;
constexpr std::uint16_t kNoColumn = 0xFFFF;

// Where things stand, by the layout of the file. All in bytes.
struct Layout {
  std::size_t row_count, autonumber, kind, counts, usage_map, index_heads, index_head_size;
  std::size_t column_size, column_number, column_variable, column_position, column_detail, column_flags,
      column_offset, column_length;
  std::size_t real_index_size, real_index_columns, real_index_flags;
  std::size_t index_size, index_real, index_side, index_type;
};
constexpr Layout kJet3 = {12, 16, 20, 21, 35, 43, 8, 18, 1, 3, 5, 9, 13, 14, 16, 39, 0, 38, 20, 4, 8, 19};
constexpr Layout kJet4 = {16, 20, 40, 41, 55, 63, 12, 25, 5, 7, 9, 11, 15, 21, 23, 52, 4, 46, 28, 8, 12, 23};

constexpr std::uint8_t kFixed = 0x01;
constexpr std::uint8_t kAutonumber = 0x04;
constexpr std::uint8_t kAutomaticGuid = 0x40;
constexpr std::uint8_t kCalculated = 0xC0;

// The pages of a definition in one piece: the first whole, the others without their heads.
std::string whole_definition(PageStore& pages, std::uint32_t number) {
  std::string result;
  std::unordered_set<std::uint32_t> seen;
  while (number != 0) {
    if (seen.size() >= kMostPages || !seen.insert(number).second) throw Damaged();
    const Bytes page = pages.page(number);
    if (page.u8(0) != static_cast<std::uint8_t>(PageType::definition)) throw Damaged();
    result += page.rest(result.empty() ? 0 : 8).text();
    number = page.u32(4);
  }
  return result;
}

// Reads what stands one after the other.
class Reader {
 public:
  Reader(Bytes bytes, std::size_t at) : bytes_(bytes), at_(at) {}

  Bytes take(std::size_t count) {
    const Bytes result = bytes_.part(at_, count);
    at_ += count;
    return result;
  }
  std::string take_name(bool jet3, TextReader& texts) {
    const std::size_t size = jet3 ? take(1).u8(0) : take(2).u16(0);
    return texts.name(take(size));
  }

 private:
  Bytes bytes_;
  std::size_t at_;
};

Column column(Bytes record, const Layout& at, bool jet3) {
  Column result;
  result.type = result.stored_type = ColumnType{record.u8(0)};
  result.number = record.u16(at.column_number);
  result.variable_index = record.u16(at.column_variable);
  result.position = record.u16(at.column_position);
  result.fixed_offset = record.u16(at.column_offset);
  result.length = record.u16(at.column_length);
  const std::uint8_t flags = record.u8(at.column_flags);
  result.is_fixed = (flags & kFixed) != 0;
  result.is_autonumber = (result.type == ColumnType::long_integer && (flags & kAutonumber) != 0) ||
                         (result.type == ColumnType::guid && (flags & kAutomaticGuid) != 0);
  if (jet3) {
    result.code_page = record.u16(at.column_detail + 2);
  } else {
    result.is_calculated = (record.u8(16) & kCalculated) == kCalculated;
  }
  if (result.type == ColumnType::decimal) {
    result.precision = record.u8(at.column_detail);
    result.scale = record.u8(at.column_detail + 1);
  }
  return result;
}

void read_columns(TableDesign& design, Reader& reader, std::size_t count, const Layout& at, bool jet3,
                  TextReader& texts) {
  for (std::size_t i = 0; i < count; ++i)
    design.columns.push_back(column(reader.take(at.column_size), at, jet3));
  std::set<std::string> taken;
  for (Column& each : design.columns) {
    each.name = unused_name(reader.take_name(jet3, texts), "Column" + std::to_string(each.number), taken);
  }
  std::sort(design.columns.begin(), design.columns.end(), [](const Column& a, const Column& b) {
    return std::pair(a.position, a.number) < std::pair(b.position, b.number);
  });
}

// What backs indexes: several of them may share one.
Index real_index(Bytes record, const Layout& at, const TableDesign& design) {
  Index result;
  for (std::size_t i = 0; i < kIndexColumns; ++i) {
    const std::uint16_t number = record.u16(at.real_index_columns + 3 * i);
    const bool descending = record.u8(at.real_index_columns + 3 * i + 2) != 1;
    const auto found = std::find_if(design.columns.begin(), design.columns.end(),
                                    [&](const Column& each) { return each.number == number; });
    if (number == kNoColumn || found == design.columns.end()) continue;
    result.columns.push_back({static_cast<std::size_t>(found - design.columns.begin()), descending});
  }
  const std::uint8_t flags = record.u8(at.real_index_flags);
  result.is_unique = (flags & 0x01) != 0;
  result.ignores_nulls = (flags & 0x02) != 0;
  result.is_required = (flags & 0x08) != 0;
  return result;
}

void read_indexes(TableDesign& design, Reader& reader, std::size_t logical, std::size_t real,
                  const Layout& at, bool jet3, TextReader& texts) {
  if (logical > kMostIndexes || real > kMostIndexes) throw Damaged();
  std::vector<Index> reals;
  for (std::size_t i = 0; i < real; ++i) {
    reals.push_back(real_index(reader.take(at.real_index_size), at, design));
  }
  std::vector<Bytes> records;
  for (std::size_t i = 0; i < logical; ++i) records.push_back(reader.take(at.index_size));
  std::set<std::string> taken;
  for (const Bytes record : records) {
    const std::string name = reader.take_name(jet3, texts);
    // Where another table refers to this one, the name is made up and not to be shown.
    if (name.starts_with('.')) continue;
    const std::uint32_t backing = record.u32(at.index_real);
    if (backing >= reals.size() || reals[backing].columns.empty()) {
      design.indexes_are_damaged = true;
      continue;
    }
    Index index = reals[backing];
    index.name = unused_name(name, "Index" + std::to_string(backing), taken);
    index.is_primary = record.u8(at.index_type) == 1;
    index.is_foreign_key = record.u8(at.index_type) == 2;
    design.indexes.push_back(std::move(index));
  }
}

}  // namespace

const Column* TableDesign::find(std::string_view name) const {
  for (const Column& column : columns) {
    if (text::equal_fold(column.name, name)) return &column;
  }
  return nullptr;
}

std::string unused_name(const std::string& name, const std::string& fallback, std::set<std::string>& taken) {
  const std::string& wanted = name.empty() ? fallback : name;
  std::string result = wanted;
  for (int i = 2; !taken.insert(text::lower_ascii(result)).second; ++i)
    result = wanted + "_" + std::to_string(i);
  return result;
}

TableDesign table_definition(PageStore& pages, TextReader& texts, std::uint32_t page) {
  const bool jet3 = pages.jet3();
  const Layout& at = jet3 ? kJet3 : kJet4;
  const std::string definition = whole_definition(pages, page);
  const Bytes bytes(definition);
  TableDesign design;
  design.page = page;
  design.row_count = bytes.u32(at.row_count);
  design.last_autonumber = bytes.u32(at.autonumber);
  design.is_system = bytes.u8(at.kind) == 'S';
  design.columns_ever = bytes.u16(at.counts);
  design.has_variable_columns = bytes.u16(at.counts + 2) != 0;
  design.usage_map = bytes.u32(at.usage_map);
  const std::size_t columns = bytes.u16(at.counts + 4);
  const std::size_t logical = bytes.u32(at.counts + 6);
  const std::size_t real = bytes.u32(at.counts + 10);
  if (columns > kMostColumns || real > kMostIndexes) throw Damaged();
  Reader reader(bytes, at.index_heads + real * at.index_head_size);
  read_columns(design, reader, columns, at, jet3, texts);
  try {
    read_indexes(design, reader, logical, real, at, jet3, texts);
  } catch (const Damaged&) {
    design.indexes_are_damaged = true;
  }
  return design;
}

namespace {

// The pages that a bitmap names, the first bit standing for `first`.
void add_pages(Bytes bitmap, std::uint64_t first, std::uint32_t page_count,
               std::vector<std::uint32_t>& result, std::uint64_t& damaged) {
  for (std::size_t i = 0; i < bitmap.size(); ++i) {
    const std::uint8_t byte = little_endian::u8(bitmap.data() + i);
    for (unsigned bit = 0; byte >> bit != 0; ++bit) {
      if ((byte >> bit & 1U) == 0) continue;
      const std::uint64_t page = first + 8 * i + bit;
      if (page > 0 && page < page_count) {
        result.push_back(static_cast<std::uint32_t>(page));
      } else {
        ++damaged;
      }
    }
  }
}

}  // namespace

std::vector<std::uint32_t> data_pages(PageStore& pages, const TableDesign& design, std::uint64_t& damaged) {
  std::vector<std::uint32_t> result;
  const RowPointer pointer = row_pointer(design.usage_map);
  const DataPage page(pages.page(pointer.page), pages.jet3(), std::nullopt);
  if (pointer.row >= page.row_count()) throw Damaged();
  const std::string map(page.row(pointer.row).bytes.text());
  const Bytes bytes(map);
  if (bytes.u8(0) == 0) {
    add_pages(bytes.rest(5), bytes.u32(1), pages.page_count(), result, damaged);
  } else if (bytes.u8(0) == 1) {
    std::unordered_set<std::uint32_t> seen;
    const std::uint64_t pages_each = (pages.page_size() - 4) * 8;
    for (std::size_t i = 0; bytes.holds(1 + 4 * i, 4); ++i) {
      const std::uint32_t bitmap = bytes.u32(1 + 4 * i);
      if (bitmap == 0) continue;
      const bool is_new = bitmap < pages.page_count() && seen.insert(bitmap).second;
      const Bytes content = is_new ? pages.page(bitmap) : Bytes();
      if (!is_new || content.u8(0) != static_cast<std::uint8_t>(PageType::usage_bitmap)) {
        ++damaged;
        continue;
      }
      add_pages(content.rest(4), i * pages_each, pages.page_count(), result, damaged);
    }
  } else {
    throw Damaged();
  }
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

}  // namespace quarno::desktop::access
