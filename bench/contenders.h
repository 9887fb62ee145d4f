// Who reads: each opens the source, walks all rows and takes every field, texts as strings of their own.
#pragma once

#include <string>

#include "measure.h"

namespace quarno::bench {

/// The ODBC contenders read a data source by its name.
struct OdbcTable {
  std::string source;
  std::string table;
};

/// Columns bound, 256 rows a fetch, fields by position: what the others are measured against.
Checksum read_odbc_blocks(const OdbcTable& from);
/// A row a fetch, each field looked up by its name: the usual thin wrapper.
Checksum read_odbc_rows(const OdbcTable& from);
Checksum read_odbc_soci(const OdbcTable& from);
/// Runs statements at a data source; false when it cannot be reached.
bool run_odbc(const std::string& source, const std::vector<std::string>& statements);

/// The engine's own C interface, fields by position.
Checksum read_file_engine(const std::string& path);
Checksum read_file_soci(const std::string& path);

enum class Cursor { client, forward };
Checksum read_odbc_cdata(const OdbcTable& from, Cursor cursor);
Checksum read_file_cdata(const std::string& path, Cursor cursor);
/// The table of three columns.
Checksum read_narrow_cdata(const std::string& path, Cursor cursor);
/// Nanoseconds of one GetValue.
double get_value_ns(const std::string& path, const std::string& field);

}  // namespace quarno::bench
