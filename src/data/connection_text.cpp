#include "data/connection_text.h"

#include "common/text.h"

namespace quarno::data {
namespace {

// The texts below look irregular ("Provider= ", "User Id=", "; Extended"): hosts compare them, so they stay
// as they are.

std::string odbc_text(const ConnectionSettings& s) {
  const std::string source = "DSN=" + s.server + ";UID=" + s.user + ";PWD=" + s.password;
  if (s.provider.empty()) return source;
  return "Provider = " + s.provider + ";" + "Data Provider= MSDASQL;" + source;
}

std::string jet_text(const ConnectionSettings& s) {
  const std::string version = s.version.empty() ? "4.0" : s.version;
  if (s.provider.empty()) {
    return "Provider=Microsoft.Jet.OLEDB." + version + ";Persist Security Info=False;User ID=" + s.user +
           ";Data Source=" + s.database;
  }
  const std::string file_password =
      s.file_password.empty() ? std::string() : "Jet OLEDB:Database Password=" + s.file_password;
  return "Provider= " + s.provider + ";Data Provider=Microsoft.Jet.OLEDB." + version +
         ";Data Source=" + s.database + ";User Id=" + s.user + ";Password=" + s.password + ";" +
         file_password;
}

std::string dbase_text(const ConnectionSettings& s) {
  const bool blank_before_extended = s.version.empty() == s.provider.empty();
  const std::string engine = "Microsoft.Jet.OLEDB" + (s.version.empty() ? std::string() : "." + s.version);
  const std::string shaping = s.provider.empty() ? "Provider=" : "Provider=" + s.provider + ";Data Provider=";
  return shaping + engine + ";Persist Security Info=False;User ID=admin;Data Source=" + s.database +
         (blank_before_extended ? "; " : ";") + "Extended Properties=dBASE III;";
}

std::string mysql_text(const ConnectionSettings& s, const std::string& driver, const std::string& tail) {
  return "DRIVER={" + driver + "};SERVER=" + s.server + ";DATABASE=" + s.database + ";UID=" + s.user +
         ";PWD=" + s.password + tail;
}

std::string oracle_text(const ConnectionSettings& s) {
  // No database: the catalogue is chosen by the server name.
  return "Provider=OraOLEDB.Oracle.1;Persist Security Info=False;User ID=" + s.user +
         ";Password=" + s.password + ";Data Source=" + s.server;
}

std::string sql_server_text(const ConnectionSettings& s) {
  const bool shaped = !text::trim(s.provider).empty();
  const std::string provider =
      shaped ? "Provider=" + s.provider + ";Data Provider=SQLOLEDB" : "Provider=SQLOLEDB";
  const std::string login = "User ID=" + s.user + ";Password=" + s.password;
  if (s.version == "TRUST") {
    return provider + (shaped ? ".1" : "") +
           ";Integrated Security=SSPI;Persist Security Info=False;Initial Catalog=" + s.database + ";" +
           login + ";Data Source=" + s.server;
  }
  return provider + ";Persist Security Info=False;" + login + ";Initial Catalog=" + s.database +
         ";Data Source=" + s.server;
}

}  // namespace

bool is_sql_server_family(std::int32_t kind) {
  switch (kind) {
    case Conn_ODBC:
    case Conn_Jet:
    case Conn_DB3:
    case Conn_MYSQL:
    case Conn_Oracle:
    case Conn_MYSQL5: return false;
    default: return true;
  }
}

bool password_is_property(const ConnectionSettings& s) {
  return s.kind == Conn_Jet && s.provider.empty() && !s.file_password.empty() && s.udl_file.empty();
}

std::string connection_text(const ConnectionSettings& s) {
  if (!s.udl_file.empty()) return "File Name=" + s.udl_file;
  switch (s.kind) {
    case Conn_ODBC: return odbc_text(s);
    case Conn_Jet: return jet_text(s);
    case Conn_DB3: return dbase_text(s);
    case Conn_MYSQL:
      return mysql_text(s, "MySQL ODBC 3.51 Driver",
                        "; OPTION=3; Connection Timeout=1; Readtimeout=1;writetimeout=1");
    case Conn_MYSQL5:
      return mysql_text(s, "MySQL ODBC 5.1 Driver",
                        "; OPTION=3; Connection Timeout=1;Readtimeout=1;writetimeout=1; wait_timeout=1");
    case Conn_Oracle: return oracle_text(s);
    default: return sql_server_text(s);
  }
}

}  // namespace quarno::data
