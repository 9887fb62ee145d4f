#include "fuzz/fuzz.h"
#include "providers/provider_map.h"

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "[providers]\nSQLOLEDB = DSN=x;A=b\nX = FreeTDS\n[drivers]\nOld = New\n[keywords]\nSQLOLEDB.Encrypt = "
    "no\n",
    "\xEF\xBB\xBF; comment\r\n[keywords]\r\nMicrosoft.Jet.OLEDB.Mode =\r\n# end",
    "[FreeTDS]\nDriver = libtdsodbc.so\n[ODBC]\nTrace=no\n"};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno::providers;
  const std::string_view text = text_of(data, size);
  std::vector<std::string> drivers = driver_names(text);
  drivers.emplace_back("FreeTDS");
  return expect_refused_or([&] {
    const auto words =
        quarno::ado::ConnectionString::parse("Provider=SQLOLEDB.1;Data Source=h\\i,1;User ID=u");
    // Whatever the site says, a driver or data source is named, or what is missing is.
    const Target target = map_target(words, parse_site_settings(text), drivers);
    return !(target.reach == Reach::odbc ? target.served_by : target.missing).empty();
  });
}
