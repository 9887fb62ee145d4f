// Writing a hundred thousand rows of eight columns in one transaction into an empty table with a primary key:
// CData, row by row and as a batch, against prepared single-row inserts, into a database file and into a
// MariaDB and a PostgreSQL server of the measurement's own.
//
// usage: write_bench [ROWS [ROUNDS [ENGINE ...]]]; the engines are embedded, mariadb, postgresql
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "contenders.h"
#include "sample.h"
#include "sources.h"

namespace quarno::bench {
namespace {

const std::string kTable = "m";

struct Target {
  std::string name;
  std::string plain;  // what the others are measured against
  std::function<void()> write;
  std::function<void(Saving)> write_cdata;
  std::function<Checksum()> read;
  std::function<std::int64_t()> empty;
};

void measure(const Target& target, const std::vector<Row>& rows, int rounds) {
  const Checksum expected = sum_of(rows);
  // What was written must be there, nothing else, and must not be there for the next one.
  const auto take_away = [&] {
    const Checksum found = target.read();
    require(found == expected, "comparing what was written");
    require(target.empty() == std::ssize(rows), "counting what was written");
    return found;
  };
  std::printf("%s, %zu rows of 8 columns, %d rounds\n", target.name.c_str(), rows.size(), rounds);
  compare({{target.plain, take_away, {}, target.write},
           {"CData, Save", take_away, {}, [&] { target.write_cdata(Saving::each_row); }},
           {"CData, UpdateBatch", take_away, {}, [&] { target.write_cdata(Saving::batch); }}},
          std::ssize(rows), rounds);
  std::printf("\n");
}

void measure_file(const std::vector<Row>& rows, int rounds) {
  const test::TempFolder folder;
  const std::string path = folder / "m.db";
  fill_file(path, kTable, 1, Dates::days);
  empty_file(path);
  measure({"embedded", "engine's C interface", [&] { write_file_engine(path, rows); },
           [&](Saving saving) { write_file_cdata(path, rows, saving); },
           [&] { return read_file_engine(path); }, [&] { return empty_file(path); }},
          rows, rounds);
}

void measure_server(const Engine& engine, const std::vector<Row>& rows, int rounds) {
  const OdbcTable to{engine.name, kTable};
  // A server puts rows where others were deleted; real numbers add up alike only in one order.
  const OdbcTable in_order{engine.name, kTable + " ORDER BY id"};
  const bool is_mariadb = engine.server == test::Server::Kind::mariadb;
  run_odbc(to.source, {is_mariadb ? mariadb_table(kTable) : postgresql_table(kTable)});
  measure({engine.name, "prepared, a row at a time", [&] { write_odbc_rows(to, rows); },
           [&](Saving saving) { write_odbc_cdata(to, rows, saving); },
           [&] { return read_odbc_blocks(in_order); }, [&] { return empty_odbc(to); }},
          rows, rounds);
}

void measure_all(const std::vector<std::string>& words) {
  const long count = words.empty() ? 100'000 : std::atol(words[0].c_str());
  const int rounds = words.size() > 1 ? std::atoi(words[1].c_str()) : 3;
  require(count > 0 && rounds > 0, "reading the command line");
  std::vector<std::string> engines(words.begin() + std::min<std::ptrdiff_t>(2, std::ssize(words)),
                                   words.end());
  if (engines.empty()) engines = {"embedded", "mariadb", "postgresql"};
  const std::vector<Row> rows = sample_rows(count);
  if (std::erase(engines, "embedded") > 0) measure_file(rows, rounds);
  if (engines.empty()) return;
  const Sources sources(engines);
  for (const Engine* each : sources.engines()) measure_server(*each, rows, rounds);
}

}  // namespace
}  // namespace quarno::bench

int main(int argc, char** argv) {
  using namespace quarno::bench;
  return finished([&] { measure_all({argv + 1, argv + argc}); });
}
