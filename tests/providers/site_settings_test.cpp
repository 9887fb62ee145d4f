#include "providers/site_settings.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "common/error.h"
#include "common/text.h"
#include "support/temp_folder.h"

namespace quarno::providers {
namespace {

template <class Call>
std::string refusal(Call&& call) {
  try {
    static_cast<void>(call());
    return "";
  } catch (const Error& error) {
    EXPECT_EQ(error.number, ado::kUnspecified);
    EXPECT_TRUE(error.from_provider);
    return error.description;
  }
}

TEST(SiteSettings, ReadsItsSections) {
  const SiteSettings site = parse_site_settings(
      "\xEF\xBB\xBF; a comment\r\n[Providers]\r\n SQLOLEDB\t= DSN=x;PWD=a=b \r\n\r\n# another\r\n[drivers]\n"
      "Old one=New one\n[KEYWORDS]\nMicrosoft.Jet.OLEDB.Mode =\n");
  ASSERT_EQ(site.providers.size(), 1u);
  EXPECT_EQ(site.providers[0].name + "|" + site.providers[0].value, "SQLOLEDB|DSN=x;PWD=a=b");
  ASSERT_EQ(site.drivers.size(), 1u);
  EXPECT_EQ(site.drivers[0].name + "|" + site.drivers[0].value, "Old one|New one");
  ASSERT_EQ(site.keywords.size(), 1u);
  EXPECT_EQ(site.keywords[0].owner + "|" + site.keywords[0].name + "|" + site.keywords[0].value,
            "Microsoft.Jet.OLEDB|Mode|");
}

TEST(SiteSettings, NamesTheLineItCannotUse) {
  const std::string rows[][2] = {
      {"[providers]\nword\n", "Line 2: is neither \"[section]\" nor \"name = value\"."},
      {"\n=x", "Line 2: is neither \"[section]\" nor \"name = value\"."},
      {"a=b", "Line 1: stands in no section."},
      {"[providers\na=b", "Line 1: a section's name has no \"]\"."},
      {"[other]\na=b", "Line 2: [other] is none of [providers], [drivers], [keywords]."},
      {"[drivers]\n\na=", "Line 3: \"a\" has no value."},
      {"[providers]\na=DSN='x", "Line 2: \"a\" has a value that is no list of \"name=value;\"."},
      {"[keywords]\nx=1", "Line 2: \"x\" is not \"Provider.Keyword\"."},
      {"[keywords]\nx.=1", "Line 2: \"x.\" is not \"Provider.Keyword\"."},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(refusal([&] { return parse_site_settings(text); }), expected) << text;
  }
}

TEST(SiteSettings, ListsDrivers) {
  const auto names = driver_names(
      "[ODBC]\nTrace=no\nDriver=x\n[ODBC Drivers]\nA=Installed\n[A]\nDriver = a.so\n"
      "junk\n[B]\nSetup=s.so\n[C]\nDriver=\n[D d]\nDriver64=d.so\ndriver=d.so\n");
  EXPECT_EQ(text::join(names, "|"), "A|D d");
}

TEST(SiteSettings, AreLookedUpEachTime) {
  const test::TempFolder folder;
  const std::string elsewhere = folder.put("named.ini", "[drivers]\na=b\n");
  const test::ScopedVariable system("ODBCSYSINI", folder.path());
  const test::ScopedVariable usual_name("ODBCINSTINI", "");
  EXPECT_TRUE(registered_drivers().empty());
  folder.put("odbcinst.ini", "[One]\nDriver=1.so\n");
  EXPECT_EQ(text::join(registered_drivers(), "|"), "One");
  {
    const test::ScopedVariable other_name("ODBCINSTINI", "other.ini");
    folder.put("other.ini", "[Two]\nDriver=2.so\n");
    EXPECT_EQ(text::join(registered_drivers(), "|"), "Two");
  }
  {
    const test::ScopedVariable unnamed("QUARNOFWK_PROVIDERS", "");
    folder.put("quarnofwk-providers.ini", "[drivers]\nx=y\nz=w\n");
    EXPECT_EQ(read_site_settings(folder.path()).drivers.size(), 2u);
    const test::ScopedVariable named("QUARNOFWK_PROVIDERS", elsewhere);
    EXPECT_EQ(read_site_settings(folder.path()).drivers.size(), 1u);
    folder.put("named.ini", "oops");
    EXPECT_EQ(
        refusal([&] { return read_site_settings(folder.path()); }),
        "Provider settings '" + elsewhere + "': Line 1: is neither \"[section]\" nor \"name = value\".");
  }
  // A file that the site names and that is not there is no reason to reach something else.
  const test::ScopedVariable missing("QUARNOFWK_PROVIDERS", folder / "missing.ini");
  EXPECT_NE(refusal([&] { return read_site_settings(folder.path()); }).find("missing.ini"),
            std::string::npos);
}

}  // namespace
}  // namespace quarno::providers
