#include "providers/provider_map.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "ado/provider.h"
#include "common/error.h"
#include "common/text.h"
#include "providers/site_settings.h"
#include "providers/udl.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::providers {
namespace {

using Drivers = std::vector<std::string>;

const Drivers kDebian = {"PostgreSQL ANSI", "PostgreSQL Unicode", "MariaDB Unicode", "SQLite", "SQLite3",
                         "FreeTDS"};

// Everything a target says, in one line; the words in the order of this list.
std::string shown(const Target& target) {
  std::string line = target.shaped ? "shaped " : "";
  switch (target.reach) {
    case Reach::none: return line + "none: " + target.missing;
    case Reach::desktop: line += "desktop "; break;
    case Reach::odbc: line += "odbc "; break;
    case Reach::udl: line += "udl "; break;
  }
  constexpr std::string_view kNames =
      "Provider,Data Provider,File Name,DSN,FILEDSN,DRIVER,SERVER,PORT,DBQ,DATABASE,Data Source,Initial "
      "Catalog,"
      "User ID,Password,UID,PWD,USER,Trusted_Connection,TDS_Version,ClientCharset,OPTION,CONN_TIMEOUT,"
      "Connection Timeout,Readtimeout,writetimeout,wait_timeout,Mode,NoCreat,SSLmode,Extended Properties";
  for (const std::string_view name : text::split(kNames, ",")) {
    if (const auto value = target.words.find(name)) line += std::string(name) + "=" + *value + ";";
  }
  return line;
}

std::string mapped(const std::string& text, const Drivers& drivers = kDebian, const std::string& site = "") {
  return shown(map_target(ado::ConnectionString::parse(text), parse_site_settings(site), drivers));
}

TEST(ProviderMap, TranslatesSqlServer) {
  const std::string head = "odbc DRIVER=FreeTDS;SERVER=";
  const std::string login =
      ";Persist Security Info=False;User ID=sa;Password=p;Initial Catalog=D;Data Source=";
  const auto at = [&](const std::string& server, const std::string& port) {
    return head + server + (port.empty() ? "" : ";PORT=" + port) + ";DATABASE=D;UID=sa;PWD=p;";
  };
  const std::string rows[][2] = {
      {"Provider=SQLOLEDB" + login + "h", at("h", "1433")},
      {"Provider=sqloledb.1" + login + "tcp:h,1500", at("h", "1500")},
      {"Provider=MSOLEDBSQL19" + login + "h\\express", at("h\\express", "")},
      {"Provider=SQLNCLI11.1" + login + "h\\express, 1500", at("h", "1500")},
      {"Provider=SQLOLEDB" + login + "127.0.0.1;PORT=33", at("127.0.0.1", "33")},
      {"Provider=SQLOLEDB" + login + "(local)", at("localhost", "1433")},
      {"Provider=SQLOLEDB" + login + ".\\x", at("localhost\\x", "")},
      {"Provider=SQLOLEDB;Integrated Security=SSPI;Initial Catalog=D;User ID=u;Password=;Data Source=h",
       head + "h;PORT=1433;DATABASE=D;Trusted_Connection=Yes;"},
      {"DRIVER={SQL Server};SERVER=h,1;DATABASE=D;UID=;PWD=",
       "odbc DRIVER=FreeTDS;SERVER=h;PORT=1;DATABASE=D;"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(mapped(text), expected) << text;
  // A driver of its maker's goes before, and takes the server as it is written.
  EXPECT_EQ(mapped("Provider=SQLOLEDB" + login + "h\\i,1",
                   {"FreeTDS", "ODBC Driver 17 for SQL Server", "odbc driver 18 for sql server"}),
            "odbc DRIVER=odbc driver 18 for sql server;SERVER=h\\i,1;DATABASE=D;UID=sa;PWD=p;");
}

TEST(ProviderMap, PassesOdbcOn) {
  const std::string mysql =
      "DRIVER={MySQL ODBC 3.51 Driver};SERVER=h;PORT=3;DATABASE=D;UID=u;PWD=p; OPTION=3; Connection "
      "Timeout=1;Readtimeout=1;writetimeout=1; wait_timeout=1";
  const std::string rows[][2] = {
      {mysql, "odbc DRIVER=MariaDB Unicode;SERVER=h;PORT=3;DATABASE=D;UID=u;PWD=p;OPTION=3;CONN_TIMEOUT=1;"},
      {"DSN=x;UID=;PWD=;NoCreat=1", "odbc DSN=x;NoCreat=1;"},
      {"DSN=x;UID=a;PWD=b;Connection Timeout=1", "odbc DSN=x;UID=a;PWD=b;"},
      {"DSN=x;UID=a;User ID=c;Password=d", "odbc DSN=x;UID=c;PWD=d;"},
      {"Provider=;Data Provider= MSDASQL;DSN=x;UID=a;PWD=", "odbc DSN=x;UID=a;"},
      {"Provider=MSDASQL.1;Data Source=x;Initial Catalog=D;Mode=Read", "odbc DSN=x;DATABASE=D;"},
      {"Provider=MSDASQL;UID=v;Extended Properties=\"DRIVER={sqlite3};Database=f;UID=u\"",
       "odbc DRIVER=SQLite3;DATABASE=f;UID=v;"},
      {"DRIVER=/opt/x.so;Port=1", "odbc DRIVER=/opt/x.so;PORT=1;"},
      {"FILEDSN=/f.dsn", "odbc FILEDSN=/f.dsn;"},
      {"DRIVER=PostgreSQL ODBC Driver(ANSI);SERVER=h", "odbc DRIVER=PostgreSQL Unicode;SERVER=h;"},
      {"DRIVER=Other", "none: No ODBC driver is registered under the name \"Other\"."},
      {"DRIVER=Oracle in Home",
       "none: No ODBC driver for Oracle is registered. Looked for: Oracle in Home, Oracle."},
      {"Provider=OraOLEDB.Oracle.1;User ID=u;Password=p;Data Source=s",
       "none: No ODBC driver for Oracle is registered. Looked for: Oracle."},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(mapped(text), expected) << text;
  EXPECT_EQ(mapped("Provider=MSDAORA.1;User ID=u;Password=p;Data Source=s", {"Oracle 21 ODBC driver"}),
            "odbc DRIVER=Oracle 21 ODBC driver;DBQ=s;UID=u;PWD=p;");
  EXPECT_EQ(
      mapped(mysql, {"SQLite3"}),
      "none: No ODBC driver for MySQL or MariaDB is registered. Looked for: MySQL ODBC 3.51 Driver, MariaDB, "
      "MySQL.");
  // Another driver waits as long as the connection says and gets no word for it.
  EXPECT_EQ(mapped("DRIVER={MySQL ODBC 5.1 Driver};Connection Timeout=1",
                   {"MySQL ODBC 8.0 ANSI Driver", "MySQL ODBC 8.0 Unicode Driver"}),
            "odbc DRIVER=MySQL ODBC 8.0 Unicode Driver;");
}

TEST(ProviderMap, TellsTheRestApart) {
  const std::string rows[][2] = {
      {"Provider=Microsoft.Jet.OLEDB.4.0;User ID=;Data Source=a.db",
       "desktop Provider=Microsoft.Jet.OLEDB.4.0;Data Source=a.db;User ID=;"},
      {"Provider=Microsoft.ACE.OLEDB.12.0;Data Source=f",
       "desktop Provider=Microsoft.ACE.OLEDB.12.0;Data Source=f;"},
      {"Provider= MSDataShape;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=f",
       "shaped desktop Provider=MSDataShape;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=f;"},
      {"Provider=MSDataShape.1;Data Provider= MSDASQL;DSN=x", "shaped odbc DSN=x;"},
      {"Provider=MSDataShape;Data Provider=NONE;DSN=x", "shaped none: "},
      {"File Name=a.udl;User ID=u", "udl File Name=a.udl;User ID=u;"},
      {"Provider=Unknown;Data Provider=MSDASQL;DSN=x", "none: "},
      {"Provider=MSDASQLX;DSN=x", "none: "},
      {"Data Source=a", "none: "},
      {"", "none: "},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(mapped(text), expected) << text;
  const std::pair<const char*, int> refused[] = {
      {"Provider=SQLOLEDB;File Name=a.udl", ado::full_number(ado::Model::invalid_argument)},
      {"DSN=;UID=;PWD=", ado::kUnspecified},
      {"Provider=MSDASQL", ado::kUnspecified},
      {"DRIVER={};SERVER=h", ado::kUnspecified},
  };
  for (const auto& [text, number] : refused)
    EXPECT_EQ(test::error_of([&] { return mapped(text); }), number) << text;
}

TEST(ProviderMap, FollowsTheSite) {
  const std::string site =
      "[providers]\nSQLOLEDB = DSN=central;Database=real\nIBMDA400 = PostgreSQL Unicode\n"
      "Microsoft.Jet.OLEDB.4.0 = DRIVER={SQLite3};Database=/f;\nMicrosoft.Jet = Old\nOldOne=My Tds\n"
      "[drivers]\nMySQL ODBC 3.51 Driver = SQLite3\nMy Tds = FreeTDS\nGone = Nowhere\n"
      "[keywords]\nIBMDA400.SSLmode = require\nMSDASQL.Option = 1\ncentral.NoCreat = 2\n"
      "Microsoft.ACE.OLEDB.Mode = Read\n";
  const std::string rows[][2] = {
      // The data source knows its server; what the site writes is stronger than what the host writes.
      {"Provider=SQLOLEDB.1;User ID=u;Password=p;Initial Catalog=D;Data Source=h",
       "odbc DSN=central;DATABASE=real;UID=u;PWD=p;NoCreat=2;"},
      {"Provider=IBMDA400;Data Source=h;User ID=u;Integrated Security=SSPI",
       "odbc DRIVER=PostgreSQL Unicode;SERVER=h;UID=u;SSLmode=require;"},
      {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=", "odbc DRIVER=SQLite3;DATABASE=/f;"},
      {"Provider=Microsoft.Jet.OLEDB.3.51;Data Source=a",
       "none: No ODBC driver is registered under the name \"Old\"."},
      {"Provider=OldOne;Data Source=h,7", "odbc DRIVER=FreeTDS;SERVER=h;PORT=7;"},
      {"DRIVER={MySQL ODBC 3.51 Driver};Database=f", "odbc DRIVER=SQLite3;DATABASE=f;OPTION=1;"},
      {"DRIVER=Gone", "none: No ODBC driver is registered under the name \"Nowhere\"."},
      {"Provider=Microsoft.ACE.OLEDB.12.0;Data Source=f",
       "desktop Provider=Microsoft.ACE.OLEDB.12.0;Data Source=f;Mode=Read;"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(mapped(text, kDebian, site), expected) << text;
}

const std::string kHead = "[oledb]\r\n; Everything after this line is an OLE DB initstring\r\n";

std::string utf16le(const std::string& ascii) {
  std::string bytes;
  for (const char byte : ascii) bytes.append({byte, '\0'});
  return bytes;
}

std::string description_of(const std::string& bytes) {
  try {
    return udl_connection_text(bytes);
  } catch (const Error& error) {
    EXPECT_EQ(error.number, ado::kUnspecified);
    return error.description;
  }
}

TEST(Udl, ReadsEachEncoding) {
  const std::string line = "Data Source=D:\\Tel Neè€😀.mdb";
  const std::string wide = utf16le("Data Source=D:\\Tel Ne") + std::string("\xE8\0\xAC\x20\x3D\xD8\0\xDE", 8);
  const std::string ansi = "Data Source=Ne\xE8\x80.mdb";
  const std::string rows[][2] = {
      {"\xFF\xFE" + utf16le(kHead) + wide + utf16le(".mdb\r\n"), line},
      {"\xEF\xBB\xBF" + kHead + line, line},
      {kHead + ansi + "\r\nmore", "Data Source=Neè€.mdb"},
      {"[OLEDB]\n;\n A=1 \n", "A=1"},
      {"\xFF\xFE" + utf16le(kHead + "A=1") + "x", "Invalid UDL file: it ends inside a character."},
      {"\xFF\xFE" + utf16le(kHead + "A=") + "\x3D\xD8", "A=\uFFFD"},
      {kHead, "Invalid UDL file: its third line holds no connection string."},
      {"", "Invalid UDL file: its first line is not \"[oledb]\"."},
      {"\xFE\xFF" + utf16le(kHead + line), "Invalid UDL file: its first line is not \"[oledb]\"."},
      {"[oledb]\r\nProvider=X\r\n", "Invalid UDL file: its second line is no comment."},
      {kHead + std::string("A=1\0B", 5), "Invalid UDL file: its connection string holds a NUL."},
      {kHead + "A=" + std::string(64 * 1024, 'x'), "Invalid UDL file: it is too long."},
  };
  for (const auto& [bytes, expected] : rows) EXPECT_EQ(description_of(bytes), expected);
}

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
