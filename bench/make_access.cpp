// The Access file: pages as Access lays them out, of rows packed until a page is full. Texts are compressed,
// short memos stand in their rows, and long ones on pages of their own.
#include <bit>
#include <fstream>
#include <vector>

#include "desktop/access/made_file.h"
#include "desktop_files.h"
#include "measure.h"

namespace quarno::bench {
namespace {

using namespace test::made;

constexpr std::uint32_t kLongValues = 0x4C41564C;
constexpr std::size_t kPageHead = 14;
constexpr std::size_t kLongestInRow = 64;
constexpr int kEmptyMap = 4;  // the row of page 1
enum Page : std::uint32_t {
  maps = 1,
  catalogue,
  objects,
  measures,
  stations,
  substances,
  bitmap,
  first_free
};

std::string bits_of(double value) { return number(std::bit_cast<std::uint64_t>(value), 8); }
std::string bits_of(float value) { return number(std::bit_cast<std::uint32_t>(value), 4); }
std::string whole(std::int64_t value, std::size_t bytes) {
  return number(static_cast<std::uint64_t>(value), bytes);
}
std::string compressed(const std::string& ascii) { return "\xFF\xFE" + ascii; }

// Fills pages that carry one owner's number; a page is there from its first row on.
class Filler {
 public:
  Filler(std::vector<std::string>& pages, std::uint32_t owner) : pages_(pages), owner_(owner) {}

  /// Where the row will be.
  std::string add(std::string bytes) {
    if (rows_.empty() || used_ + bytes.size() + 2 > kPage) begin_page();
    used_ += bytes.size() + 2;
    rows_.emplace_back(std::move(bytes), 0);
    return pointer(numbers_.back(), static_cast<std::uint8_t>(rows_.size() - 1));
  }
  void end() {
    if (!rows_.empty()) pages_[numbers_.back()] = data_page(owner_, rows_);
    rows_.clear();
  }
  const std::vector<std::uint32_t>& numbers() const { return numbers_; }

 private:
  void begin_page() {
    end();
    used_ = kPageHead;
    numbers_.push_back(static_cast<std::uint32_t>(pages_.size()));
    pages_.emplace_back();
  }

  std::vector<std::string>& pages_;
  std::uint32_t owner_;
  Rows rows_;
  std::size_t used_ = 0;
  std::vector<std::uint32_t> numbers_;
};

const std::vector<Field> kMeasureFields = {
    {"Id", 4, 0, 4, 0x06},
    {"StationId", 4, 4, 4},
    {"SubstanceId", 4, 8, 4},
    {"Code", 10, kVariable, 20, 2, 1},
    {"Remark", 10, kVariable + 1, 100, 2, 1},
    {"Taken", 8, 12, 8},
    {"Ended", 8, 20, 8},
    {"Reading", 7, 28, 8},
    {"Threshold", 6, 36, 4},
    {"Amount", 5, 40, 8},
    {"State", 3, 48, 2},
    {"Valid", 1, 50, 1},
    {"Note", 12, kVariable + 2, 0, 2, 1},
};

std::string stored(const Measure& row, Filler& long_values) {
  const std::string fixed = whole(row.id, 4) + whole(row.station, 4) + whole(row.substance, 4) +
                            bits_of(row.taken) + bits_of(row.ended) + bits_of(row.reading) +
                            bits_of(row.threshold) + whole(row.amount, 8) + whole(row.state, 2);
  std::string note;
  if (row.has_note) {
    const std::string text = compressed(row.note);
    note = text.size() <= kLongestInRow
               ? in_place(text)
               : number(0x40000000 | text.size(), 4) + long_values.add(text) + number(0, 4);
  }
  const unsigned nulls = 0x7FF | (row.valid ? 0x800U : 0U) | (row.has_note ? 0x1000U : 0U);
  return test::made::row(13, fixed, {compressed(row.code), compressed(row.remark), note}, nulls);
}

// The catalogue's rows have a column for properties, which other readers ask for.
std::string named(std::uint32_t id, std::uint32_t flags, const std::string& name) {
  return row(5, number(id, 4) + number(1, 2) + number(flags, 4), {utf16(name), {}}, 0xF);
}

std::string table_page(const std::vector<Field>& fields, int map, const std::vector<IndexRecord>& indexes,
                       std::size_t rows) {
  std::string page = definition(fields, map, indexes);
  put(page, 16, number(rows, 4));
  put(page, 59, number(0x100 | kEmptyMap, 4));  // pages with room for more
  return page;
}

std::string header_page() {
  std::string header("\0\1\0\0Standard Jet DB\0\1", 21);
  header.resize(kPage);
  desktop::access::rc4(std::span(header).subspan(0x18, 128), {0xC7, 0xDA, 0x39, 0x6B});
  return header;
}

void write_pages(const std::string& path, const std::vector<std::string>& pages) {
  std::ofstream file(path, std::ios::binary);
  for (const std::string& page : pages) file.write(page.data(), static_cast<std::streamsize>(page.size()));
  require(file.flush().good(), "writing " + path);
}

}  // namespace

void make_access_file(const std::string& path, long rows) {
  std::vector<std::string> pages(first_free);
  Filler data(pages, measures);
  Filler long_values(pages, kLongValues);
  for (long i = 0; i < rows; ++i) data.add(stored(measure(i), long_values));
  data.end();
  long_values.end();

  std::string bits(kPage - 4, '\0');
  for (const std::uint32_t page : data.numbers()) {
    require(page / 8 < bits.size(), "naming all pages in one bitmap");
    bits[page / 8] = static_cast<char>(static_cast<std::uint8_t>(bits[page / 8]) | 1U << page % 8);
  }
  pages[bitmap] = std::string("\5\1\0\0", 4) + bits;

  Filler small_stations(pages, stations);
  for (std::int32_t i = 1; i <= kStations; ++i)
    small_stations.add(row(2, whole(i, 4), {compressed(station_name(i))}, 3));
  small_stations.end();
  Filler small_substances(pages, substances);
  for (std::int32_t i = 1; i <= kSubstances; ++i)
    small_substances.add(row(2, whole(i, 4), {compressed(substance_code(i))}, 3));
  small_substances.end();
  require(small_stations.numbers().size() == 1 && small_substances.numbers().size() == 1, "fitting a page");

  const auto only = [](std::uint32_t page) { return '\0' + number(page, 4) + number(1, 64); };
  const IndexRecord key{"PrimaryKey", 0, 0x89, 1};
  pages[0] = header_page();
  pages[maps] = data_page(0, {{only(objects), 0},
                              {'\1' + number(bitmap, 4) + number(0, 64), 0},
                              {only(small_stations.numbers()[0]), 0},
                              {only(small_substances.numbers()[0]), 0},
                              {usage_map(0), 0}});
  pages[catalogue] = table_page({{"Id", 4, 0, 4},
                                 {"Type", 3, 4, 2},
                                 {"Flags", 4, 6, 4},
                                 {"Name", 10, kVariable, 128},
                                 {"LvProp", 11, kVariable + 1}},
                                0, {}, 4);
  pages[objects] = data_page(catalogue, {{named(catalogue, 0x80000000, "MSysObjects"), 0},
                                         {named(measures, 0, "Measures"), 0},
                                         {named(stations, 0, "Stations"), 0},
                                         {named(substances, 0, "Substances"), 0}});
  pages[measures] =
      table_page(kMeasureFields, 1, {key, {"StationId", 1, 0x80, 0}, {"SubstanceId", 2, 0x80, 0}},
                 static_cast<std::size_t>(rows));
  pages[stations] =
      table_page({{"Id", 4, 0, 4, 0x06}, {"Name", 10, kVariable, 80, 2, 1}}, 2, {key}, kStations);
  pages[substances] =
      table_page({{"Id", 4, 0, 4, 0x06}, {"Symbol", 10, kVariable, 20, 2, 1}}, 3, {key}, kSubstances);
  write_pages(path, pages);
}

}  // namespace quarno::bench
