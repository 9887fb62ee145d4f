// Reading a million rows of eight columns from a database file, every field by name: CData in C++ against the
// engine's own C interface, in one run on the same file. Also what one GetValue costs, and how time and
// memory grow with rows.
//
// usage: read_bench [ROWS]
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "data/CData.h"

namespace {

using Clock = std::chrono::steady_clock;

const std::vector<std::string> kFields = {"ID", "STATION", "CODE", "DAY", "HOUR", "VALUE", "STATUS", "STATE"};

double seconds_of(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median_of(int runs, const std::function<void()>& work) {
  std::vector<double> seconds;
  for (int i = 0; i < runs; ++i) seconds.push_back(seconds_of(work));
  std::sort(seconds.begin(), seconds.end());
  return seconds[seconds.size() / 2];
}

long resident_kb() {
  long pages = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "read_bench: %s failed\n", what);
  std::exit(1);
}

void fill(const std::string& path, long rows) {
  sqlite3* database = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "open");
  const std::string statement =
      "CREATE TABLE M (ID INTEGER PRIMARY KEY, STATION VARCHAR(10), CODE VARCHAR(10), DAY DATETIME, HOUR "
      "VARCHAR(5),"
      " VALUE DOUBLE, STATUS VARCHAR(3), STATE INTEGER);"
      "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < " +
      std::to_string(rows) +
      ") INSERT INTO M SELECT x, 'E1', 'NOX', 42005.0 + x / 24, printf('%02d.00', x % 24), x * 0.731, 'VAL', "
      "1 FROM c";
  require(sqlite3_exec(database, statement.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, "fill");
  sqlite3_close(database);
}

// What a program of its own would do: every column taken as its type, texts copied.
double raw_read(const std::string& path) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "open");
  require(sqlite3_prepare_v2(database, "SELECT * FROM M", -1, &statement, nullptr) == SQLITE_OK, "prepare");
  double sum = 0;
  std::string text;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    sum += static_cast<double>(sqlite3_column_int64(statement, 0)) + sqlite3_column_double(statement, 3) +
           sqlite3_column_double(statement, 5) + sqlite3_column_int(statement, 7);
    for (const int column : {1, 2, 4, 6}) {
      text.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                  static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
      sum += static_cast<double>(text.size());
    }
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return sum;
}

quarno::Ptr<quarno::CData> reader(const std::string& path) {
  auto data = quarno::make<quarno::CData>();
  data->SetMessages(false);
  data->SetDBType(quarno::data::Conn_Jet);
  data->SetDatabase(path);
  data->m_Tabella = "M";
  return data;
}

double library_read(const std::string& path) {
  const auto data = reader(path);
  require(data->Selection(), "Selection");
  double sum = 0;
  do {
    for (const std::string& field : kFields) {
      const quarno::Variant value = data->GetValue(field);
      if (const auto* real = value.get_if<double>()) sum += *real;
      if (const auto* text = value.get_if<std::string>()) sum += static_cast<double>(text->size());
      if (const auto* whole = value.get_if<std::int32_t>()) sum += *whole;
      if (const auto* date = value.get_if<quarno::Date>()) sum += date->days;
    }
  } while (data->MoveNext());
  return sum;
}

void one_field(const std::string& path, const std::string& field) {
  const auto data = reader(path);
  require(data->Selection(), "Selection");
  constexpr int kCalls = 2'000'000;
  const double seconds = median_of(5, [&] {
    for (int i = 0; i < kCalls; ++i) {
      if (data->GetValue(field).is_empty()) std::abort();
    }
  });
  std::printf("GetValue(\"%s\")  %6.1f ns\n", field.c_str(), seconds / kCalls * 1e9);
}

}  // namespace

int main(int argc, char** argv) {
  const long rows = argc > 1 ? std::atol(argv[1]) : 1'000'000;
  require(rows > 0, "the number of rows");
  const char* const folder = std::getenv("TMPDIR");
  const std::string path =
      std::string(folder != nullptr ? folder : "/tmp") + "/read_bench_" + std::to_string(::getpid()) + ".db";
  for (const long count : {rows / 10, rows}) {
    fill(path, count);
    require(raw_read(path) == library_read(path), "comparing what was read");
    const double raw = median_of(5, [&] { raw_read(path); });
    const double library = median_of(5, [&] { library_read(path); });
    const long before = resident_kb();
    const auto held = reader(path);
    require(held->Selection(), "Selection");
    std::printf("%9ld rows   engine %.3f s   CData %.3f s   ratio %.2f   cursor %ld KB\n", count, raw,
                library, raw / library, resident_kb() - before);
    std::remove(path.c_str());
  }
  fill(path, 1);
  one_field(path, "VALUE");
  one_field(path, "STATION");
  std::remove(path.c_str());
  return 0;
}
