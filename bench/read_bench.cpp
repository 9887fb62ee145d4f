// Reading a million rows of eight columns from a database file, every field by name: CData and SOCI against
// the engine's own C interface, in one run on the same file. Also what one GetValue costs, and how time and
// memory grow with rows.
//
// usage: read_bench [ROWS [ROUNDS]]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contenders.h"
#include "sample.h"
#include "support/temp_folder.h"

namespace quarno::bench {

namespace {

std::vector<Contender> contenders(const std::string& path) {
  return {{"engine's C interface", [=] { return read_file_engine(path); }, {}},
          {"CData, client cursor", [=] { return read_file_cdata(path, Cursor::client); }, {}},
          {"CData, forward-only", [=] { return read_file_cdata(path, Cursor::forward); }, {}},
          {"SOCI, its own backend", [=] { return read_file_soci(path); }, {}}};
}

Contender narrow(const std::string& path, Cursor cursor) {
  return {"", [=] { return read_narrow_cdata(path, cursor); }, {}};
}

// A row of the table of growth. The rows that the client cursor holds are the difference to the forward-only
// one.
void measure_growth(const test::TempFolder& folder, long rows) {
  const std::string path = folder / "narrow.db";
  std::remove(path.c_str());
  fill_narrow_file(path, rows);
  std::vector<double> seconds;
  Result client;
  for (int round = 0; round < 3; ++round) {
    client = run_program({own_path(), "--client", path});
    seconds.push_back(client.seconds);
  }
  const Result forward = run_program({own_path(), "--forward", path});
  require(client.sum == forward.sum, "comparing checksums");
  const double data_kb = static_cast<double>(kNarrowFixedBytes * rows + client.sum.text_bytes) / 1024;
  const double held_kb = static_cast<double>(client.peak_kb - forward.peak_kb);
  std::printf("%10ld %12.0f %12.1f %12.1f %7.2f %16.1f\n", rows,
              median(seconds) / static_cast<double>(rows) * 1e9, static_cast<double>(client.peak_kb) / 1024,
              data_kb / 1024, held_kb / data_kb, static_cast<double>(forward.peak_kb) / 1024);
  std::fflush(stdout);
}

void measure(long rows, int rounds) {
  require(rows >= 10 && rounds > 0, "reading the command line");
  const test::TempFolder folder;
  const std::string path = folder / "m.db";
  fill_file(path, "m", rows, Dates::days);
  fill_file(path, "m_soci", rows, Dates::numbers);
  std::printf("embedded engine, %ld rows of 8 columns, %d rounds\n", rows, rounds);
  compare(contenders(path), rows, rounds);
  std::printf("\n%10s %12s %12s %12s %7s %16s\n", "rows", "ns a row", "peak MB", "data MB", "held",
              "forward-only MB");
  for (const long count : {rows / 10, rows, rows * 10}) measure_growth(folder, count);
  std::printf("\n");
  for (const std::string field : {"value", "station"}) {
    std::printf("GetValue(\"%s\") %6.1f ns\n", field.c_str(), get_value_ns(path, field));
  }
}

}  // namespace
}  // namespace quarno::bench

int main(int argc, char** argv) {
  using namespace quarno::bench;
  return finished([&] {
    const std::vector<std::string> words(argv + 1, argv + argc);
    // One reader alone in a process.
    if (words.size() == 2 && (words[0] == "--client" || words[0] == "--forward")) {
      return print_result(run(narrow(words[1], words[0] == "--client" ? Cursor::client : Cursor::forward)));
    }
    measure(words.empty() ? 1'000'000 : std::atol(words[0].c_str()),
            words.size() < 2 ? 5 : std::atoi(words[1].c_str()));
  });
}
