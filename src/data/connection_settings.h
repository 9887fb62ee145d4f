// Which database a data-access object reaches. Plain values.
#pragma once

#include <cstdint>
#include <string>

namespace quarno::data {

/// Kinds of database. 3, 5, 8 and any other number are built as SQL Server.
enum DbKind : std::int32_t {
  Conn_SQL = 0,
  Conn_ODBC = 1,
  Conn_Jet = 2,
  Conn_As400 = 3,
  Conn_DB3 = 4,
  Conn_UDL = 5,
  Conn_MYSQL = 6,
  Conn_Oracle = 7,
  Conn_Sybase = 8,
  Conn_MYSQL5 = 9,
};

struct ConnectionSettings {
  std::int32_t kind = Conn_SQL;
  std::string server{};    // data source name, host, or server
  std::string database{};  // catalogue, file or folder
  std::string owner{};     // schema owner of composed queries
  std::string version{};   // provider version of a desktop database, or "TRUST" for SQL Server
  std::string provider{};
  std::string user{};
  std::string password{};
  std::string file_password{};  // of a desktop database file
  std::string udl_file{};
};

}  // namespace quarno::data
