// A table, its memo file and a journal, cut apart at marks. What can be read can also be written to.
#include "desktop/dbase/read_everything.h"
#include "fuzz/fuzz.h"

using namespace std::string_literals;

namespace {

constexpr std::string_view kCut = "<cut>";

std::string seed(char version, const std::string& memos) {
  std::string table = {version, 126, 1, 2, 2, 0, 0, 0, '\xE1', 0, 33, 0};
  table.resize(32, '\0');
  const std::pair<char, char> fields[] = {{'C', 3}, {'N', 5}, {'D', 8}, {'L', 1}, {'M', 10}, {'F', 5}};
  for (const auto& [type, width] : fields) {
    std::string field(1, type);
    field.resize(11, '\0');
    field += type + "\0\0\0\0"s + width;
    table += field.append(32 - field.size(), '\0');
  }
  table += "\x0D abc 12.520150105T         1 -1.5*\xE0  *****00000000?        02 1E+5\x1A";
  return table + std::string(kCut) + memos;
}

}  // namespace

const int kMutations = 3'000;
const std::vector<std::string> kSeeds = {
    seed('\x83', "\3\0\0\0"s + std::string(508, '\0') + "first\x1A\x1A"),
    seed('\x8B', "\3\0\0\0"s + std::string(16, '\0') + "\x20\0"s + std::string(10, '\0') +
                     "\xFF\xFF\x08\0\x0D\0\0\0hello"s),
    seed('\x03', "") + std::string(kCut) + "QFDBJ1\r\n" + std::string(200, '\1')};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string_view> parts;
  std::string_view rest = text_of(data, size);
  for (std::size_t at = 0; parts.size() < 2 && (at = rest.find(kCut)) != std::string_view::npos;) {
    parts.push_back(rest.substr(0, at));
    rest.remove_prefix(at + kCut.size());
  }
  parts.push_back(rest);
  parts.resize(3);
  return expect_refused_or([&] {
    const std::string first = quarno::test::read_everything(parts[0], parts[1], parts[2]);
    quarno::test::MemoryDisk disk;
    const quarno::platform::ScopedPort<quarno::platform::DataFiles> port(disk);
    disk.put("f/T.dbf", std::string(parts[0]));
    if (!parts[1].empty()) disk.put("f/T.dbt", std::string(parts[1]));
    quarno::test::Engine engine("f");
    const std::string before = engine.run("SELECT count(*) FROM T");
    if (!engine.run("INSERT INTO T DEFAULT VALUES").empty()) return true;
    return engine.run("SELECT count(*) - 1 FROM T") == before;
  });
}
