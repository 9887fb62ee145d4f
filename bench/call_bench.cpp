// What one call through the boundary costs, as a C++ host makes it: by name through quarnofwk.hpp.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "quarnofwk/quarnofwk.hpp"

namespace {

// A database with one row of each common type, in a file of its own.
class OneRow {
 public:
  OneRow() {
    std::fclose(std::fopen(path_.c_str(), "wb"));
    data.call("SetMessages", false);
    data.call("SetDBType", data.get("Conn_Jet"));
    data.call("SetDatabase", path_);
    const bool ready =
        data.call("ExecuteSQL", "CREATE TABLE T (N DOUBLE, I INTEGER, S VARCHAR(40))").boolean() &&
        data.call("ExecuteSQL",
                  "INSERT INTO T VALUES (71.25, 7, 'a text that is longer than a small buffer')")
            .boolean() &&
        data.call("Selection", "", "", "", "SELECT * FROM T").boolean();
    if (!ready) std::abort();
  }
  ~OneRow() { std::remove(path_.c_str()); }

  quarnofwk::Object data = quarnofwk::create("CData");

 private:
  std::string path_ = std::string(std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "/tmp") +
                      "/quarnofwk_call_bench_" + std::to_string(std::rand()) + ".db";
};

void create_and_release(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(quarnofwk::create("CFileReader"));
}
BENCHMARK(create_and_release);

void read_property(benchmark::State& state) {
  const quarnofwk::Object reader = quarnofwk::create("CFileReader");
  for (auto _ : state) benchmark::DoNotOptimize(reader.get("ColumnCount"));
}
BENCHMARK(read_property);

void call_with_text(benchmark::State& state) {
  const quarnofwk::Object corvex = quarnofwk::create("Corvex");
  for (auto _ : state) benchmark::DoNotOptimize(corvex.call("Valido", "VAL"));
}
BENCHMARK(call_with_text);

void call_with_write_back(benchmark::State& state) {
  const quarnofwk::Object corvex = quarnofwk::create("Corvex");
  quarnofwk::Value text("2,50");
  for (auto _ : state) benchmark::DoNotOptimize(corvex.call("StringToDouble", quarnofwk::by_ref(text)));
}
BENCHMARK(call_with_write_back);

void read_field(benchmark::State& state, const char* name) {
  const OneRow row;
  for (auto _ : state) benchmark::DoNotOptimize(row.data.call("GetValue", name));
}
BENCHMARK_CAPTURE(read_field, number, "N");
BENCHMARK_CAPTURE(read_field, integer, "I");
BENCHMARK_CAPTURE(read_field, text, "S");

}  // namespace

BENCHMARK_MAIN();
