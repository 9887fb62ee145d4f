// The rows that are read and written: hourly measurements, the same in every database.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/date.h"
#include "measure.h"

namespace quarno::bench {

inline const std::string kFields[] = {"id", "station", "code", "day", "hour", "value", "status", "state"};

inline std::string select_all(const std::string& table) {
  return "SELECT id, station, code, day, hour, value, status, state FROM " + table;
}
inline std::string insert_into(const std::string& table) {
  return "INSERT INTO " + table +
         " (id, station, code, day, hour, value, status, state) VALUES (?, ?, ?, ?, ?, ?, ?, ?)";
}

struct Row {
  std::int32_t id;
  std::string station;
  std::string code;
  Date day;
  CivilTime moment;  // the same
  std::string hour;
  double value;
  std::string status;
  std::int32_t state;
};
/// The rows that the databases make by themselves, in memory.
std::vector<Row> sample_rows(long rows);
Checksum sum_of(const std::vector<Row>& rows);

/// Moments as the embedded engine keeps them (days), as days in a column that is declared a number, or as
/// text, which the ODBC driver of the engine reads.
enum class Dates { days, numbers, text };

/// Makes or empties the table in a database file, and fills it.
void fill_file(const std::string& path, const std::string& table, long rows, Dates dates);
/// A table of an integer, a double and a short text.
void fill_narrow_file(const std::string& path, long rows);

/// The statements that make the table on a server, one after the other.
std::string mariadb_table(const std::string& table);
std::string mariadb_rows(const std::string& table, long rows);
std::string postgresql_table(const std::string& table);
std::string postgresql_rows(const std::string& table, long rows);

/// Bytes of a row's numbers and dates at their own width; its texts are counted when they are read.
inline constexpr long kFixedBytes = 4 + 8 + 8 + 4;
inline constexpr long kNarrowFixedBytes = 4 + 8;

}  // namespace quarno::bench
