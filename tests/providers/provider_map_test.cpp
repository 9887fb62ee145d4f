#include "providers/provider_map.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "common/text.h"
#include "support/outcome.h"

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

}  // namespace
}  // namespace quarno::providers
