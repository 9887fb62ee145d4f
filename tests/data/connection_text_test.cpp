#include "data/connection_text.h"

#include <gtest/gtest.h>

namespace quarno::data {
namespace {

// Server S, database D, user U, password P, file password J, schema owner none.
ConnectionSettings settings(int kind, const char* version, const char* provider) {
  ConnectionSettings s;
  s.kind = kind;
  s.server = "S";
  s.database = "D";
  s.user = "U";
  s.password = "P";
  s.version = version;
  s.provider = provider;
  s.file_password = "J";
  return s;
}

TEST(ConnectionText, EachKindToTheLetter) {
  struct Row {
    int kind;
    const char* version;
    const char* provider;
    const char* expected;
  };
  const Row rows[] = {
      {1, "", "", "DSN=S;UID=U;PWD=P"},
      {1, "9", "X", "Provider = X;Data Provider= MSDASQL;DSN=S;UID=U;PWD=P"},
      {2, "", "X",
       "Provider= X;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=D;User Id=U;Password=P;Jet "
       "OLEDB:Database "
       "Password=J"},
      {2, "", "", "Provider=Microsoft.Jet.OLEDB.4.0;Persist Security Info=False;User ID=U;Data Source=D"},
      {2, "trust", "X",
       "Provider= X;Data Provider=Microsoft.Jet.OLEDB.trust;Data Source=D;User Id=U;Password=P;Jet "
       "OLEDB:Database "
       "Password=J"},
      {2, "3.51", "",
       "Provider=Microsoft.Jet.OLEDB.3.51;Persist Security Info=False;User ID=U;Data Source=D"},
      {4, "", "X",
       "Provider=X;Data Provider=Microsoft.Jet.OLEDB;Persist Security Info=False;User ID=admin;Data "
       "Source=D;Extended "
       "Properties=dBASE III;"},
      {4, "", "",
       "Provider=Microsoft.Jet.OLEDB;Persist Security Info=False;User ID=admin;Data Source=D; Extended "
       "Properties=dBASE III;"},
      {4, "4.0", "X",
       "Provider=X;Data Provider=Microsoft.Jet.OLEDB.4.0;Persist Security Info=False;User ID=admin;Data "
       "Source=D; "
       "Extended Properties=dBASE III;"},
      {4, "4.0", "",
       "Provider=Microsoft.Jet.OLEDB.4.0;Persist Security Info=False;User ID=admin;Data Source=D;Extended "
       "Properties=dBASE III;"},
      {6, "", "X",
       "DRIVER={MySQL ODBC 3.51 Driver};SERVER=S;DATABASE=D;UID=U;PWD=P; OPTION=3; Connection Timeout=1; "
       "Readtimeout=1;writetimeout=1"},
      {9, "", "",
       "DRIVER={MySQL ODBC 5.1 Driver};SERVER=S;DATABASE=D;UID=U;PWD=P; OPTION=3; Connection "
       "Timeout=1;Readtimeout=1;writetimeout=1; wait_timeout=1"},
      {7, "", "",
       "Provider=OraOLEDB.Oracle.1;Persist Security Info=False;User ID=U;Password=P;Data Source=S"},
      {0, "TRUST", "X",
       "Provider=X;Data Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Initial "
       "Catalog=D;User ID=U;Password=P;Data Source=S"},
      {3, "TRUST", "",
       "Provider=SQLOLEDB;Integrated Security=SSPI;Persist Security Info=False;Initial Catalog=D;User "
       "ID=U;Password=P;Data Source=S"},
      {5, "", "X",
       "Provider=X;Data Provider=SQLOLEDB;Persist Security Info=False;User ID=U;Password=P;Initial "
       "Catalog=D;Data "
       "Source=S"},
      {8, "", "  ",
       "Provider=SQLOLEDB;Persist Security Info=False;User ID=U;Password=P;Initial Catalog=D;Data Source=S"},
      {77, "", "",
       "Provider=SQLOLEDB;Persist Security Info=False;User ID=U;Password=P;Initial Catalog=D;Data Source=S"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.kind);
    ConnectionSettings s = settings(row.kind, row.version, row.provider);
    EXPECT_EQ(connection_text(s), row.expected);
    EXPECT_EQ(password_is_property(s), row.kind == 2 && *row.provider == '\0');
    s.udl_file = "x.udl";
    EXPECT_EQ(connection_text(s), "File Name=x.udl");
  }
  EXPECT_EQ(connection_text({.kind = 2, .database = "D", .provider = "X"}),
            "Provider= X;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=D;User Id=;Password=;");
}

}  // namespace
}  // namespace quarno::data
