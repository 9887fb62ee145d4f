// A small Jet 4 file made from bytes, with what the real files at hand lack: every type, calculated columns,
// moved, erased and later-widened rows, long values of every form.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "providers/desktop/access/rc4.h"

namespace quarno::test::made {

constexpr std::size_t kPage = 4096;
using namespace std::string_literals;

inline std::string number(std::uint64_t value, std::size_t bytes) {
  std::string result;
  for (std::size_t i = 0; i < bytes; ++i, value >>= 8) result += static_cast<char>(value & 0xFF);
  return result;
}
inline std::string utf16(std::string_view ascii) {
  std::string result;
  for (const char c : ascii) result += {c, '\0'};
  return result;
}
inline void put(std::string& page, std::size_t at, std::string_view bytes) {
  page.replace(at, bytes.size(), bytes);
}

struct Field {
  std::string name;
  int type;
  int index;  // fixed: its offset; variable: its index, plus kVariable
  int length = 0;
  int flags = 0x02;
  int flags2 = 0;
  int detail = 0;     // precision and scale
  int position = -1;  // in the design, where that is not the order of making
};
constexpr int kVariable = 0x1000;

struct IndexRecord {
  std::string name;
  int column;
  int flags;
  int type;
};

/// `map` is the row of the usage map on page 1.
inline std::string definition(const std::vector<Field>& fields, int map,
                              const std::vector<IndexRecord>& indexes = {}, int columns_ever = 0) {
  std::string page("\2\1", 2);
  const auto count = fields.size();
  page.resize(63);
  page[40] = 'N';
  put(page, 41, number(columns_ever != 0 ? static_cast<unsigned>(columns_ever) : count, 2));
  put(page, 43, number(count, 2));
  put(page, 45, number(count, 2));
  put(page, 47, number(indexes.size(), 4));
  put(page, 51, number(indexes.size(), 4));
  put(page, 55, number(0x100 | static_cast<unsigned>(map), 4));
  page += std::string(12 * indexes.size(), '\0');
  for (std::size_t i = 0; i < count; ++i) {
    const Field& field = fields[i];
    const bool variable = field.index >= kVariable;
    const auto at = static_cast<unsigned>(variable ? field.index - kVariable : field.index);
    page += number(static_cast<unsigned>(field.type), 1) + number(0x659, 4) + number(i, 2) +
            number(variable ? at : 0, 2) +
            number(field.position < 0 ? i : static_cast<unsigned>(field.position), 2) +
            number(static_cast<unsigned>(field.detail), 4) +
            number(static_cast<unsigned>(field.flags | (variable ? 0 : 1)), 1) +
            number(static_cast<unsigned>(field.flags2), 1) + number(0, 4) + number(variable ? 0 : at, 2) +
            number(static_cast<unsigned>(field.length), 2);
  }
  for (const Field& field : fields) page += number(2 * field.name.size(), 2) + utf16(field.name);
  for (const IndexRecord& index : indexes) {
    page += number(0, 4) + number(static_cast<unsigned>(index.column), 2) + '\1';
    for (int i = 1; i < 10; ++i) page += "\xFF\xFF\0"s;
    page += number(0, 12) + number(static_cast<unsigned>(index.flags), 1) + number(0, 5);
  }
  for (std::size_t i = 0; i < indexes.size(); ++i) {
    page += number(0, 4) + number(i, 4) + number(i, 4) + number(0, 1) + number(0, 8) + number(0, 2) +
            number(static_cast<unsigned>(indexes[i].type), 1) + number(0, 4);
  }
  for (const IndexRecord& index : indexes) page += number(2 * index.name.size(), 2) + utf16(index.name);
  page += "\xFF\xFF";
  put(page, 8, number(page.size(), 4));
  page.resize(kPage);
  return page;
}

using Rows = std::vector<std::pair<std::string, int>>;  // bytes and flags

inline std::string data_page(std::uint32_t owner, const Rows& rows) {
  std::string page = "\1\1\0\0"s + number(owner, 4) + number(0, 4) + number(rows.size(), 2);
  page.resize(kPage);
  std::size_t end = kPage;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    end -= rows[i].first.size();
    put(page, end, rows[i].first);
    put(page, 14 + 2 * i, number(end | static_cast<unsigned>(rows[i].second), 2));
  }
  return page;
}

/// `nulls` has a 1 for each value that is there.
inline std::string row(int columns, const std::string& fixed, const std::vector<std::string>& variables,
                       std::uint64_t nulls) {
  std::string result = number(static_cast<unsigned>(columns), 2) + fixed;
  std::string offsets;
  for (const std::string& value : variables) {
    offsets.insert(0, number(result.size(), 2));
    result += value;
  }
  return result + number(result.size(), 2) + offsets + number(variables.size(), 2) +
         number(nulls, static_cast<std::size_t>(columns + 7) / 8);
}

inline std::string usage_map(std::uint32_t bits) { return '\0' + number(0, 4) + number(bits, 64); }
inline std::string pointer(std::uint32_t page, std::uint8_t row) { return number(page << 8 | row, 4); }
inline std::string in_place(const std::string& bytes) {
  return number(0x80000000U | bytes.size(), 4) + number(0, 8) + bytes;
}
inline std::string calculated(const std::string& bytes) {
  return std::string(16, '\0') + number(bytes.size(), 4) + bytes + "\0\0\0"s;
}

/// A name in the catalogue; `id` of a table is the page of its definition.
inline std::string object(std::uint32_t id, int type, std::uint32_t flags, const std::string& name) {
  return row(4, number(id, 4) + number(static_cast<unsigned>(type), 2) + number(flags, 4), {utf16(name)},
             0xF);
}

/// Its pages: 1 maps, 2 and 3 the catalogue, 4 to 6 the table "All", 7 and 8 long values, 9 and 10 the table
/// "Keys" with `key_rows`.
inline std::string file(std::uint32_t page_key = 0, const Rows& key_rows = {},
                        const std::vector<IndexRecord>& key_indexes = {}) {
  constexpr std::uint32_t kLongValues = 0x4C41564C;
  std::string header = "\0\1\0\0Standard Jet DB\0\1"s;
  header.resize(kPage);
  put(header, 0x3E, number(page_key, 4));
  desktop::access::rc4(std::span(header).subspan(0x18, 128), {0xC7, 0xDA, 0x39, 0x6B});

  const std::vector<Field> fields = {
      {"Id", 4, 0, 4, 0x04},
      {"Flag", 1, 0},
      {"Byte", 2, 4},
      {"Short", 3, 5},
      {"Money", 5, 7},
      {"Single", 6, 15},
      {"Double", 7, 19},
      {"Day", 8, 27},
      {"Guid", 15, 35, 16},
      {"Exact", 16, 51, 17, 2, 0, 0x020C},
      {"Big", 19, 68},
      {"Key", 18, 76, 4, 0x07},
      {"Bin", 9, kVariable, 20},
      {"Text", 10, kVariable + 1, 40},
      {"Ole", 11, kVariable + 2},
      {"Memo", 12, kVariable + 3},
      {"Late", 20, kVariable + 4, 42, 2, 0, 0, 17},
      {"Sum", 5, kVariable + 5, 0, 2, 0xC0, 0, 16},
  };
  const std::string fixed =
      number(200, 1) + number(0xFFFE, 2) + number(123456, 8) + "\0\0\x20\xC0"s + "\0\0\0\0\0\0\x04\xC0"s +
      "\0\0\0\0\0\0\xF4\xBF"s + "\x33\x22\x11\0\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"s +
      ("\x80" + number(0, 12) + number(1250, 4)) + number(0x8000000000000000U, 8) + number(3, 4);
  const std::string late = "0000000000000738885:0000000432000000000:7\0"s;
  const auto filled = [&](unsigned id, const std::string& text, const std::string& ole,
                          const std::string& memo) {
    return row(18, number(id, 4) + fixed, {"\1\2\xFF"s, text, ole, memo, late, calculated(number(25000, 8))},
               0x3FFFF);
  };
  const std::string chain = number(6, 4) + pointer(7, 1) + number(0, 4);
  const std::string one_row = number(0x40000004, 4) + pointer(7, 0) + number(0, 4);
  const std::string whole = filled(7,
                                   "\xFF\xFE"
                                   "ab\0\x14\x04\0c"s,
                                   in_place("\0\7"s), chain);
  const std::string moved = filled(8, utf16("x") + "\x3D\xD8\x00\xDE\0\xDC"s, one_row, in_place(utf16("m")));
  // Written when the table had two columns, and none of them variable.
  const std::string early = row(2, number(9, 4), {}, 0x1);

  std::vector<std::string> pages;
  pages.push_back(header);
  pages.push_back(
      data_page(0, {{usage_map(1 << 3), 0}, {usage_map(1 << 5 | 1 << 6), 0}, {usage_map(1 << 10), 0}}));
  pages.push_back(definition({{"Id", 4, 0}, {"Type", 3, 4}, {"Flags", 4, 6}, {"Name", 10, kVariable}}, 0));
  pages.push_back(data_page(2, {{object(2, 1, 0x80000000, "MSysObjects"), 0},
                                {object(4, 1, 0, "All"), 0},
                                {object(9, 1, 0, "Keys"), 0},
                                {object(4, 1, 0, "Twice"), 0},
                                {object(11, 1, 0, "~TMPCLP1"), 0},
                                {object(0x80000001, -32764, 0, "Report"), 0},
                                {object(0x80000002, 6, 0x200000, "Linked"), 0}}));
  pages.push_back(definition(fields, 1, {{"PrimaryKey", 0, 0x89, 1}, {"ByText", 13, 0x82, 0}}));
  pages.push_back(data_page(4, {{whole, 0}, {whole, 0xC000}, {pointer(6, 0), 0x4000}, {early, 0}}));
  pages.push_back(data_page(4, {{moved, 0x8000}}));
  pages.push_back(data_page(kLongValues, {{"\xDE\xAD\xBE\xEF", 0}, {pointer(8, 0) + utf16("lo"), 0}}));
  pages.push_back(data_page(kLongValues, {{pointer(0, 0) + utf16("g"), 0}}));
  pages.push_back(definition({{"Code", 10, kVariable, 20}, {"N", 4, 0}}, 2, key_indexes));
  pages.push_back(data_page(9, key_rows));

  std::string result;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const auto key = static_cast<std::uint32_t>(page_key ^ i);
    if (page_key != 0 && i != 0) {
      desktop::access::rc4(pages[i],
                           {static_cast<std::uint8_t>(key), static_cast<std::uint8_t>(key >> 8),
                            static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 24)});
    }
    result += pages[i];
  }
  return result;
}

/// A row of "Keys".
inline std::string key_row(const std::string& code, std::uint32_t n) {
  return row(2, number(n, 4), {utf16(code)}, 3);
}

}  // namespace quarno::test::made
