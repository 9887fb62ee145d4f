#include <string>
#include <vector>

#include "ado/connection_string.h"
#include "common/error.h"

extern const std::vector<std::string> kSeeds;
extern const int kMutations;
const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "Provider=Microsoft.Jet.OLEDB.4.0;Persist Security Info=False;User ID=;Data Source=C:\\dati\\a.mdb",
    "DRIVER={MySQL ODBC 3.51 Driver};SERVER=h;DATABASE=d;UID=u;PWD=p; OPTION=3; Connection Timeout=1",
    "A='x;y''z';B=\"q\"\"r\";C={a}}b};d==e=f;;",
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const auto words = quarno::ado::ConnectionString::parse(text);
    // What was read is found again by its name.
    const auto source = words.find("Data Source");
    if (source && words.value_or("DATA SOURCE", "") != *source) __builtin_trap();
  } catch (const quarno::Error&) {
    // Refused, which is an answer.
  }
  return 0;
}
