#include "platform/locale.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "platform/clock.h"
#include "platform/fake/fakes.h"
#include "platform/module_path.h"
#include "support/temp_folder.h"

// The C library never frees the list it makes of LOCPATH.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep";
}

namespace quarno::platform {
namespace {

using Order = LocaleInfo::DateOrder;

TEST(Locale, ReadsTheEnvironmentsLocale) {
  // Name, decimal sign, group sign, date separator, order, January; the Catalan date is "%-d/%-m/%y".
  const std::tuple<std::string, const char*, const char*, const char*, Order, const char*> rows[] = {
      {"it_IT", ",", ".", "/", Order::day_month_year, "gen"},
      {"en_US", ".", ",", "/", Order::month_day_year, "Jan"},
      {"ca_ES", ",", ".", "/", Order::day_month_year, "de gen."},
      {"sv_SE", ",", "\u202F", "-", Order::year_month_day, "jan"}};
  const test::TempFolder folder;
  const test::ScopedVariable path("LOCPATH", folder.path());
  for (const auto& row : rows) {
    const std::string& name = std::get<0>(row);
    const std::string compiled = folder / (name + ".UTF-8");
    // Warnings make the status 1 although the locale was written.
    static_cast<void>(
        std::system(("timeout 60 localedef -i " + name + " -f UTF-8 " + compiled + " 2>&1").c_str()));
    if (!std::filesystem::exists(compiled + "/LC_NUMERIC")) GTEST_SKIP() << "localedef cannot make " << name;
    const test::ScopedVariable chosen("LC_ALL", name + ".UTF-8");
    const auto adapter = make_adapter<Locale>();
    const LocaleInfo& info = adapter->info();
    EXPECT_EQ(std::tie(name, info.decimal, info.group, info.date_separator, info.date_order,
                       info.month_abbreviations[0]),
              row);
    EXPECT_EQ(info.time_separator, ":");
  }
}

TEST(Locale, IsInvariantWithoutAUsableLocale) {
  for (const char* name : {"C", "xx_XX.UTF-8"}) {
    const test::ScopedVariable chosen("LC_ALL", name);
    const auto adapter = make_adapter<Locale>();
    EXPECT_EQ(adapter->info().decimal + adapter->info().group + adapter->info().month_abbreviations[11],
              ".,Dec");
  }
}

TEST(Clock, TellsTheLocalTime) {
  const test::ScopedVariable zone("TZ", "UTC0");
  ::tzset();
  const double seconds =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  EXPECT_NEAR(clock().now().days, 25569 + seconds / 86400, 10.0 / 86400);
}

TEST(Ports, AFakeStandsInForItsScope) {
  const std::string real = module_path().file();
  EXPECT_TRUE(std::filesystem::exists(real));
  {
    fake::FixedModulePath windows("C:\\App\\CorvexFwk.dll");
    const ScopedPort<ModulePath> scope(windows);
    EXPECT_EQ(module_folder(), "C:\\App");
  }
  EXPECT_EQ(module_path().file(), real);
}

}  // namespace
}  // namespace quarno::platform
