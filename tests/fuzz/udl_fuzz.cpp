#include "fuzz/fuzz.h"
#include "providers/udl.h"

using namespace std::string_literals;

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "[oledb]\r\n; Everything after this line is an OLE DB initstring\r\nProvider=SQLOLEDB;Data Source=h\r\n",
    "\xFF\xFE[\0o\0l\0e\0d\0b\0]\0\r\0\n\0;\0\r\0\n\0A\0=\0\x3D\xD8\x00\xDE\n\0"s,
    "\xEF\xBB\xBF[oledb]\n;\nData Source=\xC3\xA8"};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return expect_refused_or([&] {
    const std::string line = quarno::providers::udl_connection_text(text_of(data, size));
    return !line.empty() && line.find('\n') == std::string::npos;
  });
}
