#include "ado/connection_string.h"
#include "fuzz/fuzz.h"

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "Provider=Microsoft.Jet.OLEDB.4.0;Persist Security Info=False;User ID=;Data Source=C:\\dati\\a.mdb",
    "DRIVER={MySQL ODBC 3.51 Driver};SERVER=h;DATABASE=d;UID=u;PWD=p; OPTION=3; Connection Timeout=1",
    "A='x;y''z';B=\"q\"\"r\";C={a}}b};d==e=f;;"};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return expect_refused_or([&] {
    const auto words = quarno::ado::ConnectionString::parse(text_of(data, size));
    // What was read is found again by its name.
    const auto source = words.find("Data Source");
    return !source || words.value_or("DATA SOURCE", "") == *source;
  });
}
