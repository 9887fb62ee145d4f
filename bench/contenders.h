// Who reads: each opens the source, walks all rows and takes every field, texts as strings of their own. Who
// writes: each opens the source and adds all rows to the empty table in one transaction.
#pragma once

#include <string>

#include "measure.h"
#include "sample.h"

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
/// Prepared once, a row at a time.
void write_odbc_rows(const OdbcTable& to, const std::vector<Row>& rows);
void write_file_engine(const std::string& path, const std::vector<Row>& rows);
enum class Saving { each_row, batch };
void write_odbc_cdata(const OdbcTable& to, const std::vector<Row>& rows, Saving saving);
void write_file_cdata(const std::string& path, const std::vector<Row>& rows, Saving saving);
/// Takes all rows away; how many there were.
std::int64_t empty_odbc(const OdbcTable& table);
std::int64_t empty_file(const std::string& path);

/// Nanoseconds of one GetValue.
double get_value_ns(const std::string& path, const std::string& field);

}  // namespace quarno::bench
