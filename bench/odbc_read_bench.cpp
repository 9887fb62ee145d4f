// Reading a million rows of eight columns through ODBC, every field by name: CData against raw block fetch
// and other readers, on a MariaDB and a PostgreSQL server of the measurement's own and on a SQLite file.
// Speed in interleaved rounds of one process, peaks of memory in a process each.
//
// usage: odbc_read_bench PYODBC_SCRIPT [ROWS [ROUNDS [ENGINE ...]]]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contenders.h"
#include "sample.h"
#include "sources.h"

namespace quarno::bench {
namespace {

constexpr const char* kTable = "m";
constexpr const char* kTenth = "m_tenth";  // a tenth of the rows

void fill(const Engine& engine, const std::string& file, long rows) {
  for (const auto& [table, count] : {std::pair(kTable, rows), std::pair(kTenth, rows / 10)}) {
    if (!engine.server) {
      fill_file(file, table, count, Dates::text);
    } else if (*engine.server == test::Server::Kind::mariadb) {
      run_odbc(engine.name, {mariadb_table(table), mariadb_rows(table, count)});
    } else {
      run_odbc(engine.name, {postgresql_table(table), postgresql_rows(table, count),
                             std::string("VACUUM ANALYZE ") + table});
    }
  }
}

std::vector<Contender> contenders(const OdbcTable& from, const std::string& script) {
  return {{"raw, blocks of 256", [=] { return read_odbc_blocks(from); }, {}},
          {"CData, client cursor", [=] { return read_odbc_cdata(from, Cursor::client); }, {}},
          {"CData, forward-only", [=] { return read_odbc_cdata(from, Cursor::forward); }, {}},
          {"row at a time, by name", [=] { return read_odbc_rows(from); }, {}},
          {"SOCI, its ODBC backend", [=] { return read_odbc_soci(from); }, {}},
          {"pyodbc, fetchmany(1000)", {}, {"/usr/bin/python3", script, from.source, from.table}}};
}

Result run_alone(const Contender& contender, std::size_t number, const OdbcTable& from) {
  if (!contender.read) return run(contender);
  return run_program({own_path(), "--alone", std::to_string(number), from.source, from.table});
}

// What CData's client cursor holds is what it takes beyond raw reading, which has the driver's buffers too;
// where it takes less, because it reads in portions of the driver's, beyond the forward-only cursor.
void print_peaks(const Engine& engine, const std::string& script, long rows) {
  const OdbcTable all{engine.name, kTable};
  const OdbcTable tenth{engine.name, kTenth};
  const std::vector<Contender> readers = contenders(all, script);
  std::printf("%-28s %12s %12s\n", "peak of memory, MB", "all rows", "a tenth");
  std::vector<Result> results;
  for (std::size_t i = 0; i < readers.size(); ++i) {
    results.push_back(run_alone(readers[i], i, all));
    const Result less = run_alone(contenders(tenth, script)[i], i, tenth);
    std::printf("%-28s %12.1f %12.1f\n", readers[i].name.c_str(),
                static_cast<double>(results[i].peak_kb) / 1024, static_cast<double>(less.peak_kb) / 1024);
  }
  const double data_kb = static_cast<double>(kFixedBytes * rows + results[0].sum.text_bytes) / 1024;
  const long client_kb = results[1].peak_kb;
  const long without_kb = client_kb > results[0].peak_kb ? results[0].peak_kb : results[2].peak_kb;
  std::printf("client cursor holds %.2f times the data (%.1f MB)\n\n",
              static_cast<double>(client_kb - without_kb) / data_kb, data_kb / 1024);
  std::fflush(stdout);
}

void measure(const Engine& engine, const std::string& file, const std::string& script, long rows,
             int rounds) {
  fill(engine, file, rows);
  std::printf("%s, %ld rows of 8 columns, %d rounds\n", engine.name, rows, rounds);
  compare(contenders({engine.name, kTable}, script), rows, rounds);
  print_peaks(engine, script, rows);
}

void measure_all(const std::vector<std::string>& words) {
  require(!words.empty(), "reading the command line");
  const long rows = words.size() > 1 ? std::atol(words[1].c_str()) : 1'000'000;
  const int rounds = words.size() > 2 ? std::atoi(words[2].c_str()) : 3;
  require(rows >= 10 && rounds > 0, "reading the command line");
  const Sources sources({words.begin() + std::min<std::ptrdiff_t>(3, std::ssize(words)), words.end()});
  for (const Engine* each : sources.engines()) measure(*each, sources.file(), words[0], rows, rounds);
}

}  // namespace
}  // namespace quarno::bench

int main(int argc, char** argv) {
  using namespace quarno::bench;
  return finished([&] {
    const std::vector<std::string> words(argv + 1, argv + argc);
    // One reader alone in a process.
    if (words.size() == 4 && words[0] == "--alone") {
      return print_result(run(contenders({words[2], words[3]}, {}).at(std::stoul(words[1]))));
    }
    measure_all(words);
  });
}
