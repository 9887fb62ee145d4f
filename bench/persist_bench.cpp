// Saving a recordset as XML against the same bytes written by fprintf, and opening it against expat with
// handlers that do nothing: a million rows of eight columns in files, side by side in one run.
#include <expat.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ado/persist/blank_keeper.h"
#include "ado/persist/snapshot_reader.h"
#include "ado/persist/snapshot_writer.h"
#include "platform/files.h"

namespace {

using namespace quarno;
using namespace quarno::ado;

constexpr int kRounds = 5;
constexpr const char* kCodes[] = {"NOX", "CO", "SO2", "O2", "TEMP", "a<b"};

struct Sample {
  std::int32_t id;
  std::string station, code;
  CivilTime moment;
  Date day;
  double value;
  std::int64_t money;  // ten-thousandths
  bool is_valid;
};

std::vector<Sample> sample_rows(long count) {
  std::vector<Sample> rows;
  for (long i = 0; i < count; ++i) {
    const int n = static_cast<int>(i);
    CivilTime moment{2000 + n % 24, 1 + n % 12, 1 + n % 28, n % 24, n % 60, n % 59};
    rows.push_back({n, "Station " + std::to_string(n % 97), kCodes[n % 6], moment, *date_from_civil(moment),
                    n * 0.37 + 0.001, std::int64_t{n} * 1234, n % 3 != 0});
  }
  return rows;
}

class SampleRows : public Rows {
 public:
  explicit SampleRows(const std::vector<Sample>& rows) : rows_(rows) {
    const auto add = [&](const char* name, DataType type, std::int64_t size) {
      Column& column = columns_.emplace_back();
      column.name = name;
      column.type = type;
      column.defined_size = size;
      column.attributes = adFldUpdatable | adFldIsNullable | adFldMayBeNull;
    };
    add("id", DataType::integer, 4);
    add("station", DataType::var_wchar, 40);
    add("code", DataType::var_wchar, 10);
    add("day", DataType::db_timestamp, 16);
    add("value", DataType::real, 8);
    add("money", DataType::currency, 8);
    add("valid", DataType::boolean, 2);
    add("note", DataType::var_wchar, 20);
  }
  const std::vector<Column>& columns() const override { return columns_; }
  std::size_t fetch(ColumnStore& store, std::size_t limit) override {
    std::size_t count = 0;
    for (; count < limit && next_ < rows_.size(); ++count, ++next_) {
      const Sample& row = rows_[next_];
      store.column(0).append_integer(row.id);
      store.column(1).append_text(row.station);
      store.column(2).append_text(row.code);
      store.column(3).append_date(row.day);
      store.column(4).append_real(row.value);
      store.column(5).append_currency({row.money});
      store.column(6).append_integer(row.is_valid ? 1 : 0);
      next_ % 4 == 0 ? store.column(7).append_null() : store.column(7).append_text("");
    }
    return count;
  }

 private:
  const std::vector<Sample>& rows_;
  std::vector<Column> columns_;
  std::size_t next_ = 0;
};

void print_escaped(std::FILE* file, const char* name, const std::string& text) {
  std::fprintf(file, " %s='", name);
  for (const char c : text) {
    if (c == '<' || c == '>' || c == '&' || c == '\'' || c == '"') {
      std::fprintf(file, "&#x%x;", static_cast<unsigned>(c));
    } else {
      std::fputc(c, file);
    }
  }
  std::fputc('\'', file);
}

// The rows as ours writes them, behind what ours writes before them.
void print_rows(const std::string& path, const std::string& head, const std::vector<Sample>& rows) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  std::fwrite(head.data(), 1, head.size(), file);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Sample& row = rows[i];
    std::fprintf(file, "\t<z:row id='%d'", row.id);
    print_escaped(file, "station", row.station);
    print_escaped(file, "code", row.code);
    const CivilTime& t = row.moment;
    std::fprintf(file, " day='%04d-%02d-%02dT%02d:%02d:%02d' value='%.17g'", t.year, t.month, t.day, t.hour,
                 t.minute, t.second, row.value);
    char money[40];
    int size = std::snprintf(money, sizeof money, "%" PRId64 ".%04d", row.money / 10'000,
                             static_cast<int>(row.money % 10'000));
    while (money[size - 1] == '0') --size;
    if (money[size - 1] == '.') --size;
    std::fprintf(file, " money='%.*s' valid='%s'", size, money, row.is_valid ? "True" : "False");
    std::fputs(i % 4 == 0 ? "/>\r\n" : " note=''/>\r\n", file);
  }
  std::fputs("</rs:data>\r\n</xml>", file);
  std::fclose(file);
}

std::string bytes_of(const std::string& path) {
  std::string bytes(std::filesystem::file_size(path), '\0');
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  std::fclose(file);
  return bytes;
}

void parse_with_expat(const std::string& path) {
  const XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetElementHandler(
      parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  std::vector<char> block(128 * 1024);
  std::size_t count = 1;
  while (count > 0) {
    count = std::fread(block.data(), 1, block.size(), file);
    XML_Parse(parser, block.data(), static_cast<int>(count), count == 0 ? XML_TRUE : XML_FALSE);
  }
  std::fclose(file);
  XML_ParserFree(parser);
}

std::unique_ptr<RowSet> read(const std::string& path) {
  std::shared_ptr<platform::File> file = platform::files().open(path, platform::OpenFor::input);
  auto rows = std::make_unique<RowSet>(std::make_unique<persist::SnapshotReader>(persist::file_source(file)));
  while (rows->load(4096)) continue;
  return rows;
}

void keep_blanks(const std::string& bytes) {
  persist::BlankKeeper keeper;
  for (std::size_t at = 0; at < bytes.size(); at += 128 * 1024) {
    keeper.add(std::string_view(bytes).substr(at, 128 * 1024));
    keeper.drop(keeper.ready(false).size());
  }
}

double seconds_of(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  const long count = argc > 1 ? std::atol(argv[1]) : 1'000'000;
  std::string folder = (std::filesystem::temp_directory_path() / "qf-bench-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  const std::string ours = folder + "/ours.xml", theirs = folder + "/theirs.xml";
  const std::vector<Sample> sample = sample_rows(count);
  RowSet rows(std::make_unique<SampleRows>(sample));
  while (rows.load(4096)) continue;
  persist::TableToSave table;
  table.rows = &rows;
  table.command_timeout = 30;
  std::vector<std::size_t> order(rows.row_count());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;

  persist::save_snapshot(ours, table, order);
  const std::string bytes = bytes_of(ours);
  const std::string head = bytes.substr(0, bytes.find("\t<z:row"));
  print_rows(theirs, head, sample);
  const bool are_equal = bytes_of(theirs) == bytes;
  std::printf("%ld rows, %.1f MB, %s\n", count, static_cast<double>(bytes.size()) / 1e6,
              are_equal ? "both writers wrote the same" : "THE WRITERS DIFFER");
  std::vector<double> times[5];
  for (int round = 0; round < kRounds; ++round) {
    times[0].push_back(seconds_of([&] { print_rows(theirs, head, sample); }));
    times[1].push_back(seconds_of([&] { persist::save_snapshot(ours, table, order); }));
    times[2].push_back(seconds_of([&] { parse_with_expat(ours); }));
    times[3].push_back(seconds_of([&] {
      if (read(ours)->row_count() != sample.size()) std::abort();
    }));
    times[4].push_back(seconds_of([&] { keep_blanks(bytes); }));
  }
  const auto print = [&](const char* name, std::size_t index, std::size_t compared) {
    const double seconds = median(times[index]);
    std::printf("%-34s %7.3f s %9.0f rows/s  %.2f\n", name, seconds, static_cast<double>(count) / seconds,
                median(times[compared]) / seconds);
  };
  print("fprintf", 0, 0);
  print("save_snapshot, on the disk", 1, 0);
  print("expat, empty handlers", 2, 2);
  print("SnapshotReader", 3, 2);
  print("of which keeping blanks", 4, 2);
  std::filesystem::remove_all(folder);
  return are_equal ? 0 : 1;
}
