#include <string>
#include <vector>

#include "common/error.h"
#include "providers/udl.h"

using namespace std::string_literals;

extern const std::vector<std::string> kSeeds;
extern const int kMutations;
const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "[oledb]\r\n; Everything after this line is an OLE DB initstring\r\nProvider=SQLOLEDB;Data Source=h\r\n",
    "\xFF\xFE[\0o\0l\0e\0d\0b\0]\0\r\0\n\0;\0\r\0\n\0A\0=\0\x3D\xD8\x00\xDE\n\0"s,
    "\xEF\xBB\xBF[oledb]\n;\nData Source=\xC3\xA8",
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const std::string line =
        quarno::providers::udl_connection_text({reinterpret_cast<const char*>(data), size});
    // One line that says something, or a refusal.
    if (line.empty() || line.find('\n') != std::string::npos) __builtin_trap();
  } catch (const quarno::Error&) {
    // Refused, which is an answer.
  }
  return 0;
}
