#include <string>
#include <vector>

#include "common/error.h"
#include "providers/provider_map.h"

extern const std::vector<std::string> kSeeds;
extern const int kMutations;
const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "[providers]\nSQLOLEDB = DSN=x;A=b\nX = FreeTDS\n[drivers]\nOld = New\n[keywords]\nSQLOLEDB.Encrypt = "
    "no\n",
    "\xEF\xBB\xBF; comment\r\n[keywords]\r\nMicrosoft.Jet.OLEDB.Mode =\r\n# end",
    "[FreeTDS]\nDriver = libtdsodbc.so\n[ODBC]\nTrace=no\n",
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno::providers;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> drivers = driver_names(text);
  drivers.emplace_back("FreeTDS");
  try {
    const SiteSettings site = parse_site_settings(text);
    const auto words =
        quarno::ado::ConnectionString::parse("Provider=SQLOLEDB.1;Data Source=h\\i,1;User ID=u");
    // Whatever the site says, a driver or data source is named, or what is missing is.
    const Target target = map_target(words, site, drivers);
    if (target.reach == Reach::odbc ? target.served_by.empty() : target.missing.empty()) __builtin_trap();
  } catch (const quarno::Error&) {
    // Refused, which is an answer.
  }
  return 0;
}
